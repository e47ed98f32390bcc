#include "chats/ClaudeChatReader.h"

#include "LumbroCore/Literals.h"
#include "chats/TranscriptWalk.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QStringList>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <numeric>
#include <thread>
#include <tuple>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace lumbro {

namespace {

struct CloseDir {
    void operator()(DIR* dir) const { closedir(dir); }
};

struct Transcript {
    QString path;
    qint64 modified = 0;
    qint64 size = 0;
};

/// What stands in the folder of projects.
struct Listing {
    std::vector<Transcript> files;
    QStringList unreadable;
};

/// Adds the plain files "….jsonl" of one folder. Objects of Qt for each file would cost more than to open it.
void addTranscripts(const QString& folder, const QDateTime& modifiedSince, Listing& found) {
    constexpr QByteArrayView extension = ".jsonl";
    constexpr qint64 thousand = 1000;
    const std::unique_ptr<DIR, CloseDir> dir(opendir(QFile::encodeName(folder).constData()));
    if (!dir && errno != ENOENT) {
        found.unreadable.append(folder);
    }
    // The stream is this function's alone.
    while (const dirent* item = dir ? readdir(dir.get()) : nullptr) {  // NOLINT(concurrency-mt-unsafe)
        const QByteArrayView name(item->d_name);
        struct stat info{};
        if (!name.endsWith(extension) || name.size() == extension.size()) {
            continue;
        }
        const auto path = [&] { return folder + u'/' + QFile::decodeName(item->d_name); };
        if (fstatat(dirfd(dir.get()), item->d_name, &info, 0) != 0) {
            // A link that leads nowhere holds no chat.
            if (errno != ENOENT) {
                found.unreadable.append(path());
            }
            continue;
        }
        const qint64 modified = info.st_mtim.tv_sec * thousand + info.st_mtim.tv_nsec / (thousand * thousand);
        if (S_ISREG(info.st_mode) &&
            (!modifiedSince.isValid() || modified > modifiedSince.toMSecsSinceEpoch())) {
            found.files.push_back({path(), modified, info.st_size});
        }
    }
}

Listing findTranscripts(const QString& projectsFolder, const QDateTime& modifiedSince) {
    Listing found;
    if (const std::unique_ptr<DIR, CloseDir> dir(opendir(QFile::encodeName(projectsFolder).constData()));
        !dir) {
        if (errno != ENOENT) {
            found.unreadable.append(projectsFolder);
        }
        return found;
    }
    const QDir projects(projectsFolder);
    const auto folders = projects.entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot);
    for (const QString& folder : folders) {
        addTranscripts(projects.filePath(folder), modifiedSince, found);
    }
    std::ranges::sort(found.files, {},
                      [](const Transcript& file) { return std::tie(file.modified, file.path); });
    return found;
}

/// What is wanted of the entries.
class Filter {
  public:
    Filter(const QDateTime& since, const QString& skipping)
        : m_since(since),
          m_prefixes{u"/private/tmp/"_s, u"/tmp/"_s, u"/private/var/folders/"_s, u"/var/folders/"_s,
                     skipping + u'/', QDir::homePath() + u"/Quillet/"_s,
                     // Folders in which the agents run that were started from here.
                     QDir::tempPath() + u"/quillet-"_s} {}

    bool takes(const SessionEntry& entry) const {
        return (!m_since.isValid() || entry.time >= m_since) && !entry.folder.isEmpty() &&
               std::ranges::none_of(m_prefixes,
                                    [&](const QString& prefix) { return entry.folder.startsWith(prefix); });
    }

  private:
    QDateTime m_since;
    QStringList m_prefixes;
};

/// Reads all transcripts, the largest first, each as soon as a thread is free. Entries stand in the order of
/// the transcripts.
class Reading {
  public:
    Reading(const std::vector<Transcript>& files, const Filter& filter, ClaudeChatReader::Progress* progress)
        : m_files(files),
          m_filter(filter),
          m_progress(progress),
          m_order(files.size()),
          m_entries(files.size()),
          m_hasFailed(files.size()) {
        std::iota(m_order.begin(), m_order.end(), size_t(0));
        std::ranges::sort(m_order, std::greater(), [this](size_t index) { return m_files[index].size; });
    }

