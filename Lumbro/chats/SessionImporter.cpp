#include "chats/SessionImporter.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/InBackground.h"
#include "LumbroCore/Literals.h"
#include "chats/SessionFolder.h"
#include "chats/UnreadChats.h"
#include "chats/formats/SessionLog.h"
#include "library/CaptureLock.h"
#include "library/ContextLibrary.h"

#include <QFileInfo>
#include <QMap>
#include <QPointer>

#include <algorithm>
#include <utility>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

const QString lastImportKey = u"claudeSessionsLastImport"_s;
const QString enabledKey = u"claudeSessionsEnabled"_s;

using EntriesByKey = QMap<QString, SessionEntries>;

EntriesByKey byKey(const SessionEntries& entries) {
    EntriesByKey groups;
    for (const SessionEntry& entry : entries) {
        groups[sessionFolder::key(entry)].append(entry);
    }
    return groups;
}

std::optional<CaptureRecord> findByKey(const ContextLibrary& library, const QString& key) {
    const auto& all = library.captures();
    const auto found = std::ranges::find_if(all, [&](const CaptureRecord& record) {
        return record.meta.kind == CaptureKind::session && record.meta.sessionKey == key;
    });
    return found == all.end() ? std::nullopt : std::optional(*found);
}

/// Files the entries of one key; nothing when there is nothing to file.
std::optional<Result<CaptureRecord>> fileKey(const ContextLibrary& library, const QString& key,
                                             const SessionEntries& read, const QDateTime& start) {
    const auto record = findByKey(library, key);
    const SessionEntries old = record ? sessionFolder::entries(*record) : SessionEntries();
    const SessionEntries merged = sessionFolder::merged(old, read, start);
    const bool isInReach =
        std::ranges::any_of(read, [&](const SessionEntry& entry) { return entry.time >= start; });
    if (merged.isEmpty() || (!isInReach && merged == old)) {
        return std::nullopt;
    }
    const auto filed = record ? sessionFolder::update(*record, merged)
                              : sessionFolder::make(library.capturesFolder(), merged);
    if (filed) {
        return filed;
    }
    if (record && !QFileInfo::exists(record->folder)) {
        // Deleted meanwhile, which shall stay so.
        return std::nullopt;
    }
    const QString reason = filed.error().message;
    return fail(u"The log %1 was not written: %2; the next import tries again."_s.arg(
        record ? record->id() : key, reason.endsWith(u'.') ? reason.chopped(1) : reason));
}

int countFrom(const SessionEntries& entries, const QDateTime& start) {
    return int(
        std::ranges::count_if(entries, [&](const SessionEntry& entry) { return entry.time >= start; }));
}

/// Each id once, as it was read last.
SessionEntries unique(const SessionEntries& entries) {
    return sessionFolder::merged({}, entries, {});
}

/// A last import that lies ahead was told by a clock that was wrong.
bool isNone(const QDateTime& lastImport, const QDateTime& now) {
    return !lastImport.isValid() || lastImport > now;
}

/// What the reader finds, in one value.
struct Found {
    SessionEntries entries;
    QStringList unreadable;
};

void logUnreadable(const QStringList& paths, const QDateTime& start) {
    if (!paths.isEmpty()) {
        AppLog::errorOnce(
            u"sessions"_s,
            u"transcripts or folders of chats that can't be read: %1, among them %2"_s.arg(paths.size())
                .arg(paths.first()),
            start);
    }
}

/// Keeps other processes from importing while it lives; nothing when one of them does not end.
Task<std::optional<CaptureLock>> lockLogs(Clock* clock, QString folder) {
    constexpr auto pause = 200ms;
    constexpr int tries = 150;
    for (int i = 0; i < tries; ++i) {
        // Looking first, as taking a lock that another one has would hold up this thread.
        if (!CaptureLock::isHeld(folder)) {
            if (CaptureLock lock(folder); lock.isLocked()) {
                co_return std::move(lock);
            }
        }
        co_await clock->sleep(pause);
    }
    co_return std::nullopt;
}

}  // namespace

SessionImporter::SessionImporter(Clock& clock, Settings& settings, ContextLibrary& library, Memorize memorize,
                                 QString projectsFolder)
    : m_clock(clock),
      m_settings(settings),
      m_library(library),
      m_memorize(std::move(memorize)),
      m_projectsFolder(projectsFolder.isEmpty() ? ClaudeChatReader::projectsFolder()
                                                : std::move(projectsFolder)),
      m_progress(std::make_shared<ClaudeChatReader::Progress>()),
      m_lastImport(settings.value(lastImportKey).toDateTime()) {}

SessionImporter::~SessionImporter() {
    m_progress->isCancelled = true;
}

void SessionImporter::check() {
    constexpr qint64 hour = 3600;
    const QDateTime now = m_clock.now();
    const bool isDue = isNone(m_lastImport, now) || m_lastImport < now.addSecs(-hour);
    if (m_settings.boolean(enabledKey) && !m_isRunning && isDue) {
        runDetached(importNow(false, std::nullopt, true));
    }
}

