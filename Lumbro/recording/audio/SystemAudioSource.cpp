#include "recording/audio/SystemAudioSource.h"

#include "LumbroCore/AppLog.h"
#include "recording/audio/CaptureError.h"

#include <QObject>

#include <algorithm>

namespace lumbro {

namespace {

constexpr int mostAttempts = 5;
constexpr auto settlingTime = std::chrono::milliseconds(500);

}  // namespace

/// Outlives the source while a tap is being built; `opening` then tells that it is no longer wanted.
struct SystemAudioSource::Private {
    AudioServer& server;
    Clock& clock;
    /// The output that was chosen; empty for the default one.
    QString chosen;
    Consumer onBuffer;
    std::unique_ptr<AudioStream> stream;
    QMetaObject::Connection listener;
    Timer pendingRebuild;
    /// Each tap has a number; one that is no longer the last is dropped.
    int opening = 0;
    bool running = false;

    static Task<Result<>> startTap(std::shared_ptr<Private> self);
    static Task<Result<>> start(std::shared_ptr<Private> self);
    static QMetaObject::Connection listen(const std::shared_ptr<Private>& self);
    static Task<> rebuild(std::shared_ptr<Private> self, int attempt);
    static void scheduleRebuild(const std::weak_ptr<Private>& source, Clock::Duration delay, int attempt);
    static AudioStreamEvents events(const std::shared_ptr<Private>& self);
};

AudioStreamEvents SystemAudioSource::Private::events(const std::shared_ptr<Private>& self) {
    const std::weak_ptr<Private> source = self;
    AudioStreamEvents events;
    events.onBuffer = self->onBuffer;
    events.onConfigurationChanged = [source] { scheduleRebuild(source, settlingTime, 1); };
    events.onFailed = [source](const QString&) { scheduleRebuild(source, settlingTime, 1); };
    return events;
}

Task<Result<>> SystemAudioSource::Private::startTap(std::shared_ptr<Private> self) {
    const int opening = ++self->opening;
    if (!self->onBuffer) {
        co_return std::unexpected(captureError::systemAudio(u"no consumer"_s));
    }
    const auto attached = co_await self->server.attach();
    if (self->opening != opening) {
        co_return fail(FailureKind::cancelled, u"The recording has ended."_s);
    }
    if (!attached) {
        co_return std::unexpected(captureError::systemAudio(u"no audio server"_s));
    }
    const QString output = self->chosen.isEmpty() ? self->server.defaultOutput() : self->chosen;
    if (output.isEmpty()) {
        co_return std::unexpected(captureError::systemAudio(u"no output device"_s));
    }
    auto opened = co_await self->server.open({AudioStreamRequest::Kind::output, output}, events(self));
    if (self->opening != opening) {
        co_return fail(FailureKind::cancelled, u"The recording has ended."_s);
    }
    AppLog::info(u"system"_s, u"tap start status="_s + (opened ? u"0"_s : opened.error().message) +
                                  u" output="_s + output);
    if (!opened) {
        co_return std::unexpected(captureError::systemAudio(u"permission denied or device busy ("_s +
                                                            opened.error().message + u')'));
    }
    self->stream = std::move(opened->stream);
    co_return {};
}

Task<Result<>> SystemAudioSource::Private::start(std::shared_ptr<Private> self) {
    const auto started = co_await startTap(self);
    if (!started) {
        co_return started;
    }
    self->running = true;
    self->listener = listen(self);
    co_return started;
}

QMetaObject::Connection SystemAudioSource::Private::listen(const std::shared_ptr<Private>& self) {
    const std::weak_ptr<Private> source = self;
    if (self->chosen.isEmpty()) {
        return QObject::connect(&self->server, &AudioServer::defaultOutputChanged,
                                [source] { scheduleRebuild(source, settlingTime, 1); });
    }
    return QObject::connect(&self->server, &AudioServer::devicesChanged, [source] {
        const auto alive = source.lock();
        if (!alive || alive->stream) {
            return;
        }
        const QList<AudioDevice>& outputs = alive->server.outputs();
        if (std::ranges::find(outputs, alive->chosen, &AudioDevice::id) != outputs.end()) {
            scheduleRebuild(source, settlingTime, 1);
        }
    });
}

void SystemAudioSource::Private::scheduleRebuild(const std::weak_ptr<Private>& source, Clock::Duration delay,
                                                 int attempt) {
    const auto self = source.lock();
    if (!self || !self->running) {
        return;
    }
    self->pendingRebuild.start(self->clock, delay, Clock::Repeat::once, [source, attempt] {
        if (const auto alive = source.lock()) {
            runDetached(rebuild(alive, attempt));
        }
    });
}

Task<> SystemAudioSource::Private::rebuild(std::shared_ptr<Private> self, int attempt) {
    if (!self->running) {
        co_return;
    }
    AppLog::info(u"system"_s,
                 u"output device changed; rebuilding tap (attempt "_s + QString::number(attempt) + u')');
    self->stream.reset();
    const auto started = co_await startTap(self);
    if (started || started.error().kind == FailureKind::cancelled) {
        co_return;
    }
    AppLog::error(u"system"_s, u"rebuild failed: "_s + started.error().message);
    // A device event that came meanwhile has begun a count of its own.
    if (attempt < mostAttempts && !self->pendingRebuild.isRunning()) {
        scheduleRebuild(self, std::chrono::seconds(attempt), attempt + 1);
    }
}

SystemAudioSource::SystemAudioSource(AudioServer& server, Clock& clock, QString output)
    : m_private(std::make_shared<Private>(server, clock, std::move(output))) {}

SystemAudioSource::~SystemAudioSource() {
    stop();
}

Task<Result<>> SystemAudioSource::start(Consumer onBuffer) {
    m_private->onBuffer = std::move(onBuffer);
    return Private::start(m_private);
}

void SystemAudioSource::stop() {
    Private& d = *m_private;
    ++d.opening;
    d.running = false;
    d.pendingRebuild.stop();
    QObject::disconnect(d.listener);
    d.stream.reset();
}

}  // namespace lumbro
