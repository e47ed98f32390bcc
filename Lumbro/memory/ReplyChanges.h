#pragma once

#include <QList>
#include <QString>

namespace lumbro {

/// What was changed in a model's reply, or left out of it, on its way into the memory: for one line in the
/// log.
class ReplyChanges {
  public:
    /// Counts changes of one sort, such as "ideas too many"; `text` is what the first of them concerned.
    void note(const QString& sort, const QString& text, qsizetype count = 1);
    /// The sorts with their counts and the first text of all, shortened and without secrets. Empty when
    /// nothing was changed.
    QString summary() const;

  private:
    struct Count {
        QString sort;
        qsizetype count = 0;
    };

    QList<Count> m_counts;
    QString m_first;
};

/// The first `most` items of a list that a model made; more are noted as too many of `what`.
template <typename List, typename Text>
List bounded(const List& list, qsizetype most, const QString& what, const Text& text, ReplyChanges& changes) {
    if (list.size() <= most) {
        return list;
    }
    changes.note(what + QStringLiteral(" too many"), text(list.at(most)), list.size() - most);
    return list.first(most);
}

}  // namespace lumbro
