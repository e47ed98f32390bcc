#include "platform/linux/PulseAudioServer.h"

#include "LumbroCore/AppLog.h"
#include "platform/linux/PulseStream.h"

#include <QCoroFuture>
#include <QPromise>

#include <algorithm>
#include <vector>

namespace lumbro {

namespace {

// A machine that is busy may take seconds; where there is no server, that is known at once.
constexpr auto longestWait = std::chrono::seconds(8);
constexpr auto reconnectInterval = std::chrono::seconds(2);
constexpr auto probeInterval = std::chrono::seconds(5);
/// Within it, what differs is asked for again: one of the two may only have been told earlier.
constexpr auto probeAgainAfter = std::chrono::seconds(1);

Failure noServer() {
    return {FailureKind::notFound,
            u"No audio server answers. Start PipeWire or PulseAudio, then try again."_s};
}

void markDefaults(AudioServerState& state, const PulseDefaults& defaults) {
    for (AudioDevice& output : state.outputs) {
        output.isDefault = output.id == defaults.sink;
    }
    for (AudioDevice& microphone : state.microphones) {
        microphone.isDefault = microphone.id == defaults.source;
    }
    // A monitor as default source is no microphone: then the first real one is meant.
    const bool none = std::ranges::none_of(state.microphones, &AudioDevice::isDefault);
    if (none && !state.microphones.isEmpty()) {
        state.microphones.first().isDefault = true;
    }
}

}  // namespace

struct PulseAudioServer::Waiting {
    std::vector<QPromise<Result<>>> flows;
};

PulseAudioServer::PulseAudioServer(Clock& clock) : m_clock(clock), m_waiting(std::make_unique<Waiting>()) {}

PulseAudioServer::~PulseAudioServer() {
    if (m_connection) {
        // A stream that is still being opened may keep the connection for a while.
        m_connection->detach();
    }
    resolveWaiting(std::unexpected(noServer()));
}

Task<Result<>> PulseAudioServer::attach() {
    if (m_attached) {
        co_return Result<>();
    }
    QPromise<Result<>> flow;
    const QFuture<Result<>> answer = flow.future();
    flow.start();
    m_waiting->flows.push_back(std::move(flow));
    if (!m_connection) {
        startConnecting();
    }
    co_return co_await answer;
}

void PulseAudioServer::resolveWaiting(const Result<>& result) {
    for (auto flows = std::exchange(m_waiting->flows, {}); auto& flow : flows) {
        flow.addResult(result);
        flow.finish();
    }
}

void PulseAudioServer::startConnecting() {
    m_reconnect.stop();
    const int generation = ++m_generation;
    const auto ifCurrent = [this, generation](auto action) {
        m_mailbox.post([this, generation, action] {
            if (generation == m_generation) {
                action();
            }
        });
    };
    m_connection = std::make_shared<PulseConnection>(PulseConnection::Events{
        .onSnapshot =
            [this, ifCurrent](const PulseSnapshot& snapshot) {
                ifCurrent([this, snapshot] { takeSnapshot(snapshot); });
            },
        .onDefaults =
            [this, ifCurrent](const PulseDefaults& defaults) {
                ifCurrent([this, defaults] { takeProbed(defaults); });
            },
        .onLost = [this, ifCurrent] { ifCurrent([this] { connectionLost(); }); },
    });
    m_timeout.start(m_clock, longestWait, Clock::Repeat::once, [this] { connectionLost(); });
    if (!m_connection->start()) {
        ifCurrent([this] { connectionLost(); });
    }
}

void PulseAudioServer::takeSnapshot(const PulseSnapshot& snapshot) {
    m_timeout.stop();
    m_attached = true;
    m_everAttached = true;
    if (snapshot.defaults != std::exchange(m_snapshot, snapshot).defaults) {
        m_defaults = snapshot.defaults;
    }
    if (snapshot.isPipeWire && !m_probing.isRunning()) {
        probeIn(probeInterval);
    }
    publish();
    resolveWaiting({});
}

void PulseAudioServer::probeIn(Clock::Duration delay) {
    m_probing.start(m_clock, delay, Clock::Repeat::once, [this] {
        m_connection->probeDefaults();
        // Also when no answer comes.
        probeIn(probeInterval);
    });
}

void PulseAudioServer::takeProbed(const PulseDefaults& defaults) {
    const bool isConfirmed = std::exchange(m_probed, defaults) == defaults;
    if (defaults == m_defaults) {
        return;
    }
    if (!isConfirmed) {
        probeIn(probeAgainAfter);
        return;
    }
    AppLog::info(u"audio"_s, u"the audio server did not tell of its new default devices"_s);
    m_defaults = defaults;
    publish();
}

void PulseAudioServer::publish() {
    AudioServerState state = m_snapshot.state;
    markDefaults(state, m_defaults);
    setState(std::move(state));
}

void PulseAudioServer::connectionLost() {
    m_timeout.stop();
    m_probing.stop();
    m_snapshot = {};
    m_defaults = {};
    m_probed = {};
    ++m_generation;
    m_connection.reset();
    if (std::exchange(m_attached, false)) {
        AppLog::error(u"audio"_s, u"the audio server has gone"_s);
        setState({});
    }
    resolveWaiting(std::unexpected(noServer()));
    if (m_everAttached) {
        m_reconnect.start(m_clock, reconnectInterval, Clock::Repeat::once, [this] { startConnecting(); });
    }
}

Task<Result<OpenedAudioStream>> PulseAudioServer::open(AudioStreamRequest request, AudioStreamEvents events) {
    if (!m_attached) {
        co_return std::unexpected(noServer());
    }
    const bool isOutput = request.kind == AudioStreamRequest::Kind::output;
    QString device = request.deviceID;
    if (isOutput) {
        const auto output = std::ranges::find(outputs(), device, &AudioDevice::id);
        device = output == outputs().end() ? QString() : output->monitor;
    } else if (device.isEmpty() && defaultMicrophone() != m_defaults.source) {
        device = defaultMicrophone();
    }
    if (device.isEmpty() && (isOutput || defaultMicrophone().isEmpty())) {
        co_return fail(FailureKind::notFound, isOutput ? u"no output device"_s : u"no input device"_s);
    }
    const int generation = m_generation;
    const QPointer<PulseAudioServer> self = this;
    auto stream = std::make_unique<PulseStream>(m_connection, std::move(events));
    Timer timeout;
    timeout.start(m_clock, longestWait, Clock::Repeat::once, [s = stream.get()] { s->giveUp(); });
    const Result<> opened = co_await stream->connect(device, isOutput);
    if (!self) {
        co_return std::unexpected(noServer());
    }
    timeout.stop();
    if (!opened) {
        co_return std::unexpected(opened.error());
    }
    if (generation != m_generation) {
        co_return std::unexpected(noServer());
    }
    // Some servers give the microphone for a monitor that they do not know, or the other way round.
    if (m_snapshot.monitors.contains(stream->deviceID()) != isOutput ||
        (isOutput && stream->deviceID() != device)) {
        co_return fail(isOutput ? u"the output can't be recorded"_s : u"no input device"_s);
    }
    stream->deliver();
    co_return OpenedAudioStream{std::move(stream)};
}

}  // namespace lumbro
