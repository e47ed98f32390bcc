#pragma once

#include "chats/formats/SessionEntry.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>

namespace lumbro {

/// Reads the chats that Claude Code has written: what the person asked, and the last answer to it. Tool
/// calls, subagents and turns made by programs are left out. Never writes; anything that can't be read gives
/// no entries. Any thread; a read uses two where that pays and returns when all is read.
struct ClaudeChatReader {
    ClaudeChatReader() = delete;

    /// How far a read has come; written by its threads.
    struct Progress {
        std::atomic<qint64> bytesDone = 0;
        std::atomic<qint64> bytesTotal = 0;
        /// Set from outside: the read ends soon and gives what it has.
        std::atomic<bool> isCancelled = false;
    };

    /// "projects" in the environment variable CLAUDE_CONFIG_DIR when that is set and not empty, else in
    /// ".claude" in the home folder.
    static QString projectsFolder();

    /// The entries asked at `entriesSince` or later, of the transcripts changed later than `modifiedSince`;
    /// an invalid date means no limit. Chats in temporary folders, in the library and below `skipping` are
    /// left out. In the order of the transcripts' last change. `unreadable` gets the paths of transcripts and
    /// folders that are there and can't be read.
    static SessionEntries read(const QDateTime& modifiedSince, const QDateTime& entriesSince,
                               const QString& skipping, const QString& projectsFolder,
                               Progress* progress = nullptr, QStringList* unreadable = nullptr);
    /// All entries of one transcript, with `project` empty.
    static SessionEntries parse(const QString& path, Progress* progress = nullptr);
    /// Name of the repository that holds the folder, else the folder's own; a worktree counts as its main
    /// repository.
    static QString projectName(const QString& folder);
};

}  // namespace lumbro
