#pragma once

#include "LumbroCore/Failure.h"
#include "platform/AudioServer.h"
#include "platform/linux/PulseDefaultsProbe.h"

#include <QSet>
#include <QString>

#include <functional>
#include <memory>

struct pa_context;
struct pa_threaded_mainloop;

namespace lumbro {

/// What the server says about itself at one moment.
struct PulseSnapshot {
    /// No device is marked as a default one.
    AudioServerState state;
    PulseDefaults defaults;
    /// The server is PipeWire, which may keep changes of the defaults to itself.
    bool isPipeWire = false;
    /// The sources that carry what an output plays.
    QSet<QString> monitors;

    bool operator==(const PulseSnapshot&) const = default;
};

/// Holds the lock of a connection's thread, as every call of its context and streams needs.
class PulseLock {
  public:
    explicit PulseLock(pa_threaded_mainloop* loop);
    ~PulseLock();
    PulseLock(const PulseLock&) = delete;
    PulseLock& operator=(const PulseLock&) = delete;

  private:
    pa_threaded_mainloop* m_loop;
};

/// One connection to the audio server, with the thread that serves it. It reads the state again after each
/// event of the server.
class PulseConnection {
  public:
    /// All are called on the connection's thread.
    struct Events {
        std::function<void(const PulseSnapshot&)> onSnapshot;
        /// The answer to `probeDefaults`.
        std::function<void(const PulseDefaults&)> onDefaults = {};
        /// The connection could not be made, or is over. At most once, last.
        std::function<void()> onLost;
    };

    explicit PulseConnection(Events events);
    /// Ends the thread; no callback runs after it.
    ~PulseConnection();
    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;

    /// Starts the thread and begins to connect. False when that is not possible.
    bool start();
    /// Asks for the default devices over another connection. Any thread.
    void probeDefaults();
    /// No event comes after it. For a connection that must live on for a stream's sake.
    void detach();

    pa_threaded_mainloop* loop() const { return m_loop; }
    pa_context* context() const { return m_context; }

  private:
    struct Reader;
    void stateChanged();
    void refresh();

    Events m_events;
    pa_threaded_mainloop* m_loop = nullptr;
    pa_context* m_context = nullptr;
    std::unique_ptr<Reader> m_reader;
    std::unique_ptr<PulseDefaultsProbe> m_probe;
};

}  // namespace lumbro
