#pragma once

#include <QStringView>

#include <optional>

namespace lumbro {

/// A day of the year, as people write it in English.
struct EnglishDate {
    /// 1 to 12.
    int month = 0;
    /// 1 to 31, and one that the month has in a leap year.
    int day = 0;

    bool operator==(const EnglishDate&) const = default;

    /// The first month and day in a free text: "March 3rd", "the 3rd of March", "3 Mar", "Sept. 5",
    /// "2026-3-5", "3/14" (the month first, unless it cannot be one). Nothing when there is none. Any text.
    static std::optional<EnglishDate> find(QStringView text);
};

}  // namespace lumbro
