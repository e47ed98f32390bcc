#pragma once

#include "LumbroCore/Clock.h"
#include "ask/SearchResults.h"

#include <QString>
#include <QStringList>

#include <memory>
#include <optional>
#include <stop_token>

namespace lumbro {

/// Search through the whole library without a model: every term of the query must occur, in any case and
/// anywhere in a word. The text of captures is kept in memory between searches, so that one that has not
/// changed is not read again; nothing is kept on disk.
class SearchIndex {
  public:
    /// `clock` must outlive this.
    explicit SearchIndex(const Clock& clock);
    SearchIndex(const SearchIndex&) = delete;
    SearchIndex& operator=(const SearchIndex&) = delete;
    ~SearchIndex();

    /// Searches, on the calling thread and helpers of its own; may take as long as reading the library does.
    /// Call it away from the main thread. Searches at the same time run one after another. Nothing when
    /// `overtaken` was asked to stop: what was read till then is kept.
    std::optional<SearchResults> search(const QString& query, const SearchInput& input,
                                        const std::stop_token& overtaken = {});

    /// The piece of a text that a row shows; the terms are those of `highlight::terms`.
    static QString snippet(const QString& text, const QStringList& terms);

  private:
    struct Private;
    std::unique_ptr<Private> m_private;
};

}  // namespace lumbro
