#include "platform/linux/desktop/DefaultCalendar.h"

#include <QFileInfo>
#include <QStringList>

#include <algorithm>

namespace lumbro::defaultCalendar {

namespace {

constexpr qsizetype mostNamed = 10;

QString shortId(const CalendarList& calendar) {
    return QFileInfo(calendar.id).fileName();
}

template <typename Naming>
QString listed(const QList<CalendarList>& calendars, Naming naming) {
    QStringList names;
    for (const CalendarList& calendar : calendars.first(std::min(calendars.size(), mostNamed))) {
        names.append(naming(calendar));
    }
    if (calendars.size() > mostNamed) {
        names.append(u"…"_s);
    }
    return names.join(u", "_s);
}

std::optional<CalendarList> withId(const QList<CalendarList>& calendars, const QString& name) {
    const auto found = std::ranges::find_if(calendars, [&name](const CalendarList& calendar) {
        return calendar.id == name || shortId(calendar) == name;
    });
    return found == calendars.end() ? std::nullopt : std::optional(*found);
}

}  // namespace

Result<CalendarList> named(const QList<CalendarList>& calendars, const QString& name) {
    QList<CalendarList> found;
    std::ranges::copy_if(calendars, std::back_inserter(found),
                         [&name](const CalendarList& calendar) { return calendar.title == name; });
    if (found.size() == 1) {
        return found.first();
    }
    if (const auto byId = withId(calendars, name)) {
        return *byId;
    }
    if (!found.isEmpty()) {
        return fail(FailureKind::notFound,
                    u"Several calendars have the title \"%1\"; name the one for new events with `lumbro "
                    "settings set calendarDefault ID`, where ID is one of these: %2."_s.arg(
                        name, listed(found, shortId)));
    }
    const QString choice =
        calendars.isEmpty()
            ? u"there is none that can be written"_s
            : u"there are: "_s + listed(calendars, [](const CalendarList& each) { return each.title; });
    return fail(
        FailureKind::notFound,
        u"The calendar \"%1\" for new events isn't there or can't be written; choose one with `lumbro "
        "settings set calendarDefault NAME` (%2)."_s.arg(name, choice));
}

std::optional<CalendarList> ofKhal(const QList<CalendarList>& calendars, const KhalConfiguration& khal) {
    if (khal.path.isEmpty()) {
        const Result<CalendarList> found =
            khal.defaultCalendar.isEmpty() ? fail(QString()) : named(calendars, khal.defaultCalendar);
        return found ? std::optional(*found) : std::nullopt;
    }
    const QString folder = QFileInfo(khal.folder()).canonicalFilePath();
    const auto found = std::ranges::find_if(calendars, [&folder](const CalendarList& calendar) {
        return !folder.isEmpty() && QFileInfo(calendar.id).canonicalFilePath() == folder;
    });
    return found == calendars.end() ? std::nullopt : std::optional(*found);
}

}  // namespace lumbro::defaultCalendar