    SessionEntries run() {
        constexpr qint64 smallSize = qint64(4) * 1024 * 1024;
        qint64 total = 0;
        for (const Transcript& file : m_files) {
            total += file.size;
        }
        if (m_progress != nullptr) {
            m_progress->bytesTotal = total;
        }
        if (m_files.size() > 1 && total > smallSize) {
            std::thread helper([this] { work(); });
            work();
            helper.join();
        } else {
            work();
        }
        SessionEntries all;
        all.reserve(std::accumulate(m_entries.begin(), m_entries.end(), qsizetype(0),
                                    [](qsizetype sum, const auto& entries) { return sum + entries.size(); }));
        for (SessionEntries& entries : m_entries) {
            all += std::move(entries);
        }
        return all;
    }

    /// The transcripts that could not be read. Call after `run`.
    QStringList unreadable() const {
        QStringList paths;
        for (size_t i = 0; i < m_files.size(); ++i) {
            if (m_hasFailed[i] != 0) {
                paths.append(m_files[i].path);
            }
        }
        return paths;
    }

  private:
    void work() {
        TranscriptWalk::Block block;
        for (size_t next = m_next++; next < m_order.size(); next = m_next++) {
            const size_t index = m_order[next];
            TranscriptWalk walk(m_files[index].path, block, m_progress);
            SessionEntries entries = walk.run();
            m_hasFailed[index] = char(walk.hasFailed());
            entries.removeIf([this](const SessionEntry& entry) { return !m_filter.takes(entry); });
            m_entries[index] = std::move(entries);
        }
    }

    const std::vector<Transcript>& m_files;
    const Filter& m_filter;
    ClaudeChatReader::Progress* m_progress;
    std::vector<size_t> m_order;
    std::vector<SessionEntries> m_entries;
    /// Not of bool, which threads could not write side by side.
    std::vector<char> m_hasFailed;
    std::atomic<size_t> m_next = 0;
};

}  // namespace

QString ClaudeChatReader::projectsFolder() {
    const QString own = qEnvironmentVariable("CLAUDE_CONFIG_DIR");
    return (own.isEmpty() ? QDir::homePath() + u"/.claude"_s : own) + u"/projects"_s;
}

SessionEntries ClaudeChatReader::read(const QDateTime& modifiedSince, const QDateTime& entriesSince,
                                      const QString& skipping, const QString& projectsFolder,
                                      Progress* progress, QStringList* unreadable) {
    const Listing found = findTranscripts(projectsFolder, modifiedSince);
    const Filter filter(entriesSince, skipping);
    Reading reading(found.files, filter, progress);
    SessionEntries entries = reading.run();
    if (unreadable != nullptr) {
        *unreadable = found.unreadable + reading.unreadable();
    }
    QHash<QString, QString> names;
    for (SessionEntry& entry : entries) {
        QString& name = names[entry.folder];
        if (name.isEmpty()) {
            name = projectName(entry.folder);
        }
        entry.project = name;
    }
    return entries;
}

SessionEntries ClaudeChatReader::parse(const QString& path, Progress* progress) {
    TranscriptWalk::Block block;
    return TranscriptWalk(path, block, progress).run();
}

QString ClaudeChatReader::projectName(const QString& folder) {
    if (folder.isEmpty()) {
        return u"Other"_s;
    }
    const QString home = QDir::cleanPath(QDir::homePath());
    QString base = QDir::cleanPath(folder);
    if (base == home) {
        return u"Home"_s;
    }
    for (const QString& worktrees : {u"/.claude/worktrees/"_s, u"/.codex/worktrees/"_s}) {
        if (const qsizetype at = base.indexOf(worktrees); at >= 0) {
            base.truncate(at);
        }
    }
    constexpr int levels = 6;
    QString level = base;
    for (int i = 0; i < levels && level.startsWith(u'/') && level != home && level != u"/"_s; ++i) {
        if (QFileInfo::exists(level + u"/.git"_s)) {
            return QFileInfo(level).fileName();
        }
        level = QFileInfo(level).path();
    }
    const QString name = QFileInfo(base).fileName();
    return name.isEmpty() ? u"Other"_s : name;
}

}  // namespace lumbro
