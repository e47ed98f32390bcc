#include "cli/services/PassCommands.h"

#include "app/QuitSignals.h"
#include "app/Services.h"
#include "cli/CaptureLookup.h"
#include "cli/MemoryText.h"
#include "cli/OpenMemory.h"
#include "cli/Table.h"
#include "cli/services/FinishSteps.h"
#include "library/ContextLibrary.h"
#include "library/model/AppModel.h"
#include "memory/DailyIdeas.h"
#include "memory/MemoryStore.h"
#include "memory/PromiseReminder.h"

#include <QJsonArray>
#include <QJsonObject>

namespace lumbro::cli {

namespace {

/// What the pill says in one line; empty when it shows something else.
QString messageOf(const PillMode& mode) {
    const auto* message = std::get_if<pill::Message>(&mode);
    return message == nullptr ? QString() : message->text;
}

QString promiseTable(const Output& output, const MemoryStore& memory, const QStringList& ids, QDate today) {
    QList<QStringList> rows;
    for (const PromiseItem& promise : memory.duePromises(true)) {
        if (ids.contains(promise.id)) {
            rows.append({promise.id, Output::clean(promise.text), Output::clean(promise.otherName()),
                         Output::clean(promise.dueText(today)), promise.ageText(today)});
        }
    }
    return table(output,
                 {{.header = u"Id"_s, .look = Look::dim},
                  {.header = u"Promise"_s, .flexible = true, .look = Look::bold},
                  {.header = u"To"_s},
                  {.header = u"Due"_s, .look = Look::bad},
                  {.header = u"Made"_s}},
                 rows);
}

QJsonArray ideasJson(const QList<DailyIdea>& ideas) {
    QJsonArray array;
    for (const DailyIdea& idea : ideas) {
        array += QJsonObject{{u"hook"_s, idea.hook}, {u"angle"_s, idea.angle}, {u"capture"_s, idea.capture}};
    }
    return array;
}

QString ideasText(const Output& output, const QList<DailyIdea>& ideas) {
    QString text;
    for (const DailyIdea& idea : ideas) {
        text += text.isEmpty() ? QString() : u"\n"_s;
        text += output.styled(Output::clean(idea.hook), Look::bold) + u'\n';
        text += idea.angle.isEmpty() ? QString() : Output::clean(idea.angle) + u'\n';
        text += output.styled(idea.capture, Look::dim) + u'\n';
    }
    return text;
}

/// The ideas that the pill shows, or none.
QList<DailyIdea> shownIdeas(const PillMode& mode) {
    const auto* ideas = std::get_if<pill::Ideas>(&mode);
    return ideas == nullptr ? QList<DailyIdea>() : ideas->ideas;
}

}  // namespace

Task<int> remind(CommandContext context) {
    Output& output = context.output;
    Services services;
    if (const auto usable = checkLibrary(services.library().root(), LibraryUse::write); !usable) {
        co_return output.fail(usable.error());
    }
    const QStringList ids = services.promiseReminder().remindNow();
    const int status = sayFaults(output, services.memory(), MemoryPart::promises, ids.isEmpty());
    if (context.arguments.wantsJson()) {
        output.printJson(QJsonArray::fromStringList(ids));
    } else if (status != 0) {
        co_return status;
    } else if (ids.isEmpty()) {
        output.say(messageOf(services.model().pill().mode()));
    } else {
        output.print(promiseTable(output, services.memory(), ids, services.clock().now().date()));
        output.say(
            output.styledError(u"`lumbro promises done ID` ticks one, `lumbro promises snooze ID DAYS` "
                               u"hides it for a while."_s,
                               Look::dim));
    }
    co_return status;
}

Task<int> ideasToday(CommandContext context) {
    Output& output = context.output;
    Services services;
    if (const auto usable = checkLibrary(services.library().root(), LibraryUse::write); !usable) {
        co_return output.fail(usable.error());
    }
    services.library().open();
    const auto cancel = std::make_shared<CancellationHandle>();
    const QuitSignals interrupts;
    QObject::connect(&interrupts, &QuitSignals::quitRequested, &interrupts, [cancel] { cancel->cancel(); });
    FinishSteps steps(output, services.clock());
    steps.begin(u"Looking for ideas in today's captures…"_s);
    const auto onWait = [&steps] {
        steps.begin(u"Another Lumbro looks through the day; waiting for its ideas…"_s);
    };
    const auto found = co_await services.dailyIdeas().run(services.clock().now(), true, cancel, onWait);
    steps.end();
    const PillMode shown = services.model().pill().mode();
    const bool isNothing = !found && found.error().kind == FailureKind::notFound;
    if (!found && !isNothing) {
        const bool cancelled = found.error().kind == FailureKind::cancelled;
        co_return cancelled ? output.fail(u"The run was cancelled; nothing was filed."_s)
                            : output.fail(found.error());
    }
    const QList<DailyIdea> ideas = shownIdeas(shown);
    if (context.arguments.wantsJson()) {
        output.printJson(ideasJson(ideas));
    } else if (ideas.isEmpty()) {
        output.say(messageOf(shown));
    } else {
        output.print(ideasText(output, ideas));
    }
    co_return 0;
}

}  // namespace lumbro::cli
