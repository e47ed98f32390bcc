#include "LumbroCore/Mailbox.h"

#include <QCoreApplication>
#include <QEvent>

#include <mutex>
#include <utility>

namespace lumbro {

namespace {

const QEvent::Type actionType = static_cast<QEvent::Type>(QEvent::registerEventType());

class ActionEvent final : public QEvent {
  public:
    explicit ActionEvent(std::function<void()> action) : QEvent(actionType), m_action(std::move(action)) {}

    void run() const { m_action(); }

  private:
    std::function<void()> m_action;
};

/// Qt keeps the order of posts by a lock of its own, which ThreadSanitizer can't see.
std::mutex& visibleOrder() {
    static std::mutex order;
    return order;
}

}  // namespace

Mailbox::~Mailbox() {
    // What has not run is destroyed on this thread.
    m_posted.fetch_add(1, std::memory_order_acq_rel);
}

void Mailbox::post(std::function<void()> action) {
    auto* event = new ActionEvent(std::move(action));
    m_posted.fetch_add(1, std::memory_order_acq_rel);
    const std::lock_guard guard(visibleOrder());
    QCoreApplication::postEvent(this, event);
}

bool Mailbox::event(QEvent* event) {
    m_posted.fetch_add(1, std::memory_order_acq_rel);
    if (event->type() != actionType) {
        return QObject::event(event);
    }
    // Qt keeps the event alive until this returns, even when the action destroys the mailbox.
    static_cast<ActionEvent*>(event)->run();
    return true;
}

}  // namespace lumbro
