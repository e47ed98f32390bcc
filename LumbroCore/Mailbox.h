#pragma once

#include <QObject>

#include <atomic>
#include <functional>

namespace lumbro {

/// The way from any thread back to the thread that made the mailbox. What is posted runs there in the order
/// of posting, from the event loop; what has not run when the mailbox goes is dropped. Must not be destroyed
/// while another thread may still post to it.
class Mailbox final : public QObject {
  public:
    Mailbox() = default;
    ~Mailbox() override;

    /// Queues an action. Any thread; never blocks.
    void post(std::function<void()> action);

  protected:
    bool event(QEvent* event) override;

  private:
    /// Orders what a poster did before what its action does, in a way that race detectors see.
    std::atomic<unsigned> m_posted = 0;
};

}  // namespace lumbro
