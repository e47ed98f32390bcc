#pragma once

#include "ask/formats/AskAnswer.h"

#include <QHash>
#include <QList>
#include <QString>

#include <functional>
#include <optional>

namespace lumbro {

/// Finds the capture that a text names, among thousands, without looking at each.
class CaptureIndex {
  public:
    /// Folder name and title, in the library's order.
    struct Entry {
        QString id;
        QString title;
    };

    CaptureIndex() = default;
    explicit CaptureIndex(QList<Entry> entries);

    /// The first entry in their order whose id the text contains, or null.
    const Entry* find(const QString& text) const;

  private:
    QList<Entry> m_entries;
    /// The entries by the beginning of their ids; what is shorter than that stands in `m_short`.
    QHash<QStringView, QList<qsizetype>> m_byStart;
    QList<qsizetype> m_short;
};

/// What the names in an answer are looked up in. Empty functions find nothing.
struct AskLookup {
    /// The capture that the text names.
    std::function<std::optional<AskSource>(const QString& text)> capture;
    /// The name of the person or project with this slug.
    std::function<std::optional<QString>(const QString& slug)> person;
    std::function<std::optional<QString>(const QString& slug)> project;
};

}  // namespace lumbro
