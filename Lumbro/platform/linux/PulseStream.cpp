#include "platform/linux/PulseStream.h"

#include "LumbroCore/AppLog.h"

#include <pulse/context.h>
#include <pulse/error.h>
#include <pulse/stream.h>
#include <pulse/timeval.h>

namespace lumbro {

namespace {

/// How much the reader may fall behind before sound is lost.
constexpr size_t ringSeconds = 4;
/// What the server hands over at once.
constexpr uint32_t fragmentMilliseconds = 25;
/// What is handed on at once, so that a reader who fell behind does not get seconds in one piece.
constexpr size_t largestBufferFrames = 4096;

FailureKind kindOf(int error) {
    switch (error) {
        case PA_ERR_ACCESS:
            return FailureKind::micDenied;
        case PA_ERR_NOENTITY:
            return FailureKind::notFound;
        default:
            return FailureKind::failed;
    }
}

Failure failureOf(int error) {
    return {kindOf(error), QString::fromUtf8(pa_strerror(error))};
}

}  // namespace

PulseStream::PulseStream(std::shared_ptr<PulseConnection> connection, AudioStreamEvents events)
    : m_connection(std::move(connection)),
      m_events(std::move(events)),
      m_mainThread(std::make_unique<Mailbox>()) {
    m_opened.start();
    m_worker = std::thread([this] { work(); });
}

PulseStream::~PulseStream() {
    if (m_stream != nullptr) {
        const PulseLock lock(m_connection->loop());
        pa_stream_set_state_callback(m_stream, nullptr, nullptr);
        pa_stream_set_read_callback(m_stream, nullptr, nullptr);
        pa_stream_set_moved_callback(m_stream, nullptr, nullptr);
        pa_stream_disconnect(m_stream);
        pa_stream_unref(m_stream);
    }
    m_closing = true;
    m_filled.release();
    m_worker.join();
    m_outcome = m_outcome.value_or(fail(FailureKind::cancelled, u"closed"_s));
    finishOpening();
}

QFuture<Result<>> PulseStream::connect(const QString& device, bool fixed) {
    const PulseLock lock(m_connection->loop());
    connectLocked(device, fixed);
    return m_opened.future();
}

void PulseStream::connectLocked(const QString& device, bool fixed) {
    // Rate and channels are the device's own, by the flags below.
    const pa_sample_spec spec{PA_SAMPLE_FLOAT32NE, 48000, 2};
    m_stream = pa_stream_new(m_connection->context(), "Lumbro recording", &spec, nullptr);
    if (m_stream == nullptr) {
        resolve(std::unexpected(failureOf(pa_context_errno(m_connection->context()))));
        return;
    }
    pa_stream_set_state_callback(
        m_stream, [](pa_stream*, void* data) { static_cast<PulseStream*>(data)->stateChanged(); }, this);
    pa_stream_set_read_callback(
        m_stream, [](pa_stream*, size_t, void* data) { static_cast<PulseStream*>(data)->read(); }, this);
    pa_stream_set_moved_callback(
        m_stream, [](pa_stream*, void* data) { static_cast<PulseStream*>(data)->moved(); }, this);
    const pa_buffer_attr attributes{
        .maxlength = uint32_t(-1),
        .tlength = uint32_t(-1),
        .prebuf = uint32_t(-1),
        .minreq = uint32_t(-1),
        .fragsize = static_cast<uint32_t>(pa_usec_to_bytes(fragmentMilliseconds * PA_USEC_PER_MSEC, &spec)),
    };
    const auto flags =
        static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_FIX_RATE |
                                       PA_STREAM_FIX_CHANNELS | (fixed ? PA_STREAM_DONT_MOVE : 0));
    const QByteArray name = device.toUtf8();
    if (pa_stream_connect_record(m_stream, device.isEmpty() ? nullptr : name.constData(), &attributes,
                                 flags) < 0) {
        resolve(std::unexpected(failureOf(pa_context_errno(m_connection->context()))));
    }
}

void PulseStream::giveUp() {
    const PulseLock lock(m_connection->loop());
    if (!m_outcome) {
        resolve(fail(u"the audio server does not answer"_s));
    }
}

void PulseStream::deliver() {
    m_delivering = true;
}

void PulseStream::resolve(const Result<>& result) {
    m_outcome = result;
    m_mainThread->post([this] { finishOpening(); });
}

// With the lock held to the end, a failure that comes next is told after this.
void PulseStream::finishOpening() {
    const PulseLock lock(m_connection->loop());
    if (!std::exchange(m_isTold, true)) {
        m_opened.addResult(*m_outcome);
        m_opened.finish();
    }
}

void PulseStream::report(std::function<void()> event) {
    if (event) {
        m_mainThread->post(std::move(event));
    }
}

void PulseStream::stateChanged() {
    const pa_stream_state_t state = pa_stream_get_state(m_stream);
    if (state == PA_STREAM_READY) {
        ready();
    } else if (!PA_STREAM_IS_GOOD(state)) {
        const Failure failure = failureOf(pa_context_errno(m_connection->context()));
        if (!m_isTold) {
            // It may have been open for a moment, which nobody has heard of yet.
            resolve(std::unexpected(failure));
        } else if (const auto failed = std::exchange(m_events.onFailed, {})) {
            report([failed, reason = failure.message] { failed(reason); });
        }
    }
}

void PulseStream::ready() {
    const pa_sample_spec* spec = pa_stream_get_sample_spec(m_stream);
    m_format = {static_cast<int>(spec->rate), spec->channels};
    m_device = QString::fromUtf8(pa_stream_get_device_name(m_stream));
    m_ring = std::make_unique<SampleRing>(ringSeconds * spec->rate * spec->channels);
    resolve({});
}

void PulseStream::moved() {
    // What comes now is of another device, which may even be a monitor.
    m_delivering = false;
    report(m_events.onConfigurationChanged);
}

void PulseStream::read() {
    while (pa_stream_readable_size(m_stream) > 0) {
        const void* data = nullptr;
        size_t bytes = 0;
        if (pa_stream_peek(m_stream, &data, &bytes) < 0 || bytes == 0) {
            return;
        }
        const size_t samples = bytes / sizeof(float);
        if (m_delivering && !m_ring->write(static_cast<const float*>(data), samples)) {
            m_lost += static_cast<qint64>(samples);
        }
        pa_stream_drop(m_stream);
    }
    m_filled.release();
}

void PulseStream::work() {
    while (true) {
        m_filled.acquire();
        if (m_closing) {
            return;
        }
        if (!m_ring) {
            continue;
        }
        const auto channels = static_cast<size_t>(m_format.channels);
        for (auto piece = m_ring->readable(); !piece.empty() && !m_closing; piece = m_ring->readable()) {
            piece = piece.first(std::min(piece.size(), largestBufferFrames * channels));
            m_events.onBuffer({m_format, piece});
            m_ring->consume(piece.size());
        }
        if (const qint64 lost = m_lost.exchange(0); lost > 0) {
            AppLog::error(u"audio"_s, u"lost "_s + QString::number(lost) + u" samples of "_s + m_device);
        }
    }
}

}  // namespace lumbro
