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
/// are read on threads of their own, for which its end waits.
class SessionImporter final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isRunning READ isRunning NOTIFY isRunningChanged)
    Q_PROPERTY(QDateTime lastImport READ lastImport NOTIFY lastImportChanged)

  public:
    /// What one import did.
    struct Report {
        /// Entries that were new, or different from what was filed.
        int requests = 0;
        int projectDays = 0;
        /// The captures that hold them, in the order of their keys.
        QStringList captures;
    };
    /// Lets the librarian read what is new in a capture.
    using Memorize = std::function<Task<>(CaptureRecord record)>;

    /// All must outlive the importer; `memorize` may be empty. `projectsFolder` empty: the user's.
    SessionImporter(Clock& clock, Settings& settings, ContextLibrary& library, Memorize memorize,
                    QString projectsFolder = {});
    ~SessionImporter() override;

    bool isRunning() const { return m_isRunning; }
    /// Invalid before the first import.
    QDateTime lastImport() const { return m_lastImport; }
    /// How far the running import has read.
    const ClaudeChatReader::Progress& progress() const { return *m_progress; }

    /// Imports now and then once a minute looks whether an hour has passed. The timer itself is the
    /// caller's: it calls `check`.
    void check();
    /// Imports what is new since the last import, or since the day of `since`. Nothing when the setting is
    /// off and `force` is false, or while an import runs. Fails with a sentence when a log can't be written;
    /// the next import then reaches back as far as this one.
    Task<Result<Report>> importNow(bool force, std::optional<QDateTime> since, bool memorize);
    /// Gives each session capture with unread entries to the librarian, oldest first.
    Task<> memorizeNew();
    /// The entries that the librarian has not read.
    static SessionEntries unread(const SessionEntries& entries, const CaptureRecord& record);

  Q_SIGNALS:
    void isRunningChanged();
    void lastImportChanged();

  private:
    Clock& m_clock;
    Settings& m_settings;
    ContextLibrary& m_library;
    Memorize m_memorize;
    QString m_projectsFolder;
    std::shared_ptr<ClaudeChatReader::Progress> m_progress;
    QDateTime m_lastImport;
    bool m_isRunning = false;
};

}  // namespace lumbro
