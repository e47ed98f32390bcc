#include "library/model/Pill.h"

#include <utility>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

constexpr auto hoverRecheck = 400ms;
constexpr auto errorShown = 10s;

}  // namespace

Pill::Pill(Clock& clock, std::function<bool()> isRecording, std::function<bool()> isHovering)
    : m_clock(clock), m_isRecording(std::move(isRecording)), m_isHovering(std::move(isHovering)) {}

void Pill::setMode(PillMode mode, std::optional<std::chrono::milliseconds> collapseAfter,
                   std::optional<InboxItem> expiresTo) {
    m_collapse.stop();
    if (collapseAfter) {
        m_collapse.start(m_clock, *collapseAfter, Clock::Repeat::once,
                         [this, item = std::move(expiresTo)] { collapse(item); });
    }
    show(std::move(mode));
}

void Pill::rest() {
    m_collapse.stop();
    show(m_isRecording() ? PillMode(pill::Recording{}) : PillMode(pill::Idle{}));
}

void Pill::say(const QString& text, std::chrono::milliseconds collapseAfter) {
    setMode(pill::Message{text, false}, collapseAfter);
}

void Pill::sayError(const QString& text) {
    setMode(pill::Message{text, true}, errorShown);
}

void Pill::addToInbox(const InboxItem& item) {
    QList<InboxItem> items = m_inbox;
    items.removeIf([id = inboxID(item)](const InboxItem& other) { return inboxID(other) == id; });
    items.prepend(item);
    items.resize(std::min(items.size(), maxInbox));
    if (std::exchange(m_inbox, items) != items) {
        Q_EMIT inboxChanged();
    }
}

void Pill::removeFromInbox(const QString& id) {
    if (m_inbox.removeIf([&id](const InboxItem& item) { return inboxID(item) == id; }) > 0) {
        Q_EMIT inboxChanged();
    }
}

void Pill::collapse(const std::optional<InboxItem>& expiresTo) {
    if (m_isHovering()) {
        m_collapse.start(m_clock, hoverRecheck, Clock::Repeat::once,
                         [this, expiresTo] { collapse(expiresTo); });
        return;
    }
    if (expiresTo) {
        addToInbox(*expiresTo);
    }
    rest();
}

void Pill::show(PillMode mode) {
    if (mode != m_mode) {
        m_mode = std::move(mode);
        Q_EMIT modeChanged();
    }
}

}  // namespace lumbro
