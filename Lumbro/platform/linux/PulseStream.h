#pragma once

#include "LumbroCore/Mailbox.h"
#include "platform/AudioServer.h"
#include "platform/linux/PulseConnection.h"
#include "platform/linux/SampleRing.h"

#include <QFuture>
#include <QObject>
#include <QPromise>

#include <atomic>
#include <memory>
#include <optional>
#include <semaphore>
#include <thread>

struct pa_stream;

namespace lumbro {

/// A recording stream. The library's callback only fills a ring; a thread of the stream hands the samples on.
class PulseStream final : public AudioStream {
  public:
    PulseStream(std::shared_ptr<PulseConnection> connection, AudioStreamEvents events);
    ~PulseStream() override;

    /// Begins to open. An empty `device` follows the server's default source; `fixed` forbids the server to
    /// move the stream to another device.
    QFuture<Result<>> connect(const QString& device, bool fixed);
    /// Gives up an opening that takes too long.
    void giveUp();
    /// From now on buffers are handed over; until then they are dropped.
    void deliver();

    AudioFormat format() const override { return m_format; }
    QString deviceID() const override { return m_device; }

  private:
    void connectLocked(const QString& device, bool fixed);
    void stateChanged();
    void ready();
    void moved();
    void read();
    void report(std::function<void()> event);
    void resolve(const Result<>& result);
    void finishOpening();
    void work();

    std::shared_ptr<PulseConnection> m_connection;
    AudioStreamEvents m_events;
    pa_stream* m_stream = nullptr;
    QPromise<Result<>> m_opened;
    /// How the opening stands; none while it is under way. Under the connection's lock, as the next.
    std::optional<Result<>> m_outcome;
    /// The outcome has been told; what fails from now on is a failure of an open stream.
    bool m_isTold = false;
    AudioFormat m_format;
    QString m_device;
    /// Takes events to the main thread; they are dropped with it.
    std::unique_ptr<Mailbox> m_mainThread;

    std::unique_ptr<SampleRing> m_ring;
    std::atomic<bool> m_delivering = false;
    std::atomic<bool> m_closing = false;
    std::atomic<qint64> m_lost = 0;
    std::counting_semaphore<> m_filled{0};
    std::thread m_worker;
};

}  // namespace lumbro
