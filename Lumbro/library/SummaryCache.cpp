#include "library/SummaryCache.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"

#include <QCryptographicHash>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>
#include <string_view>
#include <type_traits>
#include <utility>

#include <sys/stat.h>

namespace lumbro {

namespace {

// The file: the mark, then for each capture a Head, the name, the ids and the entry. In the machine's own
// byte order, since it stays on the machine.
constexpr QByteArrayView mark = "lumbro summaries 2\n";

struct Head {
    /// Of what follows it, up to the next head. Each capture has its own, so that only what is used need be
    /// looked through, on both cores.
    quint64 checkSum = 0;
    FileStamp meta;
    FileStamp transcript;
    FileStamp handoffs;
    qint64 startedAt = 0;
    qint64 words = 0;
    quint32 nameSize = 0;
    quint32 idsSize = 0;
    quint64 entrySize = 0;

    quint64 restSize() const { return quint64(nameSize) + idsSize + entrySize; }
};
static_assert(std::has_unique_object_representations_v<Head>);

quint64 checkSum(QByteArrayView bytes) {
    return std::hash<std::string_view>()({bytes.data(), static_cast<size_t>(bytes.size())});
}

void append(QByteArray& out, const SummaryFacts& facts) {
    Head head{0,
              facts.meta,
              facts.transcript,
              facts.handoffs,
              facts.startedAt,
              facts.words,
              quint32(facts.name.size()),
              quint32(facts.handoffIds.size()),
              quint64(facts.entry.size())};
    const qsizetype begin = out.size();
    out.append(reinterpret_cast<const char*>(&head), sizeof head);
    out.append(facts.name).append(facts.handoffIds).append(facts.entry);
    head.checkSum = checkSum(QByteArrayView(out).sliced(begin + qsizetype(sizeof head.checkSum)));
    std::memcpy(out.data() + begin, &head.checkSum, sizeof head.checkSum);
}

QByteArray encode(const std::vector<SummaryFacts>& all) {
    constexpr qsizetype usualSize = 800;
    QByteArray bytes;
    bytes.reserve(mark.size() + std::ssize(all) * usualSize);
    bytes.append(mark);
    for (const SummaryFacts& facts : all) {
        append(bytes, facts);
    }
    return bytes;
}

void leaveOutRecent(SummaryFacts& facts, qint64 begun) {
    constexpr qint64 doubtful = 2'000'000'000;
    const auto isRecent = [begun](const FileStamp& stamp) { return stamp.changed >= begun - doubtful; };
    if (isRecent(facts.meta) || isRecent(facts.transcript) || isRecent(facts.handoffs)) {
        facts.meta = {};
        facts.startedAt = 0;
        facts.entry.clear();
    }
    if (isRecent(facts.transcript)) {
        facts.transcript = {};
        facts.words = 0;
    }
    if (isRecent(facts.handoffs)) {
        facts.handoffs = {};
        facts.handoffIds.clear();
    }
}

bool isEmpty(const SummaryFacts& facts) {
    return facts.entry.isEmpty() && !facts.transcript.exists() && !facts.handoffs.exists();
}

}  // namespace

FileStamp FileStamp::of(int folder, const char* path) {
    constexpr qint64 second = 1'000'000'000;
    struct stat status{};
    if (fstatat(folder, path, &status, 0) != 0) {
        return {};
    }
    return {status.st_dev, status.st_ino, status.st_size,
            status.st_mtim.tv_sec * second + status.st_mtim.tv_nsec,
            status.st_ctim.tv_sec * second + status.st_ctim.tv_nsec};
}

SummaryCache::SummaryCache(const QString& capturesFolder) {
    const QByteArray hash =
        QCryptographicHash::hash(capturesFolder.toUtf8(), QCryptographicHash::Sha1).toHex();
    m_path = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + u"/lumbro/captures-"_s +
             QString::fromLatin1(hash.first(16));
    m_bytes = readFile(m_path).value_or(QByteArray());
    readPlaces();
}

void SummaryCache::readPlaces() {
    constexpr qsizetype usualSize = 640;
    if (!m_bytes.startsWith(mark)) {
        return;
    }
    m_places.reserve(size_t(m_bytes.size() / usualSize));
    for (qsizetype begin = mark.size(); m_bytes.size() - begin >= qsizetype(sizeof(Head));) {
        Head head;
        std::memcpy(&head, m_bytes.constData() + begin, sizeof head);
        const qsizetype name = begin + qsizetype(sizeof head);
        if (head.entrySize > quint64(m_bytes.size()) || head.restSize() > quint64(m_bytes.size() - name)) {
            return;
        }
        m_places.push_back({QByteArrayView(m_bytes).sliced(name, head.nameSize), begin});
        begin = name + qsizetype(head.restSize());
    }
}

std::optional<SummaryFacts> SummaryCache::at(const Place& place) const {
    Head head;
    std::memcpy(&head, m_bytes.constData() + place.begin, sizeof head);
    constexpr qsizetype sumSize = sizeof head.checkSum;
    const qsizetype size = qsizetype(sizeof head) + qsizetype(head.restSize());
    if (head.checkSum != checkSum({m_bytes.constData() + place.begin + sumSize, size - sumSize})) {
        return std::nullopt;
    }
    const char* piece = place.name.data();
    const auto take = [&piece](quint64 count) {
        const char* const begin = std::exchange(piece, piece + count);
        return QByteArray::fromRawData(begin, qsizetype(count));
    };
    std::optional<SummaryFacts> facts(std::in_place);
    facts->name = take(head.nameSize);
    facts->meta = head.meta;
    facts->transcript = head.transcript;
    facts->handoffs = head.handoffs;
    facts->startedAt = head.startedAt;
    facts->words = static_cast<int>(head.words);
    facts->handoffIds = take(head.idsSize);
    facts->entry = take(head.entrySize);
    return facts;
}

std::optional<SummaryFacts> SummaryCache::find(QByteArrayView name, size_t& hint) const {
    if (hint >= m_places.size() || m_places[hint].name != name) {
        const auto found = std::ranges::lower_bound(
            m_places, name, [](QByteArrayView a, QByteArrayView b) { return a.compare(b) < 0; },
            &Place::name);
        hint = size_t(found - m_places.begin());
        if (found == m_places.end() || found->name != name) {
            return std::nullopt;
        }
    }
    return at(m_places[hint++]);
}

std::optional<SummaryFacts> SummaryCache::find(QByteArrayView name) const {
    size_t hint = m_places.size();
    return find(name, hint);
}

void SummaryCache::save(std::vector<SummaryFacts> facts, qint64 begun) const {
    for (SummaryFacts& one : facts) {
        leaveOutRecent(one, begun);
    }
    std::erase_if(facts, isEmpty);
    write(facts);
}

void SummaryCache::forget(const QString& name) const {
    const QByteArray bytes = name.toUtf8();
    if (!find(bytes)) {
        return;
    }
    std::vector<SummaryFacts> facts;
    for (const Place& place : m_places) {
        if (auto one = at(place); one && one->name != bytes) {
            facts.push_back(*std::move(one));
        }
    }
    write(facts);
}

void SummaryCache::write(const std::vector<SummaryFacts>& facts) const {
    const QByteArray bytes = encode(facts);
    // A library that there is nothing to remember of needs no file.
    if (bytes == m_bytes || (facts.empty() && m_bytes.isEmpty())) {
        return;
    }
    makePrivateFolder(QFileInfo(m_path).path());
    if (const auto written = writeFileAtomically(m_path, bytes); !written) {
        AppLog::info(u"library"_s, u"the next list of captures takes longer: "_s + written.error().message);
    }
}

}  // namespace lumbro
