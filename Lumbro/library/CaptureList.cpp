#include "library/CaptureList.h"

#include "LumbroCore/Literals.h"
#include "library/CaptureFolder.h"
#include "library/InPieces.h"

#include <QFile>

#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>
#include <utility>

namespace lumbro {

/// Finds out about one capture after another, on one thread.
class CaptureList::Reader {
  public:
    explicit Reader(const CaptureList& list) : m_list(list), m_reader(list.m_folder->descriptor()) {}

    void read(Found& found) {
        m_reader.setCapture(found.name);
        SummaryFacts facts = m_reader.stamps();
        const std::optional<SummaryFacts> known = m_list.m_cache->find(found.name, m_hint);
        if (known && !known->entry.isEmpty() && known->hasStampsOf(facts)) {
            found.entry = known->entry;
            show(found, *known);
            return;
        }
        CaptureFileReader::Meta meta = m_reader.meta();
        found.isBroken = meta.isBroken;
        if (meta.meta) {
            m_reader.readRest(facts, known ? &*known : nullptr);
            keep(found, std::move(meta), std::move(facts));
        }
    }

  private:
    void keep(Found& found, CaptureFileReader::Meta meta, SummaryFacts facts) {
        found.read = std::make_unique<Read>();
        Read& read = *found.read;
        facts.name = found.name.toByteArray();
        facts.startedAt = meta.meta->startedAt.toMSecsSinceEpoch();
        read.meta = *std::move(meta.meta);
        read.facts = std::move(facts);
        show(found, read.facts);
        read.entry = captureEntry(m_list.summary(found));
        // What the entry does not tell whole must be read again next time.
        if (meta.hasPlainDates && CaptureMeta::fromBytes(read.entry) == read.meta) {
            read.facts.entry = read.entry;
        }
        found.entry = read.entry;
    }
    static void show(Found& found, const SummaryFacts& facts) {
        found.handoffIds = facts.handoffIds;
        found.startedAt = facts.startedAt;
        found.words = facts.words;
    }

    const CaptureList& m_list;
    CaptureFileReader m_reader;
    size_t m_hint = 0;
};

CaptureList::CaptureList(const QString& capturesFolder) : m_prefix(capturesFolder + u'/') {
    const auto begun = std::chrono::system_clock::now().time_since_epoch();
    {
        // Both take as long; neither needs the other.
        const std::jthread other(
            [this, &capturesFolder] { m_cache = std::make_unique<SummaryCache>(capturesFolder); });
        m_folder = std::make_unique<CaptureFolder>(capturesFolder);
    }
    readAll();
    remember(std::chrono::nanoseconds(begun).count());
    sort();
}

CaptureList::~CaptureList() = default;

void CaptureList::readAll() {
    const std::vector<QByteArrayView>& names = m_folder->names();
    m_found.resize(names.size());
    inPieces(names.size(), [this, &names](Pieces& pieces) {
        Reader reader(*this);
        for (size_t begin = 0, end = 0; pieces.take(begin, end);) {
            for (size_t i = begin; i < end; ++i) {
                m_found[i].name = names[i];
                reader.read(m_found[i]);
            }
        }
    });
}

void CaptureList::remember(qint64 begun) const {
    const auto isCapture = [](const Found& found) { return !found.entry.isEmpty(); };
    const auto captures = size_t(std::ranges::count_if(m_found, isCapture));
    const bool isAsBefore =
        captures == m_cache->size() &&
        std::ranges::none_of(m_found, [](const Found& found) { return found.read != nullptr; });
    if (captures < manyCaptures || isAsBefore) {
        return;
    }
    std::vector<SummaryFacts> facts;
    facts.reserve(captures);
    size_t hint = 0;
    for (const Found& found : m_found) {
        if (found.read) {
            facts.push_back(found.read->facts);
        } else if (isCapture(found)) {
            facts.push_back(m_cache->find(found.name, hint).value_or(SummaryFacts()));
        }
    }
    m_cache->save(std::move(facts), begun);
}

void CaptureList::sort() {
    std::vector<std::pair<qint64, size_t>> order;
    order.reserve(m_found.size());
    for (size_t i = 0; i < m_found.size(); ++i) {
        if (!m_found[i].entry.isEmpty()) {
            order.emplace_back(m_found[i].startedAt, i);
        } else if (m_found[i].isBroken) {
            m_broken.append(m_prefix + QFile::decodeName(m_found[i].name.toByteArray()) + u"/meta.json"_s);
        }
    }
    std::ranges::sort(order, std::ranges::greater());
    m_order.resize(order.size());
    std::ranges::transform(order, m_order.begin(), &std::pair<qint64, size_t>::second);
}

CaptureSummary CaptureList::summary(const Found& found) const {
    CaptureSummary summary;
    summary.record.folder = m_prefix + QFile::decodeName(found.name.toByteArray());
    // An entry is remembered only when it reads back as the meta.
    summary.record.meta =
        found.read ? found.read->meta
                   : CaptureMeta::fromBytes(QByteArray::fromRawData(found.entry.data(), found.entry.size()))
                         .value_or(CaptureMeta());
    summary.words = found.words;
    summary.handoffs = handoffList(found.handoffIds);
    return summary;
}

QList<CaptureSummary> CaptureList::summaries(qsizetype count) const {
    QList<CaptureSummary> all(std::min(count, size()));
    CaptureSummary* const first = all.data();
    inPieces(size_t(all.size()), [this, first](Pieces& pieces) {
        for (size_t begin = 0, end = 0; pieces.take(begin, end);) {
            for (size_t i = begin; i < end; ++i) {
                first[i] = summary(m_found[m_order[i]]);
            }
        }
    });
    return all;
}

}  // namespace lumbro
