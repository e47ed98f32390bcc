#include "tests/support/PrivateSession.h"

#include "tests/support/Wait.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <csignal>

namespace lumbro::test {

namespace {

const QString services = u"/usr/share/dbus-1/services/"_s;
const QStringList needed{u"org.gnome.evolution.dataserver.Sources5.service"_s,
                         u"org.gnome.evolution.dataserver.Calendar8.service"_s};

}  // namespace

bool PrivateSession::isInstalled() {
    return !QStandardPaths::findExecutable(u"dbus-daemon"_s).isEmpty() &&
           std::ranges::all_of(needed, [](const QString& name) { return QFile::exists(services + name); });
}

PrivateSession::~PrivateSession() {
    // Those that it started end with it.
    m_bus.reset();
    for (const char* name : {"DBUS_SESSION_BUS_ADDRESS", "GSETTINGS_BACKEND"}) {
        qunsetenv(name);
    }
}

void PrivateSession::writeConfiguration() const {
    QDir().mkpath(m_home.path(u"services"_s));
    if (m_kind == Kind::evolution) {
        for (const QString& name : needed) {
            QFile::copy(services + name, m_home.path(u"services/"_s + name));
        }
    }
    const QString text =
        u"<busconfig><type>session</type><listen>%1</listen><auth>EXTERNAL</auth>"
        "<servicedir>%2</servicedir><policy context=\"default\">"
        "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
        "<allow own=\"*\"/></policy></busconfig>"_s.arg(address(), m_home.path(u"services"_s));
    m_home.write(u"bus.conf"_s, text.toUtf8());
}

QProcessEnvironment PrivateSession::environment() const {
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    variables.insert(u"HOME"_s, m_home.path());
    variables.insert(u"XDG_RUNTIME_DIR"_s, m_home.path(u"run"_s));
    variables.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, address());
    variables.insert(u"GSETTINGS_BACKEND"_s, u"memory"_s);
    for (const QString& name : {u"XDG_CONFIG_HOME"_s, u"XDG_DATA_HOME"_s, u"XDG_CACHE_HOME"_s, u"DISPLAY"_s,
                                u"WAYLAND_DISPLAY"_s, u"ASAN_OPTIONS"_s, u"LD_PRELOAD"_s}) {
        variables.remove(name);
    }
    return variables;
}

bool PrivateSession::start() {
    writeConfiguration();
    QDir().mkpath(m_home.path(u"run"_s));
    QFile::setPermissions(m_home.path(u"run"_s), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const QString log = m_home.path(u"bus.log"_s);
    // The shell's input is a pipe from the test program: when that goes, the whole group is ended.
    m_bus = std::make_unique<Program>(
        QStringList{u"/bin/sh"_s, u"-c"_s,
                    u"dbus-daemon --nofork --config-file=\"$0\" & read -r end; kill -TERM 0"_s,
                    m_home.path(u"bus.conf"_s)},
        ProgramSetting{.environment = environment(), .output = log, .errors = log});
    qputenv("DBUS_SESSION_BUS_ADDRESS", address().toUtf8());
    qputenv("GSETTINGS_BACKEND", "memory");
    return m_bus->isStarted() && eventually([this] { return m_home.has(u"bus"_s); });
}

bool PrivateSession::signal(const QString& name, int number) const {
    const QByteArray mark = "\nHOME=" + m_home.path().toUtf8() + '\n';
    for (const QString& process : QDir(u"/proc"_s).entryList({u"[0-9]*"_s}, QDir::Dirs)) {
        QFile command(u"/proc/%1/cmdline"_s.arg(process));
        QFile variables(u"/proc/%1/environ"_s.arg(process));
        if (command.open(QIODevice::ReadOnly) && variables.open(QIODevice::ReadOnly) &&
            command.readAll().split('\0').first().endsWith(name.toUtf8()) &&
            ('\n' + variables.readAll().replace('\0', '\n')).contains(mark)) {
            return ::kill(process.toInt(), number) == 0;
        }
    }
    return false;
}

}  // namespace lumbro::test
