#include "tests/support/PrivateAudioServer.h"

#include "tests/support/Wait.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <algorithm>
#include <array>
#include <csignal>

#include <gtest/gtest.h>

namespace lumbro::test {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds answerTime = 60s;

QString takeText(const QString& path) {
    QFile file(path);
    const QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    file.remove();
    return QString::fromUtf8(text).trimmed();
}

}  // namespace

bool PrivateAudioServer::isInstalled(Kind kind) {
    QStringList programs = {u"pactl"_s, u"paplay"_s};
    programs += kind == Kind::pulseAudio ? QStringList{u"pulseaudio"_s}
                                         : QStringList{u"dbus-run-session"_s, u"pipewire"_s, u"pw-cli"_s,
                                                       u"wireplumber"_s, u"pipewire-pulse"_s};
    return std::ranges::none_of(
        programs, [](const QString& name) { return QStandardPaths::findExecutable(name).isEmpty(); });
}

PrivateAudioServer::PrivateAudioServer(Kind kind) : m_kind(kind) {
    const QString runtime = m_folder.filePath(u"run"_s);
    QDir().mkpath(runtime + u"/pulse"_s);
    QDir().mkpath(m_folder.filePath(u"home"_s));
    QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("PULSE_SERVER", ("unix:" + runtime + "/pulse/native").toUtf8());
}

PrivateAudioServer::~PrivateAudioServer() {
    stop();
    qunsetenv("PULSE_SERVER");
}

QProcessEnvironment PrivateAudioServer::environment() const {
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    const QString runtime = m_folder.filePath(u"run"_s);
    variables.insert(u"HOME"_s, m_folder.filePath(u"home"_s));
    variables.insert(u"XDG_RUNTIME_DIR"_s, runtime);
    variables.insert(u"PIPEWIRE_RUNTIME_DIR"_s, runtime);
    variables.insert(u"PULSE_RUNTIME_PATH"_s, runtime + u"/pulse"_s);
    for (const QString& name : {u"XDG_STATE_HOME"_s, u"XDG_CONFIG_HOME"_s, u"DBUS_SESSION_BUS_ADDRESS"_s,
                                u"ASAN_OPTIONS"_s, u"LD_PRELOAD"_s}) {
        variables.remove(name);
    }
    return variables;
}

QString PrivateAudioServer::script() const {
    // The shell's input is a pipe from the test program: when that goes, the whole group is ended.
    if (m_kind == Kind::pulseAudio) {
        return u"pulseaudio -n --daemonize=no --exit-idle-time=-1 --use-pid-file=no -L "
               "\"module-native-protocol-unix auth-anonymous=1 socket=$PULSE_RUNTIME_PATH/native\" & "
               "read -r end; kill -TERM 0"_s;
    }
    // The others give up at once when the first does not answer yet.
    return u"pipewire & "
           "while kill -0 $! && ! pw-cli info 0; do :; done >/dev/null 2>&1; "
           "wireplumber & echo $! >$XDG_RUNTIME_DIR/manager; pipewire-pulse & read -r end; kill -TERM 0"_s;
}

bool PrivateAudioServer::start() {
    const QString log = m_folder.filePath(u"daemons.log"_s);
    const QStringList bus =
        m_kind == Kind::pipeWire ? QStringList{u"dbus-run-session"_s, u"--"_s} : QStringList();
    m_daemons =
        std::make_unique<Program>(bus + QStringList{u"/bin/sh"_s, u"-c"_s, script()},
                                  ProgramSetting{.environment = environment(), .output = log, .errors = log});
    return m_daemons->isStarted() && eventually([this] { return answers(); });
}

void PrivateAudioServer::stop() {
    m_clients.clear();
    m_daemons.reset();
}

bool PrivateAudioServer::answers() const {
    return pactl({u"info"_s}).contains(u"Server Name"_s);
}

QString PrivateAudioServer::pactl(const QStringList& arguments) const {
    const QString output = m_folder.filePath(u"pactl.out"_s);
    const QString errors = m_folder.filePath(u"pactl.err"_s);
    Program program(QStringList{u"pactl"_s} + arguments,
                    {.environment = environment(), .output = output, .errors = errors});
    const bool isDone = program.wait(answerTime) == 0;
    program.end();
    const QString said = takeText(output);
    const QString failure = takeText(errors);
    return isDone ? said : u"error: "_s + failure;
}

