#pragma once

#include "LumbroCore/Clock.h"
#include "library/formats/CaptureMeta.h"

#include <QObject>
#include <QString>

#include <memory>
#include <optional>

namespace lumbro {

/// The user's notes of one capture while they are on screen, shared by every view of it. Each change is in
/// `notes.md` at once: there is no save button. Main thread.
class NoteDraft final : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString text READ text WRITE setText NOTIFY textChanged)
    Q_PROPERTY(bool saved READ saved NOTIFY savedChanged)

  public:
    /// The one live draft of the capture's folder; made from its `notes.md` when there is none. The clock
    /// must outlive it.
    static std::shared_ptr<NoteDraft> of(const CaptureRecord& record, Clock& clock);

    const CaptureRecord& record() const { return m_record; }
    const QString& text() const { return m_text; }
    /// A change is written to the file. A failed write is logged and leaves `saved` false.
    void setText(const QString& text);
    /// Whether the text as it stands was typed here and has reached the file.
    bool saved() const { return m_saved; }
    /// True while a text from outside is taken over, which is not written back.
    bool loading() const { return m_loading; }
    /// When the text was last typed, in the clock's elapsed time; nothing before the first change.
    std::optional<Clock::Duration> edited() const { return m_edited; }

    /// Takes over what an outside editor has written, unless the user typed within the last 2 seconds.
    Q_INVOKABLE void refresh();

  Q_SIGNALS:
    void textChanged();
    void savedChanged();

  private:
    NoteDraft(CaptureRecord record, Clock& clock);

    QString path() const { return m_record.path(QStringLiteral("notes.md")); }
    QString readNotes() const;
    void write();
    void setSaved(bool saved);

    CaptureRecord m_record;
    Clock& m_clock;
    QString m_text;
    bool m_saved = false;
    bool m_loading = false;
    std::optional<Clock::Duration> m_edited;
};

}  // namespace lumbro
