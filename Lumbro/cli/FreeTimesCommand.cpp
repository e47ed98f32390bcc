#include "LumbroCore/Dates.h"
#include "actions/CalendarExport.h"
#include "cli/AgendaText.h"
#include "cli/Desk.h"
#include "cli/ExportCommands.h"
#include "cli/Table.h"

#include <QLocale>

namespace lumbro::cli {

namespace {

constexpr int mostDays = 366;
constexpr int mostMinutes = 480;

QJsonArray intervalsJson(const QList<FreeTime>& free) {
    QJsonArray array;
    for (const FreeTime& time : free) {
        array += QJsonObject{{u"start"_s, dates::iso(time.start)}, {u"end"_s, dates::iso(time.end)}};
    }
    return array;
}

/// One line a day.
QString freeTimesText(const Output& output, const QList<FreeTime>& free) {
    static const QLocale english(QLocale::English, QLocale::UnitedStates);
    QList<QStringList> rows;
    for (const FreeTime& time : free) {
        const QString day = english.toString(time.start.date(), u"ddd, MMM d"_s);
        const QString span = time.start.toString(u"HH:mm"_s) + u"–"_s + time.end.toString(u"HH:mm"_s);
        if (rows.isEmpty() || rows.last().first() != day) {
            rows.append({day, span});
        } else {
            rows.last().last() += u", "_s + span;
        }
    }
    return table(output, {{.header = u"Day"_s, .look = Look::bold}, {.header = u"Free"_s}}, rows);
}

}  // namespace

Task<int> freeTimesCommand(CommandContext context) {
    Output& output = context.output;
    const Arguments& arguments = context.arguments;
    const int days = arguments.number("days").value_or(5);
    const int minutes = arguments.number("minutes").value_or(30);
    if (days > mostDays || minutes > mostMinutes) {
        output.fail(u"--days takes a number up to %1, --minutes one up to %2, the length of a working day."_s
                        .arg(mostDays)
                        .arg(mostMinutes));
        co_return wrongUsage;
    }
    Desk desk;
    Organizer* organizer = desk.organizer.get();
    const QDateTime now = desk.clock.now();
    const QList<FreeTime> free = co_await calendarExport::freeTimes(organizer, days, minutes, now);
    const QString unread = organizer->whyNoAccess();
    if (organizer->access() == CalendarAccess::denied) {
        co_return output.fail(unread);
    }
    sayLeftOut(output, organizer->leftOut());
    if (arguments.wantsJson()) {
        output.printJson(QJsonObject{{u"context"_s, calendarExport::contextOf(free, now)},
                                     {u"intervals"_s, intervalsJson(free)}});
    } else if (!unread.isEmpty()) {
        output.say(unread);
    } else if (free.isEmpty()) {
        output.say(u"There is no free time of %1 minutes within %2."_s.arg(minutes).arg(
            counted(days, u"weekday"_s, u"weekdays"_s)));
    } else {
        output.print(freeTimesText(output, free));
    }
    co_return 0;
}

}  // namespace lumbro::cli
