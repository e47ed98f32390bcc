#pragma once

#include "ask/SearchResults.h"
#include "ask/SearchText.h"

#include <QList>
#include <QString>

#include <span>

namespace lumbro {

/// The texts of people, projects, promises, ideas and threads in their folded form. They are made once for
/// each state of a list. One search at a time.
class MemoryTexts {
  public:
    /// Adds what holds every needle to the results. There is at least one needle.
    void search(const SearchInput& input, std::span<const searchText::Needle> needles,
                SearchResults& results);

  private:
    template <typename Item>
    struct Folded {
        /// Shared with the one who gave it: as long as that is so, nothing has changed.
        QList<Item> list;
        searchText::TextList texts;

        QList<Item> matching(const QList<Item>& items, std::span<const searchText::Needle> needles,
                             QString (*textOf)(const Item&));
    };

    Folded<MemoryEntity> m_people;
    Folded<MemoryEntity> m_projects;
    Folded<PromiseItem> m_promises;
    Folded<IdeaItem> m_ideas;
    Folded<AskThread> m_threads;
};

}  // namespace lumbro
