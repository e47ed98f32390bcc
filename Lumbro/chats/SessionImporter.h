#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Failure.h"
#include "LumbroCore/Settings.h"
#include "LumbroCore/Task.h"
#include "chats/ClaudeChatReader.h"
#include "chats/formats/SessionEntry.h"
#include "library/formats/CaptureMeta.h"

#include <QDateTime>
#include <QObject>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

namespace lumbro {

class ContextLibrary;

/// Files the user's chats with Claude Code as captures, one for each project and day. Main thread; the chats
/// are read on threads of their own, which end soon after the importer.
class SessionImporter final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isRunning READ isRunning NOTIFY isRunningChanged)
    Q_PROPERTY(QDateTime lastImport READ lastImport NOTIFY lastImportChanged)

  public:
    /// What one import found.
    struct Report {
        /// Entries in reach, whether new or filed before.
        int requests = 0;
        int projectDays = 0;
        /// The captures that hold them, sorted.
        QStringList captures;
        /// Paths of transcripts and folders of chats that are there and can't be read, by this import or an
        /// earlier one. The first import after they can reaches back to when they could not.
        QStringList unreadable;
    };
    /// Lets the librarian read what is new in a capture.
    using Memorize = std::function<Task<>(CaptureRecord record)>;

    /// All must outlive the importer; `memorize` may be empty. `projectsFolder` empty: the user's.
    SessionImporter(Clock& clock, Settings& settings, ContextLibrary& library, Memorize memorize,
                    QString projectsFolder = {});
    ~SessionImporter() override;

    bool isRunning() const { return m_isRunning; }
    /// Invalid before the first import. One later than now was set by a clock that was wrong, and counts as
    /// none.
    QDateTime lastImport() const { return m_lastImport; }
    /// How far the running import has read.
    const ClaudeChatReader::Progress& progress() const { return *m_progress; }

    /// Imports, and has it memorized, when the setting is on and the last import is more than an hour ago. To
    /// be called now and then.
    void check();
    /// Imports what was asked since the last import, or since the day of `since`, and the answers that came
    /// since to requests of the day before. Nothing when the setting is off and `force` is false, or while an
    /// import runs. Fails with a sentence when a log can't be written; the next import then reaches back as
    /// far as this one.
    Task<Result<Report>> importNow(bool force, std::optional<QDateTime> since, bool memorize);
    /// Gives each session capture with unread entries to the librarian, oldest first.
    Task<> memorizeNew();
    /// The entries that the librarian has not read.
    static SessionEntries unread(const SessionEntries& entries, const CaptureRecord& record);

  Q_SIGNALS:
    void isRunningChanged();
    void lastImportChanged();

  private:
    QDateTime startPoint(const std::optional<QDateTime>& since, const QDateTime& now) const;
    Task<Result<Report>> importFrom(QDateTime start);
    Task<Result<Report>> file(SessionEntries entries, QDateTime start);
    void finish(const QDateTime& start, const QDateTime& now, const Result<Report>& report);
    void setRunning(bool isRunning);

    Clock& m_clock;
    Settings& m_settings;
    ContextLibrary& m_library;
    Memorize m_memorize;
    QString m_projectsFolder;
    /// Shared with the threads of the running import.
    std::shared_ptr<ClaudeChatReader::Progress> m_progress;
    QDateTime m_lastImport;
    bool m_isRunning = false;
};

}  // namespace lumbro
