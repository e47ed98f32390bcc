#include "library/CaptureScan.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "library/formats/TranscriptSegment.h"

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <algorithm>
#include <memory>
#include <numeric>
#include <optional>
#include <thread>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumbro {

namespace {

/// One entry of the folder of captures: what its `meta.json` said.
struct Entry {
    QByteArray name;
    std::optional<CaptureMeta> meta;
    bool broken = false;
};

struct CloseDir {
    void operator()(DIR* dir) const { closedir(dir); }
};
using Dir = std::unique_ptr<DIR, CloseDir>;

class Descriptor {
  public:
    explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (m_descriptor >= 0) {
            close(m_descriptor);
        }
    }
    operator int() const { return m_descriptor; }

  private:
    int m_descriptor;
};

/// The names in the folder in byte order, so that the outcome does not hang on the file system's own order.
std::vector<Entry> listEntries(DIR* folder) {
    std::vector<Entry> entries;
    // The stream is this function's alone.
    while (const dirent* item = readdir(folder)) {  // NOLINT(concurrency-mt-unsafe)
        const QByteArrayView name(item->d_name);
        if (item->d_type != DT_REG && name != "." && name != "..") {
            entries.push_back({name.toByteArray(), std::nullopt, false});
        }
    }
    std::ranges::sort(entries, {}, &Entry::name);
    return entries;
}

/// Raw descriptors instead of QFile: with thousands of captures the objects cost more than the reading.
void readMeta(int folder, Entry& entry, QByteArray& buffer) {
    constexpr qint64 limit = qint64(1024) * 1024;
    const QByteArray path = entry.name + "/meta.json";
    // Without O_NONBLOCK a fifo would hold us for ever.
    const Descriptor file(openat(folder, path.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (file < 0) {
        entry.broken = errno != ENOENT && errno != ENOTDIR;
        return;
    }
    entry.broken = true;
    struct stat status{};
    if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > limit) {
        return;
    }
    buffer.resize(static_cast<qsizetype>(status.st_size));
    if (read(file, buffer.data(), static_cast<size_t>(buffer.size())) != buffer.size()) {
        return;
    }
    entry.meta = CaptureMeta::fromJson(json::object(buffer));
    entry.broken = !entry.meta;
}

/// Runs `work(begin, end)` over the indices below `count`, on two threads where there is enough to do.
template <typename Work>
void shareOut(size_t count, const Work& work) {
    constexpr size_t worthwhile = 256;
    if (count < worthwhile || std::thread::hardware_concurrency() < 2) {
        work(size_t(0), count);
        return;
    }
    std::jthread other([&] { work(count / 2, count); });
    work(size_t(0), count / 2);
}

std::vector<Entry> readEntries(const QString& capturesFolder) {
    const Dir folder(opendir(QFile::encodeName(capturesFolder).constData()));
    if (!folder) {
        return {};
    }
    std::vector<Entry> entries = listEntries(folder.get());
    const int descriptor = dirfd(folder.get());
    shareOut(entries.size(), [&](size_t begin, size_t end) {
        QByteArray buffer;
        for (size_t i = begin; i < end; ++i) {
            readMeta(descriptor, entries[i], buffer);
        }
    });
    return entries;
}

}  // namespace

CaptureScan scanCaptures(const QString& capturesFolder) {
    CaptureScan scan;
    std::vector<Entry> entries = readEntries(capturesFolder);
    const QString prefix = capturesFolder + u'/';
    std::vector<std::pair<qint64, size_t>> order;
    for (size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].meta) {
            order.emplace_back(entries[i].meta->startedAt.toMSecsSinceEpoch(), i);
        } else if (entries[i].broken) {
            scan.broken.append(prefix + QFile::decodeName(entries[i].name) + u"/meta.json"_s);
        }
    }
    std::ranges::stable_sort(order, std::ranges::greater(), &std::pair<qint64, size_t>::first);
    scan.records.reserve(static_cast<qsizetype>(order.size()));
    for (const auto& [time, index] : order) {
        scan.records.append(
            {prefix + QFile::decodeName(entries[index].name), std::move(*entries[index].meta)});
    }
    return scan;
}

CaptureSummary summarizeCapture(const CaptureRecord& record) {
    CaptureSummary summary{record, 0, {}};
    if (const auto bytes = readFile(record.path(u"transcript.json"_s))) {
        for (const TranscriptSegment& segment : transcript::decode(*bytes)) {
            summary.words += wordCount(segment.text);
        }
    }
    const QByteArray path = QFile::encodeName(record.path(u"handoffs"_s));
    if (const Dir folder{opendir(path.constData())}) {
        while (const dirent* item = readdir(folder.get())) {  // NOLINT(concurrency-mt-unsafe)
            const QString name = QFile::decodeName(item->d_name);
            if (name.endsWith(u".md") && item->d_type != DT_DIR) {
                summary.handoffs.append(name.chopped(3));
            }
        }
    }
    summary.handoffs.sort();
    return summary;
}

QList<CaptureSummary> summarizeCaptures(const QString& capturesFolder) {
    const QList<CaptureRecord> records = scanCaptures(capturesFolder).records;
    QList<CaptureSummary> summaries(records.size());
    CaptureSummary* const out = summaries.data();
    shareOut(static_cast<size_t>(records.size()), [&](size_t begin, size_t end) {
        for (size_t i = begin; i < end; ++i) {
            out[i] = summarizeCapture(records[static_cast<qsizetype>(i)]);
        }
    });
    return summaries;
}

}  // namespace lumbro
