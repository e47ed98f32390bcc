#include "cli/services/OutputSource.h"

#include "LumbroCore/AppLog.h"
#include "recording/audio/CaptureError.h"

namespace lumbro::cli {

OutputSource::OutputSource(AudioServer& server, QString deviceID)
    : m_server(server), m_deviceID(std::move(deviceID)) {}

OutputSource::~OutputSource() = default;

Task<Result<>> OutputSource::start(Consumer onBuffer) {
    AudioStreamEvents events;
    events.onBuffer = std::move(onBuffer);
    events.onFailed = [](const QString& reason) {
        AppLog::error(u"capture"_s, u"the output has gone: "_s + reason);
    };
    auto opened = co_await m_server.open({AudioStreamRequest::Kind::output, m_deviceID}, std::move(events));
    if (!opened) {
        co_return std::unexpected(captureError::systemAudio(opened.error().message));
    }
    m_stream = std::move(opened->stream);
    co_return Result<>();
}

void OutputSource::stop() {
    m_stream.reset();
}

}  // namespace lumbro::cli
