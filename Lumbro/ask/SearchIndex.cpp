#include "ask/SearchIndex.h"

#include "LumbroCore/Literals.h"
#include "ask/CaptureCache.h"
#include "ask/Highlight.h"
#include "ask/MemoryTexts.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace lumbro {

namespace {

using searchText::Needle;
using searchText::Needles;

QString labelOf(const CaptureDocument& document, const CaptureDocument::Line& line,
                const QMap<QString, QString>& engineNames) {
    switch (line.kind) {
        case SearchHit::Kind::title:
            return u"Title"_s;
        case SearchHit::Kind::notes:
            return u"Your notes"_s;
        case SearchHit::Kind::screen:
            return u"Screenshot text"_s;
        case SearchHit::Kind::handoff: {
            const QString& engine = document.handoffs().at(line.handoff);
            return engineNames.value(engine, engine) + u" hand-off"_s;
        }
        default:
            return line.time < 0 ? u"Claude"_s : highlight::speechLabel(line.speaker, line.time);
    }
}

CaptureResult resultOf(const CaptureRecord& record, const CaptureDocument& document,
                       const CaptureDocument::Match& match, const Needles& needles,
                       const QMap<QString, QString>& engineNames) {
    CaptureResult result{record, {}, match.score};
    result.hits.reserve(std::ssize(match.hits()));
    const SidebarItem item = SidebarItem::capture(record.id());
    for (const auto& [index, score] : match.hits()) {
        const CaptureDocument::Line& line = document.line(index);
        const bool isHandoff = line.kind == SearchHit::Kind::handoff;
        result.hits.append({line.kind, labelOf(document, line, engineNames), document.snippet(index, needles),
                            item, isHandoff ? LibraryTab::handoffs : LibraryTab::transcript,
                            line.time < 0 ? std::nullopt : std::optional(line.time), score});
    }
    return result;
}

/// One search through all captures, piece by piece, whoever is free taking the next.
class CaptureSearch {
  public:
    CaptureSearch(CaptureCache& cache, const std::vector<CaptureCache::Entry*>& entries,
                  const SearchInput& input, const Needles& needles, const std::stop_token& overtaken)
        : m_cache(cache), m_entries(entries), m_input(input), m_needles(needles), m_overtaken(overtaken) {}

    /// Best first; none when overtaken.
    QList<CaptureResult> run() {
        constexpr size_t many = 64;
        const size_t threads =
            m_entries.size() < many ? 1 : std::clamp(std::thread::hardware_concurrency(), 1U, 4U);
        std::vector<Found> found(threads);
        {
            std::vector<std::jthread> helpers;
            for (size_t i = 1; i < threads; ++i) {
                helpers.emplace_back([this, &own = found[i]] { work(own); });
            }
            work(found.front());
        }
        return ordered(found);
    }

  private:
    /// The results with the places of their captures.
    using Found = std::vector<std::pair<size_t, CaptureResult>>;

    void work(Found& found) {
        constexpr size_t piece = 16;
        CaptureReader reader;
        std::vector<int> counts;
        for (;;) {
            const size_t begin = m_next.fetch_add(piece);
            const size_t end = std::min(begin + piece, m_entries.size());
            for (size_t i = begin; i < end; ++i) {
                if (m_overtaken.stop_requested()) {
                    return;
                }
                const CaptureRecord& record = m_input.captures.at(qsizetype(i));
                const CaptureDocument& document = m_cache.document(*m_entries[i], record, reader);
                if (const auto match = document.match(m_needles, counts)) {
                    found.emplace_back(i, resultOf(record, document, *match, m_needles, m_input.engineNames));
                }
            }
            if (begin >= m_entries.size()) {
                return;
            }
        }
    }

    static QList<CaptureResult> ordered(std::vector<Found>& found) {
        std::vector<std::pair<size_t, CaptureResult>*> order;
        for (Found& part : found) {
            for (auto& one : part) {
                order.push_back(&one);
            }
        }
        // The captures stand newest first, so that of equal ones the newer comes first.
        std::ranges::sort(order, {},
                          [](const auto* one) { return std::pair(-one->second.score, one->first); });
        QList<CaptureResult> results;
        results.reserve(std::ssize(order));
        for (auto* one : order) {
            results.append(std::move(one->second));
        }
        return results;
    }

    CaptureCache& m_cache;
    const std::vector<CaptureCache::Entry*>& m_entries;
    const SearchInput& m_input;
    const Needles& m_needles;
    const std::stop_token& m_overtaken;
    std::atomic<size_t> m_next = 0;
};

Needles needlesOf(const QStringList& terms) {
    Needles needles;
    for (const QString& term : terms) {
        needles.emplace_back(term.toUtf8());
    }
    return needles;
}

}  // namespace

bool SearchResults::isEmpty() const {
    return captures.isEmpty() && people.isEmpty() && projects.isEmpty() && promises.isEmpty() &&
           ideas.isEmpty() && asks.isEmpty();
}

struct SearchIndex::Private {
    const Clock& clock;
    /// Held for the whole of a search.
    std::mutex mutex = {};
    CaptureCache captures = {};
    MemoryTexts memory = {};
};

SearchIndex::SearchIndex(const Clock& clock) : m_private(new Private{clock}) {}

SearchIndex::~SearchIndex() = default;

std::optional<SearchResults> SearchIndex::search(const QString& query, const SearchInput& input,
                                                 const std::stop_token& overtaken) {
    const Needles needles = needlesOf(highlight::terms(query));
    SearchResults results;
    if (needles.empty()) {
        return results;
    }
    const std::scoped_lock lock(m_private->mutex);
    if (overtaken.stop_requested()) {
        return std::nullopt;
    }
    const auto& entries = m_private->captures.begin(
        input.captures, m_private->clock.now().toMSecsSinceEpoch(), m_private->clock.elapsed());
    results.captures = CaptureSearch(m_private->captures, entries, input, needles, overtaken).run();
    if (overtaken.stop_requested()) {
        return std::nullopt;
    }
    m_private->memory.search(input, needles, results);
    return results;
}

QString SearchIndex::snippet(const QString& text, const QStringList& terms) {
    return highlight::snippet(text, terms);
}

}  // namespace lumbro
