#include "cli/AgendaCommand.h"

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "cli/AgendaText.h"
#include "cli/CaptureLookup.h"
#include "library/ContextLibrary.h"
#include "meetings/Agenda.h"
#include "platform/linux/desktop/OpenOrganizer.h"

#include <QJsonArray>

namespace lumbro::cli {

namespace {

QList<MeetingOffer> withBriefs(const QList<PrepEvent>& agenda, Clock& clock) {
    ContextLibrary library(ContextLibrary::rootFromEnvironment(), clock);
    if (!agenda.isEmpty()) {
        library.reloadCaptures();
    }
    QList<MeetingOffer> meetings;
    for (const PrepEvent& event : agenda) {
        const auto brief = agenda::brief(library.captures(), event);
        meetings.append({event, brief ? std::optional(brief->id()) : std::nullopt});
    }
    return meetings;
}

}  // namespace

Task<int> agendaCommand(CommandContext context) {
    Output& output = context.output;
    if (const auto usable = checkLibrary(ContextLibrary::rootFromEnvironment(), LibraryUse::read); !usable) {
        co_return output.fail(usable.error());
    }
    SystemClock clock(SystemClock::dateFromEnvironment());
    Settings settings;
    const auto organizer = openOrganizer(settings, clock);
    if (co_await organizer->open() == CalendarAccess::denied) {
        co_return output.fail(organizer->whyNoAccess());
    }
    const auto span = agenda::span(clock.now());
    const QList<CalendarEvent> events = co_await organizer->events(span.from, span.to);
    const QString unread = organizer->whyNoAccess();
    if (organizer->access() == CalendarAccess::denied) {
        co_return output.fail(unread);
    }
    sayLeftOut(output, organizer->leftOut());
    const QList<MeetingOffer> meetings = withBriefs(agenda::of(events), clock);
    if (context.arguments.wantsJson()) {
        QJsonArray array;
        for (const MeetingOffer& meeting : meetings) {
            array += meetingJson(meeting);
        }
        output.printJson(array);
    } else if (meetings.isEmpty()) {
        output.say(unread.isEmpty() ? u"No meetings through tomorrow."_s : unread);
    } else {
        output.print(meetingTable(output, meetings, clock.now()));
    }
    co_return 0;
}

}  // namespace lumbro::cli
