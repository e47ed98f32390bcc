#pragma once

#include "LumbroCore/Task.h"
#include "ask/SearchIndex.h"

#include <QString>

#include <memory>
#include <optional>

namespace lumbro {

/// The search box of the window to come: searches away from the main thread, one search at a time. Main
/// thread.
class SearchService {
  public:
    /// `clock` must outlive this and every search.
    explicit SearchService(const Clock& clock);
    /// A search that is under way ends soon and gives nothing.
    ~SearchService();
    SearchService(const SearchService&) = delete;
    SearchService& operator=(const SearchService&) = delete;

    /// Nothing when a newer call overtook this one.
    Task<std::optional<SearchResults>> search(QString query, SearchInput input);

  private:
    /// Shared with the searches under way.
    std::shared_ptr<SearchIndex> m_index;
    std::stop_source m_current;
};

}  // namespace lumbro
