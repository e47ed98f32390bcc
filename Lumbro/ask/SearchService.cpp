#include "ask/SearchService.h"

#include "LumbroCore/InBackground.h"

#include <utility>

namespace lumbro {

SearchService::SearchService(const Clock& clock) : m_index(std::make_shared<SearchIndex>(clock)) {}

SearchService::~SearchService() {
    m_current.request_stop();
}

Task<std::optional<SearchResults>> SearchService::search(QString query, SearchInput input) {
    m_current.request_stop();
    m_current = std::stop_source();
    // Values of this search alone: the service may go while it runs.
    const auto index = m_index;
    const std::stop_token overtaken = m_current.get_token();
    auto results = co_await inBackground([=] { return index->search(query, input, overtaken); });
    co_return overtaken.stop_requested() ? std::nullopt : std::move(results);
}

}  // namespace lumbro
