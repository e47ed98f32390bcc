#include "platform/fake/FakeAudioServer.h"

namespace lumbro {

/// Lists itself with its server as long as it is open.
class FakeAudioServer::Stream final : public AudioStream {
  public:
    Stream(std::shared_ptr<std::vector<Stream*>> open, AudioStreamRequest request, AudioFormat format,
           AudioStreamEvents events)
        : m_request(std::move(request)),
          m_format(format),
          m_events(std::move(events)),
          m_open(std::move(open)) {
        m_open->push_back(this);
    }
    ~Stream() override { std::erase(*m_open, this); }

    AudioFormat format() const override { return m_format; }
    QString deviceID() const override { return m_request.deviceID; }
    AudioStreamRequest::Kind kind() const { return m_request.kind; }
    const AudioStreamEvents& events() const { return m_events; }

  private:
    AudioStreamRequest m_request;
    AudioFormat m_format;
    AudioStreamEvents m_events;
    std::shared_ptr<std::vector<Stream*>> m_open;
};

FakeAudioServer::FakeAudioServer() : m_open(std::make_shared<std::vector<Stream*>>()) {
    setState(usualState());
}

FakeAudioServer::~FakeAudioServer() = default;

AudioServerState FakeAudioServer::usualState() {
    AudioServerState state;
    state.microphones = {{u"mic"_s, u"Built-in Microphone"_s, true, {}}};
    state.outputs = {{u"speakers"_s, u"Built-in Speakers"_s, true, u"speakers.monitor"_s}};
    return state;
}

Task<Result<>> FakeAudioServer::attach() {
    if (!isRunning) {
        co_return fail(FailureKind::notFound, u"No audio server answers."_s);
    }
    co_return {};
}

Task<Result<OpenedAudioStream>> FakeAudioServer::open(AudioStreamRequest request, AudioStreamEvents events) {
    m_requests.append(request);
    if (!gone.isEmpty() && request.deviceID == gone) {
        co_return fail(FailureKind::notFound, u"No such entity"_s);
    }
    if (failures > 0) {
        --failures;
        co_return fail(failureReason);
    }
    co_return OpenedAudioStream{
        std::make_unique<Stream>(m_open, std::move(request), format, std::move(events))};
}

std::vector<FakeAudioServer::Stream*> FakeAudioServer::streams(AudioStreamRequest::Kind kind) const {
    std::vector<Stream*> found = *m_open;
    std::erase_if(found, [kind](const Stream* stream) { return stream->kind() != kind; });
    return found;
}

int FakeAudioServer::openStreams(AudioStreamRequest::Kind kind) const {
    return static_cast<int>(streams(kind).size());
}

void FakeAudioServer::feed(AudioStreamRequest::Kind kind, std::span<const float> samples) {
    for (const Stream* stream : streams(kind)) {
        stream->events().onBuffer({stream->format(), samples});
    }
}

void FakeAudioServer::changeConfiguration(AudioStreamRequest::Kind kind) {
    for (const Stream* stream : streams(kind)) {
        // The listener closes this very stream.
        const auto changed = stream->events().onConfigurationChanged;
        changed();
    }
}

void FakeAudioServer::breakStreams(AudioStreamRequest::Kind kind, const QString& reason) {
    for (const Stream* stream : streams(kind)) {
        const auto failed = stream->events().onFailed;
        failed(reason);
    }
}

}  // namespace lumbro
