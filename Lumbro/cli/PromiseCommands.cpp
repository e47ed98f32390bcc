#include "cli/PromiseCommands.h"

#include "actions/MailDraft.h"
#include "cli/DraftJson.h"
#include "cli/MemoryJson.h"
#include "cli/MemoryText.h"
#include "cli/OpenMemory.h"
#include "cli/PromiseFilter.h"
#include "cli/Table.h"
#include "platform/linux/desktop/DesktopMail.h"

#include <utility>

namespace lumbro::cli {

namespace {

constexpr int mostDays = 3650;

int refuse(Output& output, const QString& sentence, const QString& command) {
    output.fail(sentence);
    output.say(usageLine(*findCommand(command.split(u' ')).command));
    return wrongUsage;
}

void printSides(Output& output, const PromiseFilter& wanted, const QList<PromiseItem>& promises,
                bool withDone, QDate today) {
    qsizetype hidden = 0;
    bool isFirst = true;
    for (const PromiseSide side : {PromiseSide::mine, PromiseSide::theirs}) {
        if (side == PromiseSide::mine ? !wanted.mine : !wanted.theirs) {
            continue;
        }
        const PromiseGroups groups = PromiseGroups::of(promises, side, today);
        if (wanted.dueOnly && groups.open.isEmpty()) {
            continue;
        }
        output.print((isFirst ? u""_s : u"\n"_s) + promiseText(output, side, groups, withDone, today));
        hidden += withDone ? 0 : groups.done.size();
        isFirst = false;
    }
    if (hidden > 0) {
        output.say(output.styledError(
            u"%1 done; --all shows them."_s.arg(counted(hidden, u"promise is"_s, u"promises are"_s)),
            Look::dim));
    }
}

using Change = Task<Result<bool>> (*)(MemoryStore& memory, QString id, int days);
using Sentence = QString (*)(const PromiseItem& promise);

/// Changes one promise and prints it.
Task<int> changePromise(CommandContext context, Change change, int days, Sentence sentence) {
    Output& output = context.output;
    OpenMemory memory(LibraryUse::read, OpenMemory::Captures::unread);
    if (!memory.usable()) {
        co_return output.fail(memory.usable().error());
    }
    const auto found = findPromise(*memory, context.arguments.at(0));
    if (!found) {
        co_return output.fail(found.error());
    }
    // Of what is done nobody is reminded. Only a snooze has days.
    if (found->done && days > 0) {
        co_return output.fail(
            u"%1 is done already; `lumbro promises reopen %1` opens it again."_s.arg(found->id));
    }
    const Result<bool> changed = co_await change(*memory, found->id, days);
    if (!changed) {
        co_return output.fail(changed.error());
    }
    const auto after = findPromise(*memory, found->id);
    if (!after) {
        co_return output.fail(after.error());
    }
    if (context.arguments.wantsJson()) {
        output.printJson(memoryJson(*after, memory.today()));
    } else {
        output.printLine(Output::clean(sentence(*after)));
    }
    co_return 0;
}

}  // namespace

Task<int> promises(CommandContext context) {
    Output& output = context.output;
    const Arguments& arguments = context.arguments;
    if (arguments.has("mine") && arguments.has("theirs")) {
        co_return refuse(output, u"--mine and --theirs exclude each other; without either both are listed."_s,
                         u"promises"_s);
    }
    OpenMemory memory(LibraryUse::read, OpenMemory::Captures::unread);
    if (!memory.usable()) {
        co_return output.fail(memory.usable().error());
    }
    const bool isEmpty = memory->promises().isEmpty();
    if (isEmpty && sayFaults(output, *memory, MemoryPart::promises, true) != 0) {
        co_return 1;
    }
    const PromiseFilter wanted{!arguments.has("theirs"), !arguments.has("mine"), arguments.has("due")};
    const QDate today = memory.today();
    QList<PromiseItem> chosen = memory->promises();
    chosen.removeIf([&](const PromiseItem& promise) { return !wanted.has(promise, today); });
    if (arguments.wantsJson()) {
        QJsonArray array;
        for (const PromiseItem& promise : std::as_const(chosen)) {
            array += memoryJson(promise, today);
        }
        output.printJson(array);
    } else if (wanted.dueOnly && chosen.isEmpty()) {
        output.say(u"Nothing is due."_s);
    } else {
        printSides(output, wanted, chosen, arguments.has("all"), today);
    }
    co_return isEmpty ? 0 : sayFaults(output, *memory, MemoryPart::promises, false);
}

Task<int> promisesDone(CommandContext context) {
    return changePromise(
        std::move(context),
        [](MemoryStore& memory, QString id, int) { return memory.setPromise(std::move(id), true); }, 0,
        [](const PromiseItem& promise) { return u"%1 is done: %2"_s.arg(promise.id, promise.text); });
}

Task<int> promisesReopen(CommandContext context) {
    return changePromise(
        std::move(context),
        [](MemoryStore& memory, QString id, int) { return memory.setPromise(std::move(id), false); }, 0,
        [](const PromiseItem& promise) { return u"%1 is open: %2"_s.arg(promise.id, promise.text); });
}

Task<int> promisesSnooze(CommandContext context) {
    bool isNumber = false;
    const int days = context.arguments.at(1).toInt(&isNumber);
    if (!isNumber || days < 0 || days > mostDays) {
        co_return refuse(
            context.output,
            u"DAYS takes a number from 0, which ends a snooze, to %1, not \"%2\"."_s.arg(mostDays).arg(
                context.arguments.at(1)),
            u"promises snooze"_s);
    }
    const Sentence sentence = [](const PromiseItem& promise) {
        return u"%1 is snoozed until %2: %3"_s.arg(promise.id, promise.snoozedUntil, promise.text);
    };
    const Sentence ended = [](const PromiseItem& promise) {
        return u"%1 is no longer snoozed: %2"_s.arg(promise.id, promise.text);
    };
    co_return co_await changePromise(
        std::move(context),
        [](MemoryStore& memory, QString id, int count) { return memory.snoozePromise(std::move(id), count); },
        days, days == 0 ? ended : sentence);
}

Task<int> promisesNudge(CommandContext context) {
    Output& output = context.output;
    OpenMemory memory(LibraryUse::read, OpenMemory::Captures::read);
    if (!memory.usable()) {
        co_return output.fail(memory.usable().error());
    }
    const auto promise = findPromise(*memory, context.arguments.at(0));
    if (!promise) {
        co_return output.fail(promise.error());
    }
    if (promise->isMine() || promise->done) {
        co_return output.fail((promise->done ? u"%1 is done; there is nothing to ask for."_s
                                             : u"%1 is yours to keep; a nudge is for what others owe you."_s)
                                  .arg(promise->id));
    }
    const NudgeDraft nudge = memory->nudge(*promise);
    const EmailDraft mail{nudge.recipient ? QStringList(*nudge.recipient) : QStringList(), nudge.subject,
                          nudge.body};
    std::optional<Result<mailDraft::Opened>> opened;
    if (context.arguments.has("open")) {
        SystemClock clock;
        DesktopMail opener(clock);
        opened = co_await mailDraft::open(&opener, mail);
    }
    if (context.arguments.wantsJson()) {
        QJsonObject json = draftJson(mail);
        json[u"opened"_s] = opened && *opened;
        output.printJson(json);
    } else {
        output.print(draftText(output, mail));
    }
    if (opened && !*opened) {
        co_return output.fail(opened->error().message + u" The draft is above."_s);
    }
    if (!mail.to.isEmpty() || opened) {
        co_return 0;
    }
    output.say(u"No address of %1 is known; the field email of their page takes one."_s.arg(
        Output::clean(promise->otherName())));
    co_return 0;
}

}  // namespace lumbro::cli
