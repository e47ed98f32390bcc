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

#include <sys/stat.h>

namespace lumbro {

namespace {

// The file: the mark, a check sum of what follows it, then for each capture a Head, the name and the ids. In
// the machine's own byte order, since it stays on the machine.
constexpr QByteArrayView mark = "lumbro summaries 1\n";

struct Head {
    FileStamp transcript;
    FileStamp handoffs;
    qint64 words = 0;
    quint32 nameSize = 0;
    quint32 idsSize = 0;
};
static_assert(std::has_unique_object_representations_v<Head>);

quint64 checkSum(QByteArrayView bytes) {
    return std::hash<std::string_view>()({bytes.data(), static_cast<size_t>(bytes.size())});
}

template <typename Value>
void append(QByteArray& out, const Value& value) {
    out.append(reinterpret_cast<const char*>(&value), sizeof value);
}

/// Takes pieces from the front of bytes; fails when there are too few.
class Pieces {
  public:
    explicit Pieces(QByteArrayView rest) : m_rest(rest) {}

    bool isAtEnd() const { return m_rest.isEmpty(); }
    template <typename Value>
    bool take(Value& value) {
        QByteArray bytes;
        if (!take(bytes, sizeof value)) {
            return false;
        }
        std::memcpy(&value, bytes.constData(), sizeof value);
        return true;
    }
    bool take(QByteArray& bytes, qsizetype size) {
        if (m_rest.size() < size) {
            return false;
        }
        bytes = QByteArray::fromRawData(m_rest.data(), size);
        m_rest = m_rest.sliced(size);
        return true;
    }

  private:
    QByteArrayView m_rest;
};

QByteArray encode(const std::vector<SummaryFacts>& all) {
    constexpr qsizetype usualSize = 160;
    QByteArray body;
    body.reserve(std::ssize(all) * usualSize);
    for (const SummaryFacts& facts : all) {
        append(body, Head{facts.transcript, facts.handoffs, facts.words, quint32(facts.name.size()),
                          quint32(facts.handoffIds.size())});
        body.append(facts.name).append(facts.handoffIds);
    }
    QByteArray bytes = mark.toByteArray();
    append(bytes, checkSum(body));
    return bytes + body;
}

/// The facts, as views into the bytes; none when the bytes are not whole.
std::vector<SummaryFacts> decode(const QByteArray& bytes) {
    quint64 sum = 0;
    std::vector<SummaryFacts> all;
    if (!bytes.startsWith(mark)) {
        return all;
    }
    Pieces pieces(QByteArrayView(bytes).sliced(mark.size()));
    if (!pieces.take(sum) ||
        sum != checkSum(QByteArrayView(bytes).sliced(mark.size() + qsizetype(sizeof sum)))) {
        return all;
    }
    while (!pieces.isAtEnd()) {
        Head head;
        SummaryFacts& facts = all.emplace_back();
        if (!pieces.take(head) || !pieces.take(facts.name, head.nameSize) ||
            !pieces.take(facts.handoffIds, head.idsSize)) {
            return {};
        }
        facts.transcript = head.transcript;
        facts.handoffs = head.handoffs;
        facts.words = static_cast<int>(head.words);
    }
    return all;
}

void leaveOutRecent(SummaryFacts& facts, qint64 begun) {
    constexpr qint64 doubtful = 2'000'000'000;
    if (facts.transcript.changed >= begun - doubtful) {
        facts.transcript = {};
        facts.words = 0;
    }
    if (facts.handoffs.changed >= begun - doubtful) {
        facts.handoffs = {};
        facts.handoffIds.clear();
    }
}

}  // namespace

FileStamp FileStamp::of(int folder, const QByteArray& path) {
    constexpr qint64 second = 1'000'000'000;
    struct stat status{};
    if (fstatat(folder, path.constData(), &status, 0) != 0) {
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
    m_facts = decode(m_bytes);
}

const SummaryFacts* SummaryCache::find(const QByteArray& name) const {
    const auto found = std::ranges::lower_bound(m_facts, name, {}, &SummaryFacts::name);
    return found != m_facts.end() && found->name == name ? &*found : nullptr;
}

void SummaryCache::save(std::vector<SummaryFacts> facts, qint64 begun) const {
    for (SummaryFacts& one : facts) {
        leaveOutRecent(one, begun);
    }
    std::erase_if(facts,
                  [](const SummaryFacts& one) { return !one.transcript.exists() && !one.handoffs.exists(); });
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
