#pragma once

#include <QDate>
#include <QString>
#include <QStringView>

#include <optional>

namespace lumbro {

/// Days as text, and what people mean by "tomorrow".
struct PromiseDates {
    /// The day that a phrase such as "Friday", "end of week" or "Mar 3" means when it is said on `madeOn` (on
    /// `today` where that is not known). Nothing when it names none. Any text.
    static std::optional<QDate> parse(const QString& text, std::optional<QDate> madeOn, QDate today);

    /// True for ten characters of the form "yyyy-MM-dd", whether there is such a day or not.
    static bool looksLikeDay(QStringView text);
    /// Reads exactly "yyyy-MM-dd".
    static std::optional<QDate> day(QStringView text);
    static QString text(QDate day);
};

}  // namespace lumbro
