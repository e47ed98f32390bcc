#pragma once

#include <QByteArray>
#include <QString>

#include <compare>
#include <vector>

namespace lumbro {

/// What tells one state of a file or folder from another. All zero when there is none. Times in ns since
/// 1970.
struct FileStamp {
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = 0;
    qint64 modified = 0;
    qint64 changed = 0;

    /// Of `path`, relative to the open folder `folder`, behind any links.
    static FileStamp of(int folder, const QByteArray& path);

    bool exists() const { return inode != 0; }
    bool operator==(const FileStamp&) const = default;
};

/// What a list shows of a capture beside its meta, and the states of the files that it was read from.
struct SummaryFacts {
    /// The folder's name.
    QByteArray name;
    FileStamp transcript;
    int words = 0;
    FileStamp handoffs;
    /// The ids in UTF-8, each ended by a zero byte.
    QByteArray handoffIds;

    bool operator==(const SummaryFacts&) const = default;
};

/// Remembers facts between runs, so that a library of thousands need not be read whole for each list. A file
/// below `$XDG_CACHE_HOME/lumbro`; without it, or when it is broken, nothing is remembered. It holds no text
/// of a capture.
class SummaryCache {
  public:
    /// Reads what is remembered of the captures below `capturesFolder`.
    explicit SummaryCache(const QString& capturesFolder);

    /// What is remembered under the folder's name, or null. Any thread.
    const SummaryFacts* find(const QByteArray& name) const;
    /// Remembers `facts`, sorted by name, instead, for which reading began at `begun` (ns since 1970). What
    /// changed within the two seconds before is left out: the file may change once more without its stamp
    /// telling. Writes only what differs from before.
    void save(std::vector<SummaryFacts> facts, qint64 begun) const;

    /// Where the facts are kept.
    const QString& path() const { return m_path; }

  private:
    QString m_path;
    QByteArray m_bytes;
    /// Views into the bytes, sorted by name.
    std::vector<SummaryFacts> m_facts;
};

}  // namespace lumbro
