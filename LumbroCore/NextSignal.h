#pragma once

#include <QObject>

#include <coroutine>

namespace lumbro {

/// What `nextSignal` gives; to be awaited at once.
template <typename Sender, typename Signal>
class NextSignal {
  public:
    NextSignal(Sender* sender, Signal signal) : m_sender(sender), m_signal(signal) {}

    [[nodiscard]] bool await_ready() const noexcept { return false; }

    void await_suspend(std::coroutine_handle<> waiting) const {
        Sender* const sender = m_sender;
        const auto resumeLater = [sender, waiting] {
            QMetaObject::invokeMethod(sender, [waiting] { waiting.resume(); }, Qt::QueuedConnection);
        };
        QObject::connect(sender, m_signal, sender, resumeLater,
                         Qt::ConnectionType(Qt::DirectConnection | Qt::SingleShotConnection));
    }

    void await_resume() const noexcept {}

  private:
    Sender* m_sender;
    Signal m_signal;
};

/// Awaits that `signal` is sent once more, and goes on from the event loop; its arguments are dropped. Never
/// goes on when the sender is deleted first. QCoro's own awaiting of signals runs into freed memory when one
/// is sent twice before the event loop comes round. Main thread.
template <typename Sender, typename Signal>
NextSignal<Sender, Signal> nextSignal(Sender* sender, Signal signal) {
    return {sender, signal};
}

}  // namespace lumbro
