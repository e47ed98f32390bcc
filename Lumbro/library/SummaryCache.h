#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <compare>
#include <optional>
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
    static FileStamp of(int folder, const char* path);

    bool exists() const { return inode != 0; }
    bool operator==(const FileStamp&) const = default;
};

/// What a list shows of a capture, and the states of the files that it was read from.
struct SummaryFacts {
    /// The folder's name.
    QByteArray name;
    FileStamp meta;
    FileStamp transcript;
    FileStamp handoffs;
    /// In ms since 1970.
    qint64 startedAt = 0;
    int words = 0;
    /// The ids in UTF-8, each ended by a zero byte.
    QByteArray handoffIds;
    /// The whole as `captureEntry` gives it, true while all three stamps are; empty when it is not known.
    QByteArray entry;

    bool hasStampsOf(const SummaryFacts& other) const {
        return meta == other.meta && transcript == other.transcript && handoffs == other.handoffs;
    }
    bool operator==(const SummaryFacts&) const = default;
};

/// Remembers facts between runs, so that a library of thousands need not be read whole for each list. A file
/// below `$XDG_CACHE_HOME/lumbro`; without it, or where it is broken, nothing is remembered. It holds of a
/// capture what a list shows, and nothing of what was said.
class SummaryCache {
  public:
    /// Reads what is remembered of the captures below `capturesFolder`.
    explicit SummaryCache(const QString& capturesFolder);

    /// The number of captures of which something is remembered.
    size_t size() const { return m_places.size(); }
    /// What is remembered under the folder's name, as views into this. `hint` says where to look first and is
    /// then where the next name would be. Any thread.
    std::optional<SummaryFacts> find(QByteArrayView name, size_t& hint) const;
    std::optional<SummaryFacts> find(QByteArrayView name) const;
    /// Remembers `facts`, sorted by name, instead, for which reading began at `begun` (ns since 1970). What
    /// changed within the two seconds before is left out: the file may change once more without its stamp
    /// telling. Writes only what differs from before.
    void save(std::vector<SummaryFacts> facts, qint64 begun) const;
    /// Remembers nothing more of one capture.
    void forget(const QString& name) const;

    /// Where the facts are kept.
    const QString& path() const { return m_path; }

  private:
    /// Where a capture's facts lie in the bytes.
    struct Place {
        QByteArrayView name;
        qsizetype begin = 0;
    };

    std::optional<SummaryFacts> at(const Place& place) const;
    void readPlaces();
    void write(const std::vector<SummaryFacts>& facts) const;

    QString m_path;
    QByteArray m_bytes;
    /// Sorted by name.
    std::vector<Place> m_places;
};

}  // namespace lumbro
