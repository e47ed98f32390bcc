#include "library/CaptureScan.h"

#include "LumbroCore/Literals.h"
#include "library/SummaryCache.h"
#include "library/TranscriptWords.h"

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace lumbro {

namespace {

/// From this number of captures on, a second thread and remembering what was read pay.
constexpr size_t many = 256;

/// One entry of the folder of captures: what its `meta.json` said and, when asked for, what lies beside it.
struct Entry {
    QByteArray name;
    std::optional<CaptureMeta> meta;
    bool broken = false;
    SummaryFacts facts;
};

struct CloseDir {
    void operator()(DIR* dir) const { closedir(dir); }
};
using Dir = std::unique_ptr<DIR, CloseDir>;

/// Reads small files through raw descriptors and one buffer: with thousands of captures the objects of a file
/// class cost more than the reading.
class FileReader {
  public:
    /// `errno` of the failed open or read, 0 when `bytes` holds the whole file, EFBIG when it has more than
    /// `limit` bytes.
    int read(int folder, const QByteArray& path, qsizetype limit) {
        // Without O_NONBLOCK a fifo would hold us for ever.
        const int file = openat(folder, path.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
        if (file < 0) {
            return errno;
        }
        const int error = readAll(file, limit);
        close(file);
        return error;
    }
    QByteArray bytes() const { return QByteArray::fromRawData(m_buffer.data(), m_size); }

  private:
    int readAll(int file, qsizetype limit) {
        m_size = 0;
        for (;;) {
            if (m_size == std::ssize(m_buffer)) {
                m_buffer.resize(m_buffer.size() * 2);
            }
            const ssize_t got = ::read(file, m_buffer.data() + m_size, m_buffer.size() - size_t(m_size));
            if (got < 0) {
                return errno;
            }
            m_size += got;
            if (m_size > limit) {
                return EFBIG;
            }
            // A plain file fills the buffer unless it ends.
            if (m_size < std::ssize(m_buffer)) {
                return 0;
            }
        }
    }

    std::vector<char> m_buffer = std::vector<char>(size_t(64) * 1024);
    qsizetype m_size = 0;
};

/// The names in the folder in byte order, so that the outcome does not hang on the file system's own order.
std::vector<QByteArray> listNames(DIR* folder) {
    std::vector<QByteArray> names;
    // The stream is this function's alone.
    while (const dirent* item = readdir(folder)) {  // NOLINT(concurrency-mt-unsafe)
        const QByteArrayView name(item->d_name);
        if (item->d_type != DT_REG && name != "." && name != "..") {
            names.push_back(name.toByteArray());
        }
    }
    std::ranges::sort(names);
    return names;
}

void readMeta(int folder, Entry& entry, FileReader& reader) {
    constexpr qsizetype limit = qsizetype(1024) * 1024;
    const int error = reader.read(folder, entry.name + "/meta.json", limit);
    if (error == 0) {
        entry.meta = CaptureMeta::fromBytes(reader.bytes());
    }
    entry.broken = !entry.meta && error != ENOENT && error != ENOTDIR;
}

/// False when the folder is there and cannot be read.
bool readHandoffs(int folder, const QByteArray& path, QStringList& ids) {
    const int descriptor = openat(folder, path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const Dir handoffs(descriptor < 0 ? nullptr : fdopendir(descriptor));
    if (!handoffs) {
        return false;
    }
    while (const dirent* item = readdir(handoffs.get())) {  // NOLINT(concurrency-mt-unsafe)
        const QString name = QFile::decodeName(item->d_name);
        if (name.endsWith(u".md") && item->d_type != DT_DIR) {
            ids.append(name.chopped(3));
        }
    }
    ids.sort();
    return true;
}

/// The words of the transcript: as remembered when it has not changed since, else counted.
void readWords(int folder, const QByteArray& capture, SummaryFacts& facts, const SummaryFacts* known,
               FileReader& reader) {
    constexpr qsizetype limit = qsizetype(256) * 1024 * 1024;
    const QByteArray path = capture + "/transcript.json";
    // The stamp is taken first: a change while we read then gives a stamp that nothing will have again.
    facts.transcript = FileStamp::of(folder, path);
    if (!facts.transcript.exists()) {
        return;
    }
    if (known != nullptr && known->transcript == facts.transcript) {
        facts.words = known->words;
    } else if (reader.read(folder, path, limit) == 0) {
        facts.words = transcriptWords(reader.bytes());
    } else {
        facts.transcript = {};
    }
}

/// The same for the results of the engines.
void readHandoffs(int folder, const QByteArray& capture, SummaryFacts& facts, const SummaryFacts* known) {
    const QByteArray path = capture + "/handoffs";
    facts.handoffs = FileStamp::of(folder, path);
    if (!facts.handoffs.exists()) {
        return;
    }
    QStringList ids;
    if (known != nullptr && known->handoffs == facts.handoffs) {
        facts.handoffIds = known->handoffIds;
    } else if (readHandoffs(folder, path, ids)) {
        for (const QString& id : std::as_const(ids)) {
            facts.handoffIds += id.toUtf8() + '\0';
        }
    } else {
        facts.handoffs = {};
    }
}

void readRest(int folder, Entry& entry, const SummaryFacts* known, FileReader& reader) {
    readWords(folder, entry.name, entry.facts, known, reader);
    readHandoffs(folder, entry.name, entry.facts, known);
}

QStringList handoffsOf(const SummaryFacts& facts) {
    QStringList ids;
    for (QByteArrayView rest = facts.handoffIds; !rest.isEmpty();) {
        const qsizetype end = rest.indexOf('\0');
        ids.append(QString::fromUtf8(rest.first(end)));
        rest = rest.sliced(end + 1);
    }
    return ids;
}

/// Reads what lies beside the meta of a capture. Called on several threads at once.
using Rest = std::function<void(int folder, Entry& entry, FileReader& reader)>;

/// Reads a folder's entries piece by piece, whoever is free taking the next.
class Readers {
  public:
    Readers(std::vector<Entry>& entries, int folder, Rest rest)
        : m_entries(entries), m_folder(folder), m_rest(std::move(rest)) {}

    void run() {
        if (m_entries.size() < many) {
            work();
            return;
        }
        const std::jthread other([this] { work(); });
        work();
    }

  private:
    void work() {
        constexpr size_t piece = 64;
        FileReader reader;
        for (;;) {
            const size_t begin = m_next.fetch_add(piece);
            for (size_t i = begin; i < std::min(begin + piece, m_entries.size()); ++i) {
                readMeta(m_folder, m_entries[i], reader);
                if (m_rest && m_entries[i].meta) {
                    m_rest(m_folder, m_entries[i], reader);
                }
            }
            if (begin + piece >= m_entries.size()) {
                return;
            }
        }
    }

    std::vector<Entry>& m_entries;
    int m_folder;
    Rest m_rest;
    std::atomic<size_t> m_next = 0;
};

std::vector<Entry> readEntries(const QString& capturesFolder, const Rest& rest) {
    const Dir folder(opendir(QFile::encodeName(capturesFolder).constData()));
    if (!folder) {
        return {};
    }
    std::vector<QByteArray> names = listNames(folder.get());
    std::vector<Entry> entries(names.size());
    for (size_t i = 0; i < names.size(); ++i) {
        entries[i].name = std::move(names[i]);
    }
    Readers(entries, dirfd(folder.get()), rest).run();
    return entries;
}

/// The indices of the captures among the entries, newest first.
std::vector<size_t> newestFirst(const std::vector<Entry>& entries) {
    std::vector<std::pair<qint64, size_t>> order;
    order.reserve(entries.size());
    for (size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].meta) {
            order.emplace_back(-entries[i].meta->startedAt.toMSecsSinceEpoch(), i);
        }
    }
    std::ranges::sort(order);
    std::vector<size_t> indices(order.size());
    std::ranges::transform(order, indices.begin(), &std::pair<qint64, size_t>::second);
    return indices;
}

CaptureRecord takeRecord(const QString& prefix, Entry& entry) {
    return {prefix + QFile::decodeName(entry.name), std::move(*entry.meta)};
}

std::vector<SummaryFacts> allFacts(const std::vector<Entry>& entries) {
    std::vector<SummaryFacts> all;
    all.reserve(entries.size());
    for (const Entry& entry : entries) {
        if (entry.meta) {
            all.push_back(entry.facts);
            all.back().name = entry.name;
        }
    }
    return all;
}

QStringList brokenMetas(const QString& prefix, const std::vector<Entry>& entries) {
    QStringList paths;
    for (const Entry& entry : entries) {
        if (entry.broken) {
            paths.append(prefix + QFile::decodeName(entry.name) + u"/meta.json"_s);
        }
    }
    return paths;
}

}  // namespace

CaptureScan scanCaptures(const QString& capturesFolder) {
    CaptureScan scan;
    std::vector<Entry> entries = readEntries(capturesFolder, {});
    const std::vector<size_t> order = newestFirst(entries);
    const QString prefix = capturesFolder + u'/';
    scan.broken = brokenMetas(prefix, entries);
    scan.records.reserve(std::ssize(order));
    for (const size_t index : order) {
        scan.records.append(takeRecord(prefix, entries[index]));
    }
    return scan;
}

QList<CaptureSummary> summarizeCaptures(const QString& capturesFolder, QStringList* broken) {
    const auto begun = std::chrono::system_clock::now().time_since_epoch();
    const SummaryCache cache(capturesFolder);
    std::vector<Entry> entries =
        readEntries(capturesFolder, [&cache](int folder, Entry& entry, FileReader& reader) {
            readRest(folder, entry, cache.find(entry.name), reader);
        });
    if (entries.size() >= many) {
        cache.save(allFacts(entries), std::chrono::nanoseconds(begun).count());
    }
    const QString prefix = capturesFolder + u'/';
    if (broken != nullptr) {
        *broken = brokenMetas(prefix, entries);
    }
    QList<CaptureSummary> summaries;
    summaries.reserve(std::ssize(entries));
    for (const size_t index : newestFirst(entries)) {
        Entry& entry = entries[index];
        summaries.append({takeRecord(prefix, entry), entry.facts.words, handoffsOf(entry.facts)});
    }
    return summaries;
}

CaptureSummary summarizeCapture(const CaptureRecord& record) {
    Entry entry{QFile::encodeName(record.folder), record.meta, false, {}};
    FileReader reader;
    readRest(AT_FDCWD, entry, nullptr, reader);
    return {record, entry.facts.words, handoffsOf(entry.facts)};
}

}  // namespace lumbro
