#include "cli/ExportCommands.h"

#include "actions/CalendarExport.h"
#include "actions/RemindersExport.h"
#include "cli/Confirm.h"
#include "cli/Desk.h"
#include "cli/DraftJson.h"
#include "cli/DraftSource.h"
#include "cli/Table.h"

#include <algorithm>

namespace lumbro::cli {

namespace {

/// The tasks of the first text that has any, and how many lines of it say no task.
struct FoundTasks {
    QList<ActionItem> items{};
    QString note{};
    qsizetype wordless = 0;
};

FoundTasks firstTasks(const QList<DraftText>& texts, QDate today) {
    for (const DraftText& text : texts) {
        auto items = ActionItem::parse(text.text, text.madeOn, today);
        const auto wordless = items.removeIf([](const ActionItem& item) { return item.task.isEmpty(); });
        if (!items.isEmpty()) {
            return {items, text.taskNote, wordless};
        }
    }
    return {};
}

QString countedTasks(qsizetype count) {
    return counted(count, u"task"_s, u"tasks"_s);
}

int printAdded(Output& output, bool wantsJson, const QList<ActionItem>& items,
               const QList<AddedCalendarItem>& added) {
    const qsizetype there = std::ranges::count(added, true, &AddedCalendarItem::existed);
    const QString list = added.value(0).calendar;
    if (!wantsJson) {
        output.printLine(
            Output::clean(u"Added %1 to \"%2\"."_s.arg(countedTasks(added.size() - there), list)));
        if (there > 0) {
            output.say(u"%1 stood there already."_s.arg(countedTasks(there)));
        }
        return 0;
    }
    QJsonArray array;
    for (qsizetype i = 0; i < items.size(); ++i) {
        QJsonObject json = draftJson(items.at(i));
        json[u"id"_s] = added.value(i).id;
        if (const QString path = added.value(i).path; !path.isEmpty()) {
            json[u"path"_s] = path;
        }
        array += json;
    }
    output.printJson(QJsonObject{{u"added"_s, added.size() - there}, {u"list"_s, list}, {u"items"_s, array}});
    return 0;
}

int printDry(Output& output, bool wantsJson, const QList<ActionItem>& items) {
    if (wantsJson) {
        output.printJson(QJsonObject{{u"items"_s, draftJson(items)}});
    } else {
        output.print(draftText(output, items));
    }
    return 0;
}

/// Shows what is to be done and asks for it, where the command line has not said yes.
Task<std::optional<int>> refusedDraft(const CommandContext* context, QString shown, QString question) {
    const bool saidYes = context->arguments.has("yes");
    if (!saidYes) {
        context->output.say(shown.trimmed());
    }
    co_return co_await refusedOnTerminal(&context->output, saidYes, question, u"Nothing was added"_s);
}

}  // namespace

Task<int> tasksAdd(CommandContext context) {
    Output& output = context.output;
    const Arguments& arguments = context.arguments;
    const auto texts = draftsFor(context, u"tasks add"_s);
    if (!texts) {
        co_return texts.error();
    }
    Desk desk;
    auto [items, note, wordless] = firstTasks(*texts, desk.clock.now().date());
    if (items.isEmpty()) {
        co_return output.fail(u"Lumbro couldn't find a task in that. Ask again with what to do."_s);
    }
    if (wordless > 0) {
        output.say(wordless == 1 ? u"1 line without a task is left out."_s
                                 : u"%1 lines without a task are left out."_s.arg(wordless));
    }
    if (arguments.has("dry-run")) {
        co_return printDry(output, arguments.wantsJson(), items);
    }
    const qsizetype found = items.size();
    items.removeIf([&](const ActionItem& item) { return !item.include && !arguments.has("all"); });
    if (items.isEmpty()) {
        co_return output.fail(
            u"Of the %1 there none is yours; --all adds those of others too."_s.arg(countedTasks(found)));
    }
    const auto refused =
        co_await refusedDraft(&context, draftText(output, items),
                              u"Add %1 to the list \"Lumbro\"?"_s.arg(countedTasks(items.size())));
    if (refused) {
        co_return *refused;
    }
    const auto added = co_await remindersExport::add(desk.organizer.get(), items, note);
    co_return added ? printAdded(output, arguments.wantsJson(), items, *added) : output.fail(added.error());
}

namespace {

/// An event before it is added.
struct PlannedEvent {
    EventDraft draft{};
    QString note{};
    QStringList clashes{};
    /// What may be a slip.
    QStringList oddities{};
    /// Where it goes; nothing where no calendar can be had.
    std::optional<CalendarList> calendar{};
};

QJsonObject eventJson(const PlannedEvent& plan) {
    return {{u"event"_s, draftJson(plan.draft)}, {u"clashes"_s, QJsonArray::fromStringList(plan.clashes)}};
}

int printDry(Output& output, bool wantsJson, const PlannedEvent& plan) {
    if (!wantsJson) {
        output.print(draftText(output, plan.draft, plan.clashes, plan.oddities));
        return 0;
    }
    QJsonObject json = eventJson(plan);
    if (plan.calendar) {
        json[u"calendar"_s] = plan.calendar->title;
    }
    output.printJson(json);
    return 0;
}

int printAdded(const CommandContext& context, const PlannedEvent& plan, const calendarExport::Added& added) {
    Output& output = context.output;
    const AddedCalendarItem& item = added.item;
    if (context.arguments.wantsJson()) {
        QJsonObject json = eventJson(plan);
        json[u"result"_s] = added.existed ? u"exists"_s : u"added"_s;
        json[u"id"_s] = item.id;
        json[u"calendar"_s] = item.calendar;
        if (!item.path.isEmpty()) {
            json[u"path"_s] = item.path;
        }
        output.printJson(json);
        return 0;
    }
    const QString sentence = added.existed ? u"It is in \"%1\" already."_s : u"Added to \"%1\"."_s;
    output.printLine(Output::clean(sentence.arg(item.calendar)));
    if (!item.path.isEmpty()) {
        output.say(output.styledError(Output::clean(item.path), Look::dim));
    }
    if (!added.existed && !plan.clashes.isEmpty() && context.arguments.has("yes")) {
        output.say(Output::clean(u"Clashes with "_s + plan.clashes.join(u", "_s)));
    }
    const QString from = *context.arguments.value("from");
    if (!added.existed && from != u"-" && !plan.draft.emails().isEmpty()) {
        output.say(
            u"Then email them the time: lumbro mail draft --invite --from %1"_s.arg(Output::clean(from)));
    }
    return 0;
}

/// What is known before anything is added, or why nothing can be.
Task<Result<PlannedEvent>> plannedEvent(Desk* desk, QList<DraftText> texts) {
    const auto event = firstEvent(texts);
    if (!event) {
        co_return fail(QString(noTimeSentence));
    }
    PlannedEvent plan{.draft = event->first, .note = event->second};
    if (const auto fault = plan.draft.fault()) {
        co_return fail(*fault);
    }
    plan.oddities = plan.draft.oddities(desk->clock.now());
    plan.clashes = co_await calendarExport::conflicts(desk->organizer.get(), plan.draft);
    plan.calendar = desk->organizer->defaultCalendar();
    co_return Result<PlannedEvent>(plan);
}

/// Why an event can't be added, as far as that is known before; empty where it can.
QString whyNot(const Organizer& organizer) {
    return organizer.access() == CalendarAccess::denied ? organizer.whyNoAccess() : organizer.whyNoCalendar();
}

}  // namespace

Task<int> eventAdd(CommandContext context) {
    Output& output = context.output;
    const Arguments& arguments = context.arguments;
    const auto texts = draftsFor(context, u"event add"_s);
    if (!texts) {
        co_return texts.error();
    }
    Desk desk;
    const auto plan = co_await plannedEvent(&desk, *texts);
    if (!plan) {
        co_return output.fail(plan.error());
    }
    if (arguments.has("dry-run")) {
        co_return printDry(output, arguments.wantsJson(), *plan);
    }
    if (const QString why = whyNot(*desk.organizer); !why.isEmpty()) {
        co_return output.fail(why);
    }
    if (const QString about = desk.organizer->aboutDefault(); !about.isEmpty()) {
        output.say(Output::clean(about));
    }
    const auto refused = co_await refusedDraft(
        &context, draftText(output, plan->draft, plan->clashes, plan->oddities),
        u"Add this event to your calendar \"%1\"?"_s.arg(plan->calendar ? plan->calendar->title : QString()));
    if (refused) {
        co_return *refused;
    }
    if (arguments.has("yes") && !plan->oddities.isEmpty()) {
        output.say(plan->oddities.join(u' '));
    }
    const auto added = co_await calendarExport::add(desk.organizer.get(), plan->draft, plan->note);
    co_return added ? printAdded(context, *plan, *added) : output.fail(added.error());
}

}  // namespace lumbro::cli
