#include "cli/ExportCommands.h"

#include "actions/CalendarExport.h"
#include "actions/RemindersExport.h"
#include "cli/Confirm.h"
#include "cli/Desk.h"
#include "cli/DraftJson.h"
#include "cli/DraftSource.h"
#include "cli/Table.h"

namespace lumbro::cli {

namespace {

struct FoundTasks {
    QList<ActionItem> items;
    QString note;
};

/// The tasks of the first text that has any.
FoundTasks firstTasks(const QList<DraftText>& texts, QDate today) {
    for (const DraftText& text : texts) {
        if (const auto items = ActionItem::parse(text.text, text.madeOn, today); !items.isEmpty()) {
            return {items, text.taskNote};
        }
    }
    return {};
}

QString countedTasks(qsizetype count) {
    return counted(count, u"task"_s, u"tasks"_s);
}

int printAdded(Output& output, bool wantsJson, const QList<ActionItem>& items,
               const QList<AddedCalendarItem>& added) {
    if (!wantsJson) {
        output.printLine(
            Output::clean(u"Added %1 to \"%2\"."_s.arg(countedTasks(added.size()), added.value(0).calendar)));
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
    output.printJson(QJsonObject{{u"added"_s, added.size()}, {u"items"_s, array}});
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
    auto [items, note] = firstTasks(*texts, desk.clock.now().date());
    if (items.isEmpty()) {
        co_return output.fail(u"Lumbro couldn't find a task in that. Ask again with what to do."_s);
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
    const auto refused = co_await refusedDraft(&context, draftText(output, items),
                                               u"Add %1 to your list?"_s.arg(countedTasks(items.size())));
    if (refused) {
        co_return *refused;
    }
    const auto added = co_await remindersExport::add(desk.organizer.get(), items, note);
    co_return added ? printAdded(output, arguments.wantsJson(), items, *added) : output.fail(added.error());
}

namespace {

QJsonObject eventJson(const EventDraft& draft, const QStringList& clashes) {
    return {{u"event"_s, draftJson(draft)}, {u"clashes"_s, QJsonArray::fromStringList(clashes)}};
}

int printAdded(const CommandContext& context, const EventDraft& draft, const QStringList& clashes,
               const calendarExport::Added& added) {
    Output& output = context.output;
    const AddedCalendarItem& item = added.item;
    if (context.arguments.wantsJson()) {
        QJsonObject json = eventJson(draft, clashes);
        json[u"result"_s] = added.existed ? u"exists"_s : u"added"_s;
        json[u"id"_s] = item.id;
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
    if (!clashes.isEmpty() && context.arguments.has("yes")) {
        output.say(Output::clean(u"Clashes with "_s + clashes.join(u", "_s)));
    }
    const QString from = *context.arguments.value("from");
    if (!added.existed && from != u"-" && !draft.emails().isEmpty()) {
        output.say(
            u"Then email them the time: lumbro mail draft --invite --from %1"_s.arg(Output::clean(from)));
    }
    return 0;
}

}  // namespace

Task<int> eventAdd(CommandContext context) {
    Output& output = context.output;
    const Arguments& arguments = context.arguments;
    const auto texts = draftsFor(context, u"event add"_s);
    if (!texts) {
        co_return texts.error();
    }
    const auto event = firstEvent(*texts);
    if (!event) {
        co_return output.fail(noTimeSentence);
    }
    const auto [draft, note] = *event;
    Desk desk;
    const QStringList clashes = co_await calendarExport::conflicts(desk.organizer.get(), draft);
    if (arguments.has("dry-run")) {
        if (arguments.wantsJson()) {
            output.printJson(eventJson(draft, clashes));
        } else {
            output.print(draftText(output, draft, clashes));
        }
        co_return 0;
    }
    const auto refused = co_await refusedDraft(&context, draftText(output, draft, clashes),
                                               u"Add this event to your calendar?"_s);
    if (refused) {
        co_return *refused;
    }
    const auto added = co_await calendarExport::add(desk.organizer.get(), draft, note);
    co_return added ? printAdded(context, draft, clashes, *added) : output.fail(added.error());
}

}  // namespace lumbro::cli
