#include "surfaces/SetupChecks.h"

#include "LumbroCore/AppLog.h"

#include <QPointer>

#include <atomic>

namespace lumbro {

namespace {

// Long enough for a device that has to wake up first.
constexpr auto listeningTime = std::chrono::milliseconds(1500);

AgentRequest testRequest() {
    return {.systemPrompt = u"Reply with exactly: ok"_s,
            .instruction = u"Say ok."_s,
            .context = u"ping"_s,
            .model = u"haiku"_s};
}

/// The state and the sentence that a test run's reply comes to.
std::pair<PermissionState, QString> outcome(const Result<QString>& reply, const QString& connected) {
    if (!reply) {
        return {PermissionState::denied(), reply.error().message};
    }
    if (!reply->contains(u"ok", Qt::CaseInsensitive)) {
        return {PermissionState::denied(), u"The answer wasn't the one asked for. Try again."_s};
    }
    return {PermissionState::allowed(), connected};
}

/// Whether a source delivers anything within a moment, be it silence. Fails when it can't be started.
Task<Result<bool>> hears(std::unique_ptr<AudioSource> source, Clock& clock) {
    // Shared with the audio thread, which may still be in a call while the source stops.
    const auto buffers = std::make_shared<std::atomic<int>>(0);
    const auto started = co_await source->start([buffers](const AudioBuffer&) { ++*buffers; });
    if (!started) {
        co_return std::unexpected(started.error());
    }
    co_await clock.sleep(listeningTime);
    source->stop();
    co_return buffers->load() > 0;
}

}  // namespace

SetupChecks::SetupChecks(Settings& settings, Clock& clock, ClaudeRunner& claude, CodexRunner& codex,
                         SetupPorts ports, QObject* parent)
    : QObject(parent),
      m_settings(settings),
      m_clock(clock),
      m_claudeRunner(claude),
      m_codexRunner(codex),
      m_ports(std::move(ports)) {}

template <typename T>
void SetupChecks::set(T& field, const T& value) {
    if (field != value) {
        field = value;
        Q_EMIT changed();
    }
}

void SetupChecks::setClaude(PermissionState state, const QString& message) {
    set(m_claudeMessage, message);
    set(m_claude, state);
}

void SetupChecks::setCodex(PermissionState state, const QString& message) {
    set(m_codexMessage, message);
    set(m_codex, state);
}

Task<> SetupChecks::refresh() {
    const QPointer<SetupChecks> self(this);
    const PermissionState mic = co_await m_ports.microphone();
    if (!self) {
        co_return;
    }
    // Work under way knows better than what was asked before it began.
    if (!m_mic.isWorking()) {
        set(m_mic, mic);
    }
    if (!m_speech.isWorking()) {
        set(m_speech, m_ports.isSpeechInstalled() ? PermissionState::allowed() : PermissionState::unknown());
    }
    const auto claudePath = co_await m_claudeRunner.locate();
    if (!self) {
        co_return;
    }
    set(m_claudePath, claudePath);
    const auto codexPath = co_await m_codexRunner.locate();
    if (!self) {
        co_return;
    }
    set(m_codexPath, codexPath);
    if (m_settings.boolean(u"systemAudioAllowed"_s) && !m_systemAudio.isWorking()) {
        set(m_systemAudio, PermissionState::allowed());
    }
}

Task<> SetupChecks::requestMic() {
    if (m_mic.isWorking()) {
        co_return;
    }
    const QPointer<SetupChecks> self(this);
    set(m_mic, PermissionState::working());
    const bool isAllowed = co_await m_ports.requestMicrophone();
    if (self) {
        set(m_mic, isAllowed ? PermissionState::allowed() : PermissionState::denied());
    }
}

Task<> SetupChecks::requestSystemAudio() {
    if (m_systemAudio.isWorking()) {
        co_return;
    }
    const QPointer<SetupChecks> self(this);
    set(m_systemAudio, PermissionState::working());
    const auto heard = co_await hears(m_ports.systemAudio(), m_clock);
    if (!self) {
        co_return;
    }
    if (!heard) {
        // The setting stays: that the source doesn't start today says nothing about tomorrow.
        AppLog::error(u"setup"_s, u"system audio: "_s + heard.error().message);
        set(m_systemAudio, PermissionState::denied());
        co_return;
    }
    m_settings.set(u"systemAudioAllowed"_s, *heard);
    set(m_systemAudio, *heard ? PermissionState::allowed() : PermissionState::denied());
}

Task<> SetupChecks::installSpeech() {
    if (m_speech.isWorking()) {
        co_return;
    }
    const QPointer<SetupChecks> self(this);
    set(m_speech, PermissionState::working(0));
    const auto installed = co_await m_ports.installSpeech([self](double progress) {
        if (self && self->m_speech.isWorking()) {
            self->set(self->m_speech, PermissionState::working(std::clamp(progress, 0.0, 1.0)));
        }
    });
    if (!installed) {
        AppLog::error(u"setup"_s, u"speech: "_s + installed.error().message);
    }
    if (self) {
        set(m_speech, installed ? PermissionState::allowed() : PermissionState::denied());
    }
}

Task<> SetupChecks::testClaude() {
    if (m_claude.isWorking()) {
        co_return;
    }
    const QPointer<SetupChecks> self(this);
    setClaude(PermissionState::working(), QString());
    const auto path = co_await m_claudeRunner.locate();
    if (!self) {
        co_return;
    }
    set(m_claudePath, path);
    if (!path) {
        setClaude(PermissionState::denied(), u"Claude Code isn't installed"_s);
        co_return;
    }
    const auto reply = co_await m_claudeRunner.run(testRequest(), nullptr);
    if (self) {
        const auto [state, message] = outcome(reply, u"Connected to your Claude account."_s);
        setClaude(state, message);
    }
}

Task<> SetupChecks::testCodex() {
    if (m_codex.isWorking()) {
        co_return;
    }
    const QPointer<SetupChecks> self(this);
    setCodex(PermissionState::working(), QString());
    const auto path = co_await m_codexRunner.locate();
    if (!self) {
        co_return;
    }
    set(m_codexPath, path);
    if (!path) {
        setCodex(PermissionState::denied(), u"Codex isn't installed."_s);
        co_return;
    }
    const bool isSignedIn = co_await m_codexRunner.isSignedIn();
    if (!self) {
        co_return;
    }
    if (!isSignedIn) {
        setCodex(PermissionState::denied(),
                 u"Run `codex login` in Terminal and pick Sign in with ChatGPT."_s);
        co_return;
    }
    const auto reply = co_await m_codexRunner.run(testRequest(), nullptr);
    if (self) {
        const auto [state, message] = outcome(reply, u"Connected to your ChatGPT account."_s);
        setCodex(state, message);
    }
}

}  // namespace lumbro
