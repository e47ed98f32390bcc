#include "runners/CommandProvider.h"

#include "LumbroCore/ShellWords.h"
#include "runners/AgentFailure.h"
#include "runners/AgentProcess.h"
#include "runners/AgentText.h"
#include "runners/ExecutableSearch.h"

#include <QDir>
#include <QStringDecoder>
#include <QStringList>

#include <memory>
#include <utility>

namespace lumbro {

namespace {

// What one variable may be with its name, "=" and the ending zero byte.
constexpr qsizetype longestVariable = qsizetype(128) * 1024;

void insertIfItFits(QProcessEnvironment& environment, const QString& name, const QString& value) {
    const QString valid = agents::argument(value);
    if (name.size() + valid.toUtf8().size() + 2 <= longestVariable) {
        environment.insert(name, valid);
    }
}

Result<ChildCommand> commandFor(const AgentRequest& request, const QString& commandLine) {
    const auto split = shellWords(commandLine);
    if (!split) {
        return fail(u"The setting customCommand has a quote that isn't closed, or ends in \\; mend it."_s);
    }
    QStringList words = *split;
    if (words.isEmpty() || words.first().isEmpty()) {
        return fail(u"The setting customCommand doesn't name a program."_s);
    }
    QString program = words.takeFirst();
    if (program.startsWith(u"~/")) {
        program = QDir::homePath() + program.sliced(1);
    }
    QString folder = request.workingDirectory;
    if (folder.isEmpty()) {
        const auto scratch = scratchFolder(u"quillet-command"_s);
        if (!scratch) {
            return std::unexpected(scratch.error());
        }
        folder = *scratch;
    }
    auto environment = QProcessEnvironment::systemEnvironment();
    insertIfItFits(environment, u"LUMBRO_SYSTEM_PROMPT"_s, request.systemPrompt);
    insertIfItFits(environment, u"LUMBRO_INSTRUCTION"_s, request.instruction);
    insertIfItFits(environment, u"LUMBRO_MODEL"_s, request.model);
    const QString input =
        QStringList{request.systemPrompt, request.instruction, request.context}.join(u"\n\n"_s);
    return ChildCommand{.program = program,
                        .arguments = words,
                        .workingDirectory = folder,
                        .environment = environment,
                        .input = input.toUtf8(),
                        .mayBeKilled = true};
}

Result<QString> judge(const AgentEnd& end) {
    if (end.exit.truncated) {
        return fail(u"Your command printed more than 64 MB, which can't be an answer."_s);
    }
    const QString answer = QString::fromUtf8(end.exit.output).trimmed();
    const bool hasFailed = end.exit.bySignal || end.exit.status != 0;
    if (!hasFailed && !answer.isEmpty()) {
        return answer;
    }
    if (end.isTimeUp) {
        return fail(FailureKind::timedOut, u"Your command took too long. Try again."_s);
    }
    const QString errors = agents::reasonText(end.exit.errors);
    if (errors.isEmpty() && end.exit.bySignal) {
        return fail(u"Your command was ended by signal %1."_s.arg(end.exit.status));
    }
    const QString reason = errors.isEmpty() ? agents::reasonText(end.exit.output) : errors;
    if (!reason.isEmpty()) {
        auto failure = agents::classify(reason);
        // The sentence for Claude's own log-in would send the user to the wrong program.
        failure.message = agents::shown(reason, 240);
        return std::unexpected(failure);
    }
    return hasFailed ? fail(u"Your command failed with status %1."_s.arg(end.exit.status))
                     : fail(u"Your command gave no answer."_s);
}

/// Hands on what the command prints, as text.
AgentOutput printedText(const AgentRequest& request) {
    if (!request.onText) {
        return {};
    }
    const auto decoder = std::make_shared<QStringDecoder>(QStringDecoder::Utf8);
    return [onText = request.onText, decoder, isNew = true](const QByteArray& piece) mutable {
        const QString text = decoder->decode(piece);
        if (!text.isEmpty()) {
            onText(text, std::exchange(isNew, false));
        }
        return AgentWish::goOn;
    };
}

Task<Result<QString>> runCommand(Clock& clock, QString commandLine, AgentRequest request,
                                 std::shared_ptr<CancellationHandle> cancel) {
    auto command = commandFor(request, commandLine);
    if (!command) {
        co_return std::unexpected(command.error());
    }
    request.context.clear();
    const QString program = command->program;
    const auto end =
        co_await runAgentProcess(std::move(*command), clock, request.timeout, cancel, printedText(request));
    if (cancel && cancel->isCancelled) {
        co_return std::unexpected(agents::cancelled());
    }
    if (!end) {
        co_return agents::explained(u"customCommand"_s,
                                    fail(u"Couldn't start %1: %2"_s.arg(program, end.error().message)));
    }
    co_return agents::explained(u"customCommand"_s, judge(*end), end->exit);
}

}  // namespace

CommandProvider::CommandProvider(Clock& clock, QString commandLine)
    : m_clock(clock), m_commandLine(std::move(commandLine)) {}

Task<Result<QString>> CommandProvider::run(AgentRequest request, std::shared_ptr<CancellationHandle> cancel) {
    return runCommand(m_clock, m_commandLine, std::move(request), std::move(cancel));
}

}  // namespace lumbro