QString PrivateAudioServer::addDevice(const QString& kind, const QString& name,
                                      const QStringList& arguments) const {
    const QString module = pactl(QStringList{u"load-module"_s} + arguments);
    // PipeWire's module is there before its device is.
    const bool isThere = !module.startsWith(u"error"_s) && eventually([&] {
        return pactl({u"list"_s, u"short"_s, kind}).contains(u'\t' + name + u'\t');
    });
    return isThere ? module : QString();
}

QString PrivateAudioServer::addSink(const QString& name) const {
    // Without norewinds the monitor of a null sink loses most of the sound on PulseAudio.
    QStringList arguments = {u"module-null-sink"_s, u"sink_name="_s + name, u"rate=48000"_s, u"channels=2"_s};
    if (m_kind == Kind::pulseAudio) {
        arguments.append(u"norewinds=1"_s);
    }
    return addDevice(u"sinks"_s, name, arguments);
}

QString PrivateAudioServer::addMicrophone(const QString& name, const QString& heard) const {
    return addDevice(
        u"sources"_s, name,
        {u"module-remap-source"_s, u"source_name="_s + name, u"master="_s + heard + u".monitor"_s});
}

bool PrivateAudioServer::setDefault(const QString& kind, const QString& name) const {
    // Again and again, since PipeWire refuses, or drops, what comes before all of its parts have started.
    return eventually([&] {
        pactl({u"set-default-"_s + kind, name});
        return pactl({u"get-default-"_s + kind}) == name;
    });
}

bool PrivateAudioServer::addRoom() const {
    return !addSink(u"speakers"_s).isEmpty() && !addSink(u"micfeed"_s).isEmpty() &&
           !addMicrophone(u"virtmic"_s, u"micfeed"_s).isEmpty() && setDefault(u"sink"_s, u"speakers"_s) &&
           setDefault(u"source"_s, u"virtmic"_s);
}

bool PrivateAudioServer::unload(const QString& module) const {
    return !pactl({u"unload-module"_s, module}).startsWith(u"error"_s);
}

Program& PrivateAudioServer::play(const QString& file, const QString& sink) {
    // Ends by itself with the server.
    return run(u"/bin/sh"_s, {u"-c"_s, u"while paplay --device=\"$1\" \"$0\"; do :; done"_s, file, sink});
}

Program& PrivateAudioServer::run(const QString& program, const QStringList& arguments) {
    const ProgramSetting setting{.environment = environment(), .errors = m_folder.filePath(u"clients.log"_s)};
    m_clients.push_back(std::make_unique<Program>(QStringList{program} + arguments, setting));
    return *m_clients.back();
}

void PrivateAudioServer::loseAClient() const {
    if (m_kind == Kind::pulseAudio) {
        return;
    }
    QFile file(m_folder.filePath(u"run/manager"_s));
    const pid_t manager = file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().toInt() : 0;
    ASSERT_GT(manager, 0);
    const QString events = m_folder.filePath(u"events.log"_s);
    const QString rest = m_folder.filePath(u"lost.log"_s);
    const ProgramSetting setting{.environment = environment(), .output = rest, .errors = rest};
    const Program watch({u"stdbuf"_s, u"-oL"_s, u"pactl"_s, u"subscribe"_s},
                        {.environment = environment(), .output = events, .errors = rest});
    const auto connected = [&events] {
        QFile file(events);
        return file.open(QIODevice::ReadOnly) ? file.readAll().count("'new' on client") : 0;
    };
    ASSERT_TRUE(eventually([&] { return !pactl({u"info"_s}).isEmpty() && connected() > 0; }));
    ::kill(manager, SIGSTOP);
    // By the time that the last one is seen, the manager should have answered to the first.
    std::array<std::unique_ptr<Program>, 3> lost;
    for (auto& client : lost) {
        const qsizetype before = connected();
        client = std::make_unique<Program>(QStringList{u"pactl"_s, u"info"_s}, setting);
        EXPECT_TRUE(eventually([&] { return connected() > before; }));
    }
    lost = {};
    ::kill(manager, SIGCONT);
}

QString PrivateAudioServer::defaults() const {
    return pactl({u"get-default-sink"_s}) + u", "_s + pactl({u"get-default-source"_s});
}

QString PrivateAudioServer::log() const {
    QString text;
    for (const QString& name : {u"daemons.log"_s, u"clients.log"_s}) {
        QFile file(m_folder.filePath(name));
        if (file.open(QIODevice::ReadOnly)) {
            text += QString::fromUtf8(file.readAll());
        }
    }
    return text;
}

}  // namespace lumbro::test
