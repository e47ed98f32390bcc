#include "cli/services/PrepCommand.h"

#include "LumbroCore/Dates.h"
#include "app/QuitSignals.h"
#include "app/Services.h"
#include "cli/AgendaText.h"
#include "cli/CaptureLookup.h"
#include "cli/Confirm.h"
#include "cli/services/FinishSteps.h"
#include "cli/services/RecordingCommands.h"
#include "library/ContextLibrary.h"
#include "meetings/Agenda.h"
#include "meetings/MeetingPrep.h"
#include "meetings/formats/MeetingLink.h"
#include "platform/CalendarStore.h"
#include "platform/linux/desktop/DesktopLinks.h"

#include <QJsonObject>

#include <algorithm>

namespace lumbro::cli {

namespace {

/// The meeting that the user means, or the sentence that there is none.
Result<PrepEvent> findEvent(Services& services, const QString& text) {
    if (const QString unread = services.calendar().whyNoAccess(); !unread.isEmpty()) {
        return fail(unread);
    }
    const auto event = agenda::find(services.meetingPrep().agenda(), text, services.clock().now());
    if (event) {
        return *event;
    }
    if (text.isEmpty()) {
        return fail(FailureKind::notFound, u"No meeting is to come through tomorrow."_s);
    }
    return fail(FailureKind::notFound,
                u"There is no meeting \"%1\" through tomorrow; `lumbro agenda` lists them all."_s.arg(text));
}

/// The brief that is there, or a new one.
Task<Result<CaptureRecord>> briefFor(Services* services, Output* output, PrepEvent event, bool again) {
    MeetingPrep& prep = services->meetingPrep();
    if (const auto there = prep.brief(event); there && !again) {
        output->say(output->styledError(u"This brief was there already; --again has a new one written."_s,
                                        Look::dim));
        co_return *there;
    }
    const auto cancel = std::make_shared<CancellationHandle>();
    const QuitSignals interrupts;
    QObject::connect(&interrupts, &QuitSignals::quitRequested, &prep, [cancel] { cancel->cancel(); });
    FinishSteps steps(*output, services->clock());
    steps.begin(u"Writing the brief for \"%1\"…"_s.arg(Output::clean(event.title)));
    const auto onWait = [&steps] {
        steps.begin(u"Another Lumbro has this brief written; waiting for it…"_s);
    };
    const Result<CaptureRecord> brief = co_await prep.prepare(event, cancel, onWait);
    steps.end();
    if (!brief && brief.error().kind == FailureKind::cancelled) {
        co_return fail(FailureKind::cancelled, u"The run was cancelled; nothing was written."_s);
    }
    co_return brief;
}

/// An agent takes its time, and calendars change.
Task<bool> isStillOn(Services* services, PrepEvent event) {
    MeetingPrep& prep = services->meetingPrep();
    co_await prep.refresh();
    co_return std::ranges::any_of(prep.agenda(),
                                  [&event](const PrepEvent& one) { return one.key() == event.key(); });
}

void printBrief(const CommandContext& context, const PrepEvent& event, const CaptureRecord& brief,
                const QString& text, const QDateTime& now) {
    Output& output = context.output;
    if (context.arguments.wantsJson()) {
        output.printJson(QJsonObject{{u"capture"_s, brief.id()},
                                     {u"title"_s, event.title},
                                     {u"start"_s, dates::iso(event.start)},
                                     {u"text"_s, text}});
        return;
    }
    output.printLine(output.styled(Output::clean(event.title), Look::bold));
    output.printLine(output.styled(Output::clean(meetingLine(event, now)), Look::dim));
    output.printLine(u'\n' + Output::cleanLines(text).trimmed());
    output.say(output.styledError(brief.path(u"handoffs/prep.md"_s), Look::dim));
}

/// Asks where somebody can answer.
Task<bool> wantsToJoin(const CommandContext* context, PrepEvent event) {
    if (context->arguments.has("yes") || context->arguments.wantsJson()) {
        co_return context->arguments.has("yes");
    }
    const QString app =
        event.link ? u" in "_s + meetingLink::app(event.link->toString()).value_or(QString()) : QString();
    co_return co_await askOnTerminal(u"Join \"%1\"%2 and record it?"_s.arg(event.title, app)) == Answer::yes;
}

Task<int> join(CommandContext context, PrepEvent event) {
    if (event.link && !desktopLinks::open(*event.link)) {
        context.output.say(u"Join here: "_s + Output::clean(event.link->toString(QUrl::FullyEncoded)));
    }
    RecordingPlan plan;
    plan.event = event;
    co_return co_await recordPlan(context, plan);
}

/// Writes and prints the brief; gives the meeting when it can be joined now.
Task<Result<std::optional<PrepEvent>>> prepare(const CommandContext* context) {
    Services services;
    if (const auto usable = checkLibrary(services.library().root(), LibraryUse::write); !usable) {
        co_return std::unexpected(usable.error());
    }
    services.library().open();
    co_await services.meetingPrep().refresh();
    const auto event = findEvent(services, context->arguments.at(0));
    if (!event) {
        co_return std::unexpected(event.error());
    }
    const auto brief =
        co_await briefFor(&services, &context->output, *event, context->arguments.has("again"));
    if (!brief) {
        co_return std::unexpected(brief.error());
    }
    const QString text = services.library().handoffs(*brief).value(u"prep"_s);
    const QDateTime now = services.clock().now();
    printBrief(*context, *event, *brief, text, now);
    if (!co_await isStillOn(&services, *event)) {
        context->output.say(
            u"This meeting was moved or called off meanwhile; `lumbro agenda` lists what is on."_s);
        co_return std::optional<PrepEvent>();
    }
    co_return agenda::isOn(*event, now) ? std::optional(*event) : std::nullopt;
}

}  // namespace

Task<int> prepCommand(CommandContext context) {
    Output& output = context.output;
    const bool saysYes = context.arguments.has("yes");
    if (saysYes && context.arguments.wantsJson()) {
        output.fail(u"--yes records the meeting, of which --json can tell nothing; give one of them."_s);
        output.say(usageLine(*findCommand({u"prep"_s}).command));
        co_return wrongUsage;
    }
    const auto toJoin = co_await prepare(&context);
    if (!toJoin) {
        co_return output.fail(toJoin.error());
    }
    if (saysYes && !*toJoin) {
        output.say(u"The meeting can be joined from 10 minutes before its start until its end."_s);
    }
    if (*toJoin && co_await wantsToJoin(&context, **toJoin)) {
        co_return co_await join(context, **toJoin);
    }
    co_return 0;
}

}  // namespace lumbro::cli