Task<Result<SessionImporter::Report>> SessionImporter::importNow(bool force, std::optional<QDateTime> since,
                                                                 bool memorize) {
    if ((!force && !m_settings.boolean(enabledKey)) || m_isRunning) {
        co_return Report{};
    }
    const QPointer<SessionImporter> alive(this);
    setRunning(true);
    // What is written while the chats are read belongs to the next import.
    const QDateTime now = m_clock.now();
    const QDateTime start = startPoint(since, now);
    // What could not be read before is wanted from its own time on.
    UnreadChats unread(m_library.root() + u"/.unread-chats.json"_s);
    const QDateTime reach = unread.reach();
    Result<Report> report = co_await importFrom(reach.isValid() ? std::min(reach, start) : start);
    if (!alive) {
        co_return report;
    }
    if (report) {
        report->unreadable = unread.settle(report->unreadable, start);
    }
    finish(start, now, report);
    if (memorize) {
        co_await memorizeNew();
    }
    co_return report;
}

QDateTime SessionImporter::startPoint(const std::optional<QDateTime>& since, const QDateTime& now) const {
    if (since) {
        return since->toLocalTime().date().startOfDay();
    }
    const QDateTime last = m_settings.value(lastImportKey).toDateTime();
    return isNone(last, now) ? now.toLocalTime().date().startOfDay() : last;
}

Task<Result<SessionImporter::Report>> SessionImporter::importFrom(QDateTime start) {
    const QPointer<SessionImporter> alive(this);
    m_progress = std::make_shared<ClaudeChatReader::Progress>();
    // An answer may have come since to a request that was filed before.
    const QDateTime reach = start.addDays(-1);
    Found found = co_await inBackground([start, reach, root = m_library.root(), folder = m_projectsFolder,
                                         progress = m_progress] {
        Found result;
        result.entries =
            unique(ClaudeChatReader::read(start, reach, root, folder, progress.get(), &result.unreadable));
        return result;
    });
    if (!alive) {
        co_return fail(FailureKind::cancelled, u"The import was cancelled."_s);
    }
    // A clock that was wrong would file chats under days that never come.
    constexpr int firstYear = 2000;
    const QDateTime latest = m_clock.now().addDays(1);
    found.entries.removeIf([&latest](const SessionEntry& entry) {
        return entry.time.date().year() < firstYear || entry.time > latest;
    });
    logUnreadable(found.unreadable, start);
    Result<Report> report = co_await file(std::move(found.entries), start);
    if (report) {
        report->unreadable = std::move(found.unreadable);
    }
    co_return report;
}

Task<Result<SessionImporter::Report>> SessionImporter::file(SessionEntries entries, QDateTime start) {
    const QPointer<SessionImporter> alive(this);
    if (!makePrivateFolder(m_library.capturesFolder())) {
        co_return fail(u"The folder %1 can't be made."_s.arg(m_library.capturesFolder()));
    }
    const auto lock = co_await lockLogs(&m_clock, m_library.capturesFolder());
    if (!alive) {
        co_return fail(FailureKind::cancelled, u"The import was cancelled."_s);
    }
    if (!lock) {
        co_return fail(u"Another import of chats is running; try again when it is done."_s);
    }
    m_library.reloadCaptures();
    Report report;
    std::optional<Failure> failure;
    const EntriesByKey groups = byKey(entries);
    for (auto group = groups.begin(); group != groups.end(); ++group) {
        const auto filed = fileKey(m_library, group.key(), *group, start);
        if (!filed) {
            continue;
        }
        if (!*filed) {
            failure = filed->error();
            AppLog::error(u"sessions"_s, failure->message);
            continue;
        }
        report.requests += countFrom(*group, start);
        ++report.projectDays;
        report.captures.append((*filed)->id());
    }
    m_library.reloadCaptures();
    report.captures.sort();
    AppLog::info(u"sessions"_s,
                 u"imported %1 requests into %2 project-days"_s.arg(report.requests).arg(report.projectDays));
    if (failure) {
        co_return std::unexpected(*failure);
    }
    co_return report;
}

void SessionImporter::finish(const QDateTime& start, const QDateTime& now, const Result<Report>& report) {
    // Between the last import and a later day that was asked for, chats wait for the next import.
    const bool leavesGap = startPoint({}, now) < start;
    if (!leavesGap && report) {
        m_settings.set(lastImportKey, now);
    } else if (!leavesGap && isNone(m_settings.value(lastImportKey).toDateTime(), now)) {
        // What could not be written stays in reach tomorrow as well.
        m_settings.set(lastImportKey, start);
    }
    m_lastImport = now;
    Q_EMIT lastImportChanged();
    setRunning(false);
}

Task<> SessionImporter::memorizeNew() {
    if (!m_memorize) {
        co_return;
    }
    const QPointer<SessionImporter> alive(this);
    QStringList oldestFirst;
    for (const CaptureRecord& record : m_library.captures()) {
        if (record.meta.kind == CaptureKind::session) {
            oldestFirst.prepend(record.id());
        }
    }
    for (const QString& id : std::as_const(oldestFirst)) {
        const auto record = m_library.record(id);
        if (record && !unread(sessionFolder::entries(*record), *record).isEmpty()) {
            co_await m_memorize(*record);
            if (!alive) {
                co_return;
            }
        }
    }
}

SessionEntries SessionImporter::unread(const SessionEntries& entries, const CaptureRecord& record) {
    return SessionLog::unread(entries, record.meta);
}

void SessionImporter::setRunning(bool isRunning) {
    if (std::exchange(m_isRunning, isRunning) != isRunning) {
        Q_EMIT isRunningChanged();
    }
}

}  // namespace lumbro
