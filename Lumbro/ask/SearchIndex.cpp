#include "ask/SearchIndex.h"

#include "LumbroCore/Literals.h"
#include "ask/CaptureCache.h"
#include "ask/Highlight.h"
#include "ask/MemoryTexts.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace lumbro {

namespace {

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

/// In place: with thousands of results, moving them takes as long as making them.
void fill(CaptureResult& result, const CaptureRecord& record, const CaptureDocument& document,
          const CaptureDocument::Match& match, const Needles& needles,
          const QMap<QString, QString>& engineNames) {
    result.record = record;
    result.score = match.score;
    result.hits.reserve(std::ssize(match.hits()));
    const SidebarItem item = SidebarItem::capture(record.id());
    for (const auto& [index, score] : match.hits()) {
        const CaptureDocument::Line& line = document.line(index);
        SearchHit& hit = result.hits.emplace_back();
        hit.kind = line.kind;
        hit.label = labelOf(document, line, engineNames);
        hit.snippet = document.snippet(index, needles);
        hit.item = item;
        hit.tab = line.kind == SearchHit::Kind::handoff ? LibraryTab::handoffs : LibraryTab::transcript;
        hit.time = line.time < 0 ? std::nullopt : std::optional(line.time);
        hit.score = score;
    }
}

/// One search through all captures.
class CaptureSearch {
  public:
    CaptureSearch(CaptureCache& cache, const std::vector<CaptureCache::Entry*>& entries,
                  const SearchInput& input, const Needles& needles, const std::stop_token& overtaken)
        : m_cache(cache), m_entries(entries), m_input(input), m_needles(needles), m_overtaken(overtaken) {}

    /// Best first; none when overtaken.
    void run(SearchResults& results) {
        std::mutex mutex;
        std::vector<Found> found;
        onThreads(m_entries.size(), [&](const Next& next) {
            QStringList unreadable;
            const std::vector<Found> own = matches(next, unreadable);
            const std::scoped_lock lock(mutex);
            found.insert(found.end(), own.begin(), own.end());
            results.unreadable += unreadable;
        });
        results.unreadable.sort();
        // The captures stand newest first, so that of equal ones the newer comes first.
        std::ranges::sort(found, {}, [](const Found& one) { return std::pair(-one.match.score, one.place); });
        const qsizetype count = std::min(qsizetype(found.size()), m_input.mostCaptures);
        results.moreCaptures = std::ssize(found) - count;
        results.captures.resize(count);
        onThreads(size_t(count), [this, &found, all = results.captures.data()](const Next& next) {
            while (const auto index = next()) {
                const auto& [place, document, match] = found[*index];
                fill(all[*index], m_input.captures.at(qsizetype(place)), *document, match, m_needles,
                     m_input.engineNames);
            }
        });
    }

  private:
    struct Found {
        size_t place = 0;
        const CaptureDocument* document = nullptr;
        CaptureDocument::Match match;
    };
    /// The next one to work on; nothing when all are done, or overtaken.
    using Next = std::function<std::optional<size_t>()>;

    /// Runs `work` on all cores, each taking the next one when it is free.
    void onThreads(size_t count, const std::function<void(const Next&)>& work) const {
        constexpr size_t many = 64;
        std::atomic<size_t> taken = 0;
        const Next next = [&]() -> std::optional<size_t> {
            const size_t index = taken.fetch_add(1);
            return index < count && !m_overtaken.stop_requested() ? std::optional(index) : std::nullopt;
        };
        const unsigned helpers =
            count < many ? 0 : std::clamp(std::thread::hardware_concurrency(), 1U, 4U) - 1;
        std::vector<std::jthread> threads;
        threads.reserve(helpers);
        for (unsigned i = 0; i < helpers; ++i) {
            threads.emplace_back([&] { work(next); });
        }
        work(next);
    }

    std::vector<Found> matches(const Next& next, QStringList& unreadable) {
        CaptureReader reader;
        std::vector<int> counts;
        std::vector<Found> found;
        while (const auto place = next()) {
            const CaptureRecord& record = m_input.captures.at(qsizetype(*place));
            const CaptureReading& reading = m_cache.reading(*m_entries[*place], record, reader);
            if (reading.stamp.isShared && m_input.mayShow && !m_input.mayShow(record.folder)) {
                continue;
            }
            if (const auto match = reading.document.match(m_needles, counts)) {
                found.push_back({*place, &reading.document, *match});
            }
            for (const QString& name : reading.unreadable) {
                unreadable += record.path(name);
            }
        }
        return found;
    }

    CaptureCache& m_cache;
    const std::vector<CaptureCache::Entry*>& m_entries;
    const SearchInput& m_input;
    const Needles& m_needles;
    const std::stop_token& m_overtaken;
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
    CaptureSearch(m_private->captures, entries, input, needles, overtaken).run(results);
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
