#include "cli/services/Doctor.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Settings.h"
#include "LumbroCore/ShellWords.h"
#include "cli/Table.h"
#include "library/ContextLibrary.h"
#include "platform/AudioServer.h"
#include "recording/transcription/SpeechAssets.h"
#include "surfaces/SetupChecks.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QStorageInfo>

namespace lumbro::cli {

namespace {

// Both tracks of a call of eight hours, before they are packed.
constexpr qint64 spaceForADay = qint64(2) * 16000 * 2 * 8 * 3600;

// What a test of an agent said, with what to do about it.
QString agentText(const QString& message, const std::optional<QString>& path, const QString& install) {
    QString text = message.isEmpty() ? path.value_or(QString()) : message;
    if (path) {
        return message.isEmpty() ? text : u"%1 (%2)"_s.arg(text, *path);
    }
    text += text.endsWith(u'.') ? QString() : u"."_s;
    return text + u" To have it: "_s + install;
}

DoctorCheck unheard(const QString& name) {
    return {name, PermissionState::unknown(), u"It can be told once an audio server answers."_s};
}

DoctorCheck tried(const QString& name, const PermissionState& state, const QString& works,
                  const QString& otherwise) {
    return {name, state, state.kind == PermissionState::Kind::allowed ? works : otherwise};
}

}  // namespace

Task<QList<DoctorCheck>> Doctor::examine() {
    QList<DoctorCheck> checks{library(), diskSpace()};
    begin(u"audio server"_s);
    checks += co_await audioServer();
    if (checks.last().state.kind == PermissionState::Kind::allowed) {
        begin(u"microphone"_s);
        checks += co_await microphone();
        begin(u"system audio"_s);
        checks += co_await systemAudio();
    } else {
        checks += unheard(u"microphone"_s);
        checks += unheard(u"system audio"_s);
    }
    checks += speech();
    begin(u"Claude Code"_s);
    checks += co_await claude();
    begin(u"Codex"_s);
    checks += co_await codex();
    if (const QString command = m_services.settings().string(u"customCommand"_s); !command.isEmpty()) {
        checks += ownCommand(command);
    }
    co_return checks;
}

DoctorCheck Doctor::library() const {
    const QString root = m_services.library().root();
    const QString probe = root + u"/.write-test"_s;
    const Result<> written =
        makePrivateFolder(root) ? writeFileAtomically(probe, {}) : fail(u"The folder can't be made."_s);
    QFile::remove(probe);
    if (!written) {
        return {u"library"_s, PermissionState::denied(),
                u"%1 can't be written: %2 Mend its permissions, or set QUILLET_ROOT to another folder."_s.arg(
                    root, written.error().message)};
    }
    return {u"library"_s, PermissionState::allowed(), root};
}

DoctorCheck Doctor::diskSpace() const {
    const QString root = m_services.library().root();
    const QStorageInfo disk(root);
    const qint64 free = disk.bytesAvailable();
    if (!disk.isValid() || free < 0) {
        return {u"disk space"_s, PermissionState::unknown(), u"It can't be told for %1."_s.arg(root)};
    }
    const QString text = bytesText(free) + u" free"_s;
    if (free < spaceForADay) {
        return {u"disk space"_s, PermissionState::denied(),
                u"%1: a day of calls needs %2 while it is recorded. Make room."_s.arg(
                    text, bytesText(spaceForADay))};
    }
    return {u"disk space"_s, PermissionState::allowed(), text};
}

Task<DoctorCheck> Doctor::audioServer() {
    const Result<> attached = co_await m_services.audioServer().attach();
    if (!attached) {
        co_return {u"audio server"_s, PermissionState::denied(), attached.error().message};
    }
    co_return {u"audio server"_s, PermissionState::allowed(),
               counted(m_services.audioServer().microphones().size(), u"microphone"_s, u"microphones"_s) +
                   u", "_s + counted(m_services.audioServer().outputs().size(), u"output"_s, u"outputs"_s)};
}

Task<DoctorCheck> Doctor::microphone() {
    SetupChecks& checks = m_services.setupChecks();
    co_await checks.requestMic();
    co_return tried(
        u"microphone"_s, checks.mic(), u"It can be recorded."_s,
        u"It can't be opened. Plug one in, or choose one of `lumbro devices` with `lumbro settings "
        "set microphoneDeviceUID ID`."_s);
}

Task<DoctorCheck> Doctor::systemAudio() {
    SetupChecks& checks = m_services.setupChecks();
    co_await checks.requestSystemAudio();
    co_return tried(u"system audio"_s, checks.systemAudio(), u"What others say in a call can be recorded."_s,
                    u"It can't be heard, so a call would have your side only. Choose a default output in the "
                    "sound settings."_s);
}

DoctorCheck Doctor::speech() {
    SpeechAssets& assets = m_services.speechAssets();
    if (!assets.isInstalled()) {
        return {u"speech model"_s, PermissionState::denied(),
                u"None for your language is installed; `lumbro speech list` names those to install."_s};
    }
    if (const auto broken = assets.models().brokenChoice()) {
        return {u"speech model"_s, PermissionState::denied(),
                u"The file of %1 can't be read, so another one stands in; install it again or choose another "
                "with `lumbro speech use`."_s.arg(broken->id)};
    }
    for (const auto& status : assets.models().list()) {
        if (status.isInUse) {
            return {u"speech model"_s, PermissionState::allowed(), status.model.name};
        }
    }
    return {u"speech model"_s, PermissionState::allowed(), u"installed"_s};
}

Task<DoctorCheck> Doctor::claude() {
    SetupChecks& checks = m_services.setupChecks();
    co_await checks.testClaude();
    co_return {u"Claude Code"_s, checks.claude(),
               agentText(checks.claudeMessage(), checks.claudePath(),
                         u"`npm install -g @anthropic-ai/claude-code`, then `claude` to sign in."_s)};
}

Task<DoctorCheck> Doctor::codex() {
    SetupChecks& checks = m_services.setupChecks();
    co_await checks.testCodex();
    co_return {u"Codex"_s, checks.codex(),
               agentText(checks.codexMessage(), checks.codexPath(),
                         u"`npm install -g @openai/codex`, then `codex login`."_s)};
}

DoctorCheck Doctor::ownCommand(const QString& command) {
    const QString name = u"your command"_s;
    QString program = shellWords(command).value_or(QStringList()).value(0);
    if (program.startsWith(u"~/")) {
        program = QDir::homePath() + program.sliced(1);
    }
    const QString path = QStandardPaths::findExecutable(program);
    if (path.isEmpty()) {
        return {name, PermissionState::denied(),
                u"There is no program \"%1\"; mend the setting customCommand, or empty it to use the agent."_s
                    .arg(program)};
    }
    return {name, PermissionState::allowed(), path};
}

void Doctor::begin(const QString& name) const {
    if (onBegin) {
        onBegin(name);
    }
}

}  // namespace lumbro::cli
