#include "ask/MemoryTexts.h"

#include "LumbroCore/Literals.h"
#include "ask/Highlight.h"

#include <QStringList>

#include <algorithm>

namespace lumbro {

namespace {

QString entityText(const MemoryEntity& entity) {
    return entity.name + u' ' + entity.subtitle + u' ' + entity.emails.join(u' ');
}

QString promiseText(const PromiseItem& promise) {
    return WikiLink::plain(promise.text) + u' ' + WikiLink::plain(promise.owner) + u' ' +
           WikiLink::plain(promise.recipient);
}

QString ideaText(const IdeaItem& idea) {
    return idea.hook + u' ' + idea.angle;
}

QString threadText(const AskThread& thread) {
    QStringList texts;
    for (const AskTurn& turn : thread.turns) {
        texts << turn.question << turn.answer;
    }
    return texts.join(u'\n');
}

/// The first text of the thread in which a term occurs.
QString firstText(const AskThread& thread, std::span<const searchText::Needle> needles) {
    for (const AskTurn& turn : thread.turns) {
        for (const QString& text : {turn.question, turn.answer}) {
            const QByteArray folded = searchText::folded(text);
            if (std::ranges::any_of(needles, [&](const auto& needle) { return needle.isIn(folded); })) {
                return text;
            }
        }
    }
    return {};
}

}  // namespace

template <typename Item>
QList<Item> MemoryTexts::Folded<Item>::matching(const QList<Item>& items,
                                                std::span<const searchText::Needle> needles,
                                                QString (*textOf)(const Item&)) {
    if (!items.isSharedWith(list)) {
        list = items;
        texts.clear();
        for (const Item& item : items) {
            texts.add(textOf(item));
        }
    }
    QList<Item> found;
    for (const qsizetype index : texts.matching(needles)) {
        found.append(items.at(index));
    }
    return found;
}

void MemoryTexts::search(const SearchInput& input, std::span<const searchText::Needle> needles,
                         SearchResults& results) {
    results.people = m_people.matching(input.people, needles, entityText);
    results.projects = m_projects.matching(input.projects, needles, entityText);
    results.promises = m_promises.matching(input.promises, needles, promiseText);
    results.ideas = m_ideas.matching(input.ideas, needles, ideaText);
    QStringList terms;
    for (const searchText::Needle& needle : needles) {
        terms += QString::fromUtf8(needle.term());
    }
    for (const AskThread& thread : m_threads.matching(input.threads, needles, threadText)) {
        results.asks.append({thread, highlight::snippet(firstText(thread, needles), terms)});
    }
}

}  // namespace lumbro
