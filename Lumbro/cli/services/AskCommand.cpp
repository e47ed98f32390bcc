#include "cli/services/AskCommand.h"

#include "LumbroCore/NextSignal.h"
#include "app/QuitSignals.h"
#include "app/Services.h"
#include "ask/AskService.h"
#include "cli/AskCommands.h"
#include "cli/AskJson.h"
#include "cli/AskText.h"
#include "cli/CaptureLookup.h"
#include "cli/OpenMemory.h"
#include "cli/ScopeLookup.h"
#include "cli/StandardInput.h"
#include "cli/services/LiveAnswer.h"
#include "library/ContextLibrary.h"

#include <QStringDecoder>

#include <cstdio>

namespace lumbro::cli {

namespace {

constexpr qint64 longestQuestion = qint64(1024) * 1024;

Result<QString> readQuestion(const QString& argument) {
    if (argument != u"-") {
        return argument.trimmed();
    }
    const auto bytes = readStandardInput(longestQuestion);
    if (!bytes) {
        return fail(u"The question can't be read from standard input."_s);
    }
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(*bytes);
    if (decoder.hasError() || bytes->size() > longestQuestion) {
        return fail(u"The question on standard input is no text, or longer than 1 MB."_s);
    }
    return text.trimmed();
}

/// Puts together what is asked, with everything that the command line names looked up.
Result<AskQuestion> questionFrom(Services& services, const Arguments& arguments, const QString& text,
                                 const AskScope& scope) {
    AskQuestion question;
    question.question = text;
    if (const auto id = arguments.value("engine")) {
        question.engine = services.library().engine(*id);
        if (!question.engine) {
            return fail(u"There is no engine \"%1\"; `lumbro engines` lists them all."_s.arg(*id));
        }
        question.question = text.isEmpty() ? question.engine->name : text;
    }
    if (const auto id = arguments.value("thread")) {
        const auto thread = findThread(services.ask().threads(), *id);
        if (!thread) {
            return std::unexpected(thread.error());
        }
        question.thread = thread->id;
    }
    const auto found = findScope(services.library().capturesFolder(), services.memory(), scope);
    if (!found) {
        return std::unexpected(found.error());
    }
    question.scope = *found;
    return question;
}

/// A thread's subject is settled by its first question.
void tellScope(Output& output, const AskService& service, const AskQuestion& question) {
    const auto thread = service.thread(question.thread);
    if (thread && thread->scope && *thread->scope != question.scope) {
        output.say(u"The conversation stays about %1; --scope is for new ones."_s.arg(
            Output::clean(thread->scope->token())));
    }
}

/// `isKept` tells that the conversation can go on.
int printAnswer(Output& output, const Arguments& arguments, LiveAnswer& live, const AskAnswer& answer,
                bool isKept) {
    if (arguments.wantsJson()) {
        live.giveUp();
        output.printJson(askJson(answer));
        return 0;
    }
    live.finish(answer.text);
    if (answer.action) {
        output.printLine(output.styled(u"Prepared for "_s + Output::clean(*answer.action), Look::dim));
    }
    const QString sources = sourcesText(output, answer.sources);
    output.print(sources.isEmpty() ? QString() : u'\n' + sources);
    if (isKept) {
        output.say(output.styledError(
            u"Go on with: lumbro ask --thread %1 QUESTION"_s.arg(Output::clean(answer.thread)), Look::dim));
    }
    return 0;
}

/// Asks and waits until the agent's process has gone. Nothing when the question was cancelled.
Task<std::optional<Result<AskAnswer>>> askAndWait(AskService& service, AskQuestion question) {
    std::optional<Result<AskAnswer>> outcome;
    question.onAnswer = [&outcome](const AskAnswer& answer) { outcome = answer; };
    question.onError = [&outcome](const Failure& failure) { outcome = std::unexpected(failure); };
    const QString id = service.ask(question);
    const QuitSignals interrupts;
    QObject::connect(&interrupts, &QuitSignals::quitRequested, &service,
                     [&service, id] { service.cancel(id); });
    while (service.isRunning(id)) {
        co_await nextSignal(&service, &AskService::ended);
    }
    co_return outcome;
}

Task<int> askAndPrint(Services& services, AskQuestion question, CommandContext context) {
    Output& output = context.output;
    // The answer will know nothing of these.
    sayFaults(output, services.memory(), MemoryPart::all, false);
    LiveAnswer live(output, services.clock(), u"Thinking…"_s);
    if (output.isTerminal() && !context.arguments.wantsJson()) {
        question.onText = [&live](const QString& piece, bool isNew) { live.add(piece, isNew); };
    }
    live.begin();
    const auto outcome = co_await askAndWait(services.ask(), question);
    if (!outcome || !*outcome) {
        live.giveUp();
        co_return outcome ? output.fail(outcome->error())
                          : output.fail(u"The question was given up; nothing was kept."_s);
    }
    const AskAnswer& answer = **outcome;
    const QString unsaved = services.ask().saveFailure(answer.thread);
    const int status = printAnswer(output, context.arguments, live, answer, unsaved.isEmpty());
    co_return unsaved.isEmpty() ? status : output.fail(u"The answer was not kept: "_s + unsaved);
}

}  // namespace

Task<int> ask(CommandContext context) {
    Output& output = context.output;
    const Arguments& arguments = context.arguments;
    const auto text = readQuestion(arguments.at(0));
    if (!text) {
        co_return output.fail(text.error());
    }
    if (text->isEmpty() && !arguments.has("engine")) {
        output.fail(u"There is no question; give one, or - to read it from standard input."_s);
        co_return wrongUsage;
    }
    const auto scope = AskScope::fromToken(arguments.value("scope").value_or(u"library"_s));
    if (!scope) {
        output.fail(
            u"\"%1\" is no scope; give library, capture:ID, person:SLUG, company:DOMAIN or project:SLUG."_s
                .arg(*arguments.value("scope")));
        co_return wrongUsage;
    }
    Services services;
    if (const auto usable = checkLibrary(services.library().root(), LibraryUse::write); !usable) {
        co_return output.fail(usable.error());
    }
    services.library().open();
    AskService& service = services.ask();
    service.reload();
    auto question = questionFrom(services, arguments, *text, *scope);
    if (!question) {
        co_return output.fail(question.error());
    }
    if (arguments.has("scope")) {
        tellScope(output, service, *question);
    }
    co_return co_await askAndPrint(services, *question, context);
}

}  // namespace lumbro::cli
