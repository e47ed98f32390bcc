#include "memory/formats/PromiseDates.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "memory/formats/EnglishDate.h"

#include <algorithm>
#include <array>

namespace lumbro {

namespace {

constexpr QStringView dayForm = u"0000-00-00";
constexpr int friday = 5;
constexpr int weekLength = 7;

/// The first such weekday after `from`. Weekdays count from Monday, 1, to Sunday, 7.
QDate nextWeekday(QDate from, int weekday) {
    const int ahead = (weekday - from.dayOfWeek() + weekLength) % weekLength;
    return from.addDays(ahead == 0 ? weekLength : ahead);
}

/// The weekday that a phrase names, with "next" in front or not.
std::optional<QDate> namedWeekday(QStringView phrase, QDate base) {
    struct Weekday {
        QStringView name;
        int number;
    };
    static constexpr std::array<Weekday, weekLength> weekdays{{{u"sunday", 7},
                                                               {u"monday", 1},
                                                               {u"tuesday", 2},
                                                               {u"wednesday", 3},
                                                               {u"thursday", 4},
                                                               {u"friday", 5},
                                                               {u"saturday", 6}}};
    for (const auto& [name, number] : weekdays) {
        const QStringView brief = name.first(3);
        if (!phrase.contains(name) && !phrase.contains(QString(brief.toString() + u' ')) && phrase != brief) {
            continue;
        }
        QDate next = nextWeekday(base, number);
        if (phrase.contains(QString(u"next "_s + name.toString())) && base.daysTo(next) <= 2) {
            next = next.addDays(weekLength);
        }
        return next;
    }
    return std::nullopt;
}

std::optional<QDate> namedDay(QStringView phrase, QDate base) {
    const auto says = [phrase](QStringView words) { return phrase.contains(words); };
    if (says(u"today") || says(u"tonight") || says(u"end of day") || phrase == u"eod") {
        return base;
    }
    if (says(u"tomorrow")) {
        return base.addDays(1);
    }
    if (says(u"next week")) {
        return base.addDays(weekLength);
    }
    if (says(u"end of week") || says(u"this week") || phrase == u"eow") {
        return base.dayOfWeek() == friday ? base : nextWeekday(base, friday);
    }
    return namedWeekday(phrase, base);
}

/// The next time that this day of the year comes.
std::optional<QDate> comingDay(EnglishDate found, QDate base) {
    QDate date(base.year(), found.month, found.day);
    if (date.isValid() && date < base) {
        date = date.addYears(1);
    }
    return date.isValid() ? std::optional(date) : std::nullopt;
}

}  // namespace

bool PromiseDates::looksLikeDay(QStringView text) {
    const auto fits = [](QChar form, QChar c) { return form == u'0' ? c >= u'0' && c <= u'9' : c == form; };
    return text.size() == dayForm.size() && std::ranges::equal(dayForm, text, fits);
}

std::optional<QDate> PromiseDates::day(QStringView text) {
    if (!looksLikeDay(text)) {
        return std::nullopt;
    }
    const QDate date(text.first(4).toInt(), text.sliced(5, 2).toInt(), text.sliced(8, 2).toInt());
    return date.isValid() ? std::optional(date) : std::nullopt;
}

QString PromiseDates::text(QDate day) {
    return day.toString(u"yyyy-MM-dd"_s);
}

std::optional<QDate> PromiseDates::parse(const QString& text, std::optional<QDate> madeOn, QDate today) {
    const QStringView phrase = trimmedBlanks(text);
    if (phrase.isEmpty()) {
        return std::nullopt;
    }
    if (const auto exact = day(phrase.first(std::min(phrase.size(), dayForm.size())))) {
        return exact;
    }
    const QDate base = madeOn.value_or(today);
    if (const auto named = namedDay(phrase.toString().toLower(), base)) {
        return named;
    }
    const auto found = EnglishDate::find(phrase);
    return found ? comingDay(*found, base) : std::nullopt;
}

}  // namespace lumbro
