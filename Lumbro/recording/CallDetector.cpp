#include "recording/CallDetector.h"

#include "LumbroCore/AppLog.h"

#include <QPointer>

#include <array>
#include <utility>

namespace lumbro {

namespace {

constexpr auto attemptInterval = std::chrono::seconds(10);

}  // namespace

QString rawValue(CallStartAction action) {
    static constexpr std::array words{"nothing", "offer", "record"};
    return QString::fromLatin1(words.at(static_cast<size_t>(action)));
}

CallDetector::CallDetector(Clock& clock, Settings& settings, AudioServer& server, Ports ports)
    : m_clock(clock), m_settings(settings), m_server(server), m_ports(std::move(ports)) {}

CallDetector::~CallDetector() = default;

std::optional<QList<MicrophoneUser>> CallDetector::users(const AudioServer& server) {
    // Its lists are empty then, and one without any device has nobody to tell of either.
    if (server.microphones().isEmpty() && server.outputs().isEmpty()) {
        return std::nullopt;
    }
    return server.usingMicrophone();
}

CallStartAction CallDetector::startAction(const Settings& settings) {
    if (!settings.boolean(u"offerCallCapture"_s)) {
        return CallStartAction::nothing;
    }
    return settings.boolean(u"autoRecordCalls"_s) ? CallStartAction::record : CallStartAction::offer;
}

void CallDetector::setStartAction(Settings& settings, CallStartAction action) {
    settings.set(u"offerCallCapture"_s, action != CallStartAction::nothing);
    settings.set(u"autoRecordCalls"_s, action == CallStartAction::record);
}

void CallDetector::tick() {
    if (startAction(m_settings) == CallStartAction::nothing) {
        // Nobody looks for its end any more.
        if (std::exchange(m_watch, {}).active()) {
            Q_EMIT activeChanged();
        }
        return;
    }
    if (!m_isAttached) {
        if (!m_isAttaching && m_clock.elapsed() >= m_nextAttempt.value_or(m_clock.elapsed())) {
            runDetached(attach());
        }
        return;
    }
    const CallWatch::Change change = m_watch.look(users(m_server));
    if (change.started) {
        callStarted(*change.started);
    } else if (change.ended) {
        AppLog::info(u"calls"_s, u"call ended"_s);
        m_ports.callEnded();
    }
    if (change != CallWatch::Change()) {
        Q_EMIT activeChanged();
    }
}

Task<> CallDetector::attach() {
    m_isAttaching = true;
    const QPointer<CallDetector> alive(this);
    const Result<> attached = co_await m_server.attach();
    if (!alive) {
        co_return;
    }
    m_isAttaching = false;
    m_isAttached = attached.has_value();
    m_nextAttempt = m_clock.elapsed() + attemptInterval;
}

void CallDetector::callStarted(const MicrophoneUser& app) {
    const bool recording = m_ports.isRecording();
    AppLog::info(u"calls"_s,
                 u"%1 is using the mic recording=%2"_s.arg(app.name, recording ? u"true"_s : u"false"_s));
    if (recording) {
        m_ports.noteCallApp(app);
    } else if (startAction(m_settings) == CallStartAction::record) {
        m_ports.takeNotes();
    } else {
        m_ports.offerCapture(app.name);
    }
}

}  // namespace lumbro
