#pragma once

#include "library/formats/CaptureMeta.h"
#include "library/formats/LibraryTab.h"
#include "library/formats/SidebarItem.h"

#include <QList>
#include <QString>

#include <optional>

namespace lumbro {

/// A line that holds at least one term of a query.
struct SearchHit {
    /// Where the line came from.
    enum class Kind { title, transcript, notes, handoff, screen, ask };

    Kind kind = Kind::title;
    /// What a row says about the line's place: "Title", "Me · 04:12", "Your notes", "Meeting notes hand-off".
    QString label;
    /// The line, or the piece of it around its first match.
    QString snippet;
    /// Where a click goes, and the tab to open there.
    SidebarItem item;
    LibraryTab tab = LibraryTab::transcript;
    /// Seconds from the start of the recording; lines of a transcript only.
    std::optional<double> time;
    /// 10 for each term that occurs in the line, and 3 more in the user's own notes.
    int score = 0;

    bool operator==(const SearchHit&) const = default;
};

/// The word of a kind in output.
QString rawValue(SearchHit::Kind kind);

/// A capture that holds every term of a query.
struct CaptureResult {
    static constexpr qsizetype maxHits = 3;

    CaptureRecord record;
    /// The best ones, best first.
    QList<SearchHit> hits;
    /// 30 for each term in the title, the best hit's score, and one for each hit up to ten.
    int score = 0;

    bool operator==(const CaptureResult&) const = default;
};

}  // namespace lumbro
