#pragma once

#include "LumbroCore/Clock.h"
#include "library/model/InboxItem.h"
#include "library/model/PillMode.h"

#include <QList>
#include <QObject>

#include <chrono>
#include <functional>
#include <optional>

namespace lumbro {

/// What the pill shows, the timer that brings it back to rest, and the inbox of what waits. Main thread.
class Pill : public QObject {
    Q_OBJECT

  public:
    static constexpr qsizetype maxInbox = 10;

    /// `isRecording` decides what rest means; `isHovering` is true while the pointer is on the pill.
    Pill(Clock& clock, std::function<bool()> isRecording, std::function<bool()> isHovering);

    const PillMode& mode() const { return m_mode; }
    template <typename Mode>
    bool shows() const {
        return std::holds_alternative<Mode>(m_mode);
    }

    /// Shows `mode`. After `collapseAfter` the pill goes back to rest, though never under the pointer, and
    /// then puts `expiresTo` into the inbox. Any earlier timer is over.
    void setMode(PillMode mode, std::optional<std::chrono::milliseconds> collapseAfter = std::nullopt,
                 std::optional<InboxItem> expiresTo = std::nullopt);
    /// Goes back to rest at once: `Recording` while a recording runs, else `Idle`.
    void rest();
    /// A line for the user: `seconds` on show, or 10 for an error.
    void say(const QString& text, std::chrono::milliseconds collapseAfter = std::chrono::seconds(4));
    void sayError(const QString& text);

    /// Newest first, at most `maxInbox`; only in memory.
    const QList<InboxItem>& inbox() const { return m_inbox; }
    /// Puts the item in front, in place of one with the same id.
    void addToInbox(const InboxItem& item);
    void removeFromInbox(const QString& id);

  Q_SIGNALS:
    void modeChanged();
    void inboxChanged();

  private:
    void collapse(const std::optional<InboxItem>& expiresTo);
    void show(PillMode mode);

    Clock& m_clock;
    std::function<bool()> m_isRecording;
    std::function<bool()> m_isHovering;
    PillMode m_mode = pill::Idle{};
    QList<InboxItem> m_inbox;
    Timer m_collapse;
};

}  // namespace lumbro
