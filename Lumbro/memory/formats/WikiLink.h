#pragma once

#include "library/formats/CaptureMeta.h"

#include <QList>
#include <QString>
#include <QStringView>

#include <optional>

namespace lumbro {

/// A link between files of the library: "[[target|title]]", or "[[target]]".
struct WikiLink {
    /// A path under the library or under the memory folder, without extension.
    QString target;
    QString title;

    bool operator==(const WikiLink&) const = default;

    /// Where a link stands in a text.
    struct Place {
        qsizetype begin = 0;
        qsizetype end = 0;
        QStringView target;
        /// The target where the link has no title.
        QStringView title;

        WikiLink link() const { return {target.toString(), title.toString()}; }
    };

    /// All links in order. The places view into the text.
    static QList<Place> places(QStringView text);
    static QList<WikiLink> all(QStringView text);
    static std::optional<WikiLink> first(QStringView text);
    /// The text with each link replaced by its title.
    static QString plain(QStringView text);
    /// The text with brackets that open a link and never close it as round ones: in a line, what follows
    /// would be taken for that link's.
    static QString withoutOpen(const QString& text);
    /// `text` cut at each `separator` that stands outside all links.
    static QList<QStringView> split(QStringView text, QStringView separator);

    /// The link to a capture's transcript or, for an imported chat, its session.
    static WikiLink capture(const CaptureRecord& record);
    static WikiLink person(const QString& slug, const QString& name);

    /// The link as it stands in a file. Square brackets of the title become round ones, which would end it.
    QString text() const;
    /// The capture's id when the link leads to one.
    std::optional<QString> captureID() const;
    /// The person's slug when the link leads to a person's page.
    std::optional<QString> personSlug() const;
};

}  // namespace lumbro
