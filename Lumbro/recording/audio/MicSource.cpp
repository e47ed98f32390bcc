#include "recording/audio/MicSource.h"

#include "LumbroCore/AppLog.h"
#include "recording/audio/CaptureError.h"
#include "recording/audio/MicrophoneDevices.h"

#include <QObject>

#include <atomic>

namespace lumbro {

namespace {

constexpr int mostAttempts = 5;
constexpr qint64 buffersPerLogLine = 500;

}  // namespace

/// Outlives the source while an opening is under way; `stopped` then ends it.
struct MicSource::Private {
    AudioServer& server;
    Clock& clock;
    Settings& settings;
    QString label;
    Consumer onBuffer;
    std::unique_ptr<AudioStream> stream;
    Timer nextAttempt;
    QMetaObject::Connection listener;
    std::atomic<qint64> buffers = 0;
    /// Each opening has a number; one that is no longer the last is dropped.
    int opening = 0;
    bool stopped = false;

    void info(const QString& message) const { AppLog::info(label, message); }
    void error(const QString& message) const { AppLog::error(label, message); }

    static Task<Result<>> startEngine(std::shared_ptr<Private> self);
    static Task<> restart(std::shared_ptr<Private> self, int attempt);
    static AudioStreamEvents events(const std::shared_ptr<Private>& self);
    static Task<Result<>> start(std::shared_ptr<Private> self);
    static void configurationChanged(const std::weak_ptr<Private>& source);
    void deliver(const AudioBuffer& buffer);
};

void MicSource::Private::deliver(const AudioBuffer& buffer) {
    const qint64 count = ++buffers;
    if (count == 1 || count % buffersPerLogLine == 0) {
        info(u"buffers="_s + QString::number(count) + u" frames="_s + QString::number(buffer.frames()) +
             u" rate="_s + QString::number(buffer.format.rate));
    }
    onBuffer(buffer);
}

AudioStreamEvents MicSource::Private::events(const std::shared_ptr<Private>& self) {
    const std::weak_ptr<Private> source = self;
    AudioStreamEvents events;
    // The stream belongs to the source and has ended its thread before the source goes.
    events.onBuffer = [d = self.get()](const AudioBuffer& buffer) { d->deliver(buffer); };
    events.onConfigurationChanged = [source] { configurationChanged(source); };
    events.onFailed = [source](const QString&) { configurationChanged(source); };
    return events;
}

void MicSource::Private::configurationChanged(const std::weak_ptr<Private>& source) {
    const auto self = source.lock();
    if (!self || self->stopped) {
        return;
    }
    self->info(u"audio configuration changed; restarting mic"_s);
    runDetached(restart(self, 1));
}

Task<Result<>> MicSource::Private::startEngine(std::shared_ptr<Private> self) {
    const int opening = ++self->opening;
    const auto isCurrent = [&] { return !self->stopped && self->opening == opening; };
    const auto attached = co_await self->server.attach();
    if (!isCurrent()) {
        co_return fail(FailureKind::cancelled, u"The recording has ended."_s);
    }
    if (!attached) {
        co_return std::unexpected(captureError::micUnavailable(u"no audio server"_s));
    }
    const QString uid = self->settings.string(u"microphoneDeviceUID"_s);
    const QString standard = self->server.defaultMicrophone();
    const QString device =
        microphoneDevices::resolve(uid, microphoneDevices::available(self->server), standard);
    if (device.isEmpty()) {
        co_return std::unexpected(captureError::micUnavailable(u"no input device"_s));
    }
    self->info(u"input device="_s + device + u" selection="_s + (uid.isEmpty() ? u"system default"_s : uid));
    // The default one is asked for without its name, so that the stream goes with it when it changes.
    const AudioStreamRequest request{AudioStreamRequest::Kind::microphone,
                                     device == standard && device != uid ? QString() : device};
    auto opened = co_await self->server.open(request, events(self));
    if (isCurrent() && !opened && opened.error().kind == FailureKind::notFound &&
        !request.deviceID.isEmpty()) {
        // It has just gone, and the list of devices does not know yet.
        self->info(u"device gone; taking the default"_s);
        opened = co_await self->server.open({AudioStreamRequest::Kind::microphone, {}}, events(self));
    }
    if (!isCurrent()) {
        co_return fail(FailureKind::cancelled, u"The recording has ended."_s);
    }
    if (!opened) {
        self->error(u"engine start failed: "_s + opened.error().message);
        co_return std::unexpected(opened.error().kind == FailureKind::micDenied
                                      ? captureError::micDenied()
                                      : captureError::micUnavailable(opened.error().message));
    }
    self->stream = std::move(opened->stream);
    const AudioFormat format = self->stream->format();
    self->info(u"engine running format="_s + QString::number(format.rate) + u"Hz/"_s +
               QString::number(format.channels) + u"ch"_s);
    co_return {};
}

Task<Result<>> MicSource::Private::start(std::shared_ptr<Private> self) {
    const auto started = co_await startEngine(self);
    if (!started) {
        co_return started;
    }
    // A stream goes with the default by itself; without one, a microphone that comes late must be told.
    const std::weak_ptr<Private> source = self;
    self->listener = QObject::connect(&self->server, &AudioServer::defaultMicrophoneChanged, [source] {
        const auto alive = source.lock();
        if (alive && !alive->stream && !alive->server.defaultMicrophone().isEmpty()) {
            configurationChanged(source);
        }
    });
    co_return started;
}

Task<> MicSource::Private::restart(std::shared_ptr<Private> self, int attempt) {
    if (self->stopped) {
        co_return;
    }
    self->nextAttempt.stop();
    self->stream.reset();
    const auto started = co_await startEngine(self);
    if (started || started.error().kind == FailureKind::cancelled) {
        co_return;
    }
    self->error(u"restart failed (attempt "_s + QString::number(attempt) + u"): "_s +
                started.error().message);
    if (attempt < mostAttempts) {
        const std::weak_ptr<Private> source = self;
        self->nextAttempt.start(self->clock, std::chrono::seconds(attempt), Clock::Repeat::once,
                                [source, attempt] {
                                    if (const auto alive = source.lock()) {
                                        runDetached(restart(alive, attempt + 1));
                                    }
                                });
    }
}

MicSource::MicSource(AudioServer& server, Clock& clock, Settings& settings, QString label)
    : m_private(std::make_shared<Private>(server, clock, settings, std::move(label))) {}

MicSource::~MicSource() {
    stop();
}

Task<Result<>> MicSource::start(Consumer onBuffer) {
    m_private->onBuffer = std::move(onBuffer);
    m_private->info(u"start permission=authorized"_s);
    return Private::start(m_private);
}

void MicSource::stop() {
    Private& d = *m_private;
    if (std::exchange(d.stopped, true)) {
        return;
    }
    d.nextAttempt.stop();
    QObject::disconnect(d.listener);
    d.stream.reset();
    if (d.onBuffer) {
        d.info(u"stop buffers="_s + QString::number(d.buffers));
    }
}

}  // namespace lumbro
