#include "cli/Runner.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"

#include <QCoreApplication>

#include <algorithm>
#include <csignal>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumbro::cli {

namespace {

// The status of a command that ended before the event loop ran is kept here, as a loop that has not begun
// cannot be left.
struct Ending {
    bool isOver = false;
    int status = 0;
};

Task<> drive(CommandFunction function, CommandContext context, Ending& ending) {
    const Output& output = context.output;
    ending.status = output.finalStatus(co_await function(std::move(context)));
    ending.isOver = true;
    QCoreApplication::exit(ending.status);
}

bool asksForHelp(const QStringList& words) {
    const qsizetype end = words.indexOf(u"--"_s);
    const QStringList before = end < 0 ? words : words.first(end);
    return before.contains(u"--help"_s) || before.contains(u"-h"_s);
}

int refuse(Output& output, const QString& sentence, const QString& hint) {
    output.fail(sentence);
    output.say(hint);
    return wrongUsage;
}

/// The first word is that of several commands, and the rest names none of them.
int refuseGroup(Output& output, const QStringList& words) {
    const QString& group = words.first();
    const bool namesOne = !words.at(1).startsWith(u'-');
    return refuse(output,
                  namesOne ? u"There is no command \"%1 %2\"."_s.arg(group, words.at(1))
                           : u"Say which of the commands of \"%1\" you mean."_s.arg(group),
                  u"`lumbro %1 --help` lists them."_s.arg(group));
}

const CommandEntry* findEntry(std::span<const CommandEntry> entries, std::string_view name) {
    const auto found = std::ranges::find(entries, name, &CommandEntry::name);
    return found == entries.end() ? nullptr : &*found;
}

int runOnLoop(int& argc, char** argv, CommandFunction function, CommandContext context) {
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"Lumbro"_s);
    Ending ending;
    const Task<> task = drive(function, std::move(context), ending);
    const int status = ending.isOver ? ending.status : QCoreApplication::exec();
    AppLog::flush();
    return status;
}

}  // namespace

void prepareProcess() {
    // A file opened later must not get the number of an output, since what is said would go into it. Nothing
    // can be written to what stands there instead, so that a result without a place is told as lost.
    int descriptor = 0;
    do {
        descriptor = open("/dev/null", O_RDONLY);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    close(descriptor);
    umask(077);
    std::signal(SIGPIPE, SIG_IGN);
    // A file over the user's limit is a failed write, to be told as such.
    std::signal(SIGXFSZ, SIG_IGN);
    Settings::onDamage() = [isTold = false](const QString& sentence) mutable {
        if (!std::exchange(isTold, true)) {
            Output output;
            output.say(output.styledError(u"note:"_s, Look::bold) + u' ' + Output::clean(sentence));
        }
    };
}

bool checkEnvironment(Output& output) {
    if (qEnvironmentVariableIsEmpty("LUMBRO_NOW") || SystemClock::dateFromEnvironment().isValid()) {
        return true;
    }
    output.fail(u"LUMBRO_NOW takes a date such as 2026-03-02T09:14:05, not \"%1\"."_s.arg(
        qEnvironmentVariable("LUMBRO_NOW")));
    return false;
}

int runCommand(int& argc, char** argv, std::span<const CommandEntry> entries, int (*otherwise)(char** argv)) {
    QStringList words;
    for (int i = 1; i < argc; ++i) {
        words += QString::fromLocal8Bit(argv[i]);
    }
    Output output;
    const CommandMatch match = findCommand(words);
    if (match.command == nullptr) {
        const bool isAlone = words.size() == 1 || asksForHelp(words);
        const QString help = groupHelp(words.value(0));
        if (isAlone && !help.isEmpty()) {
            output.print(help);
            return output.finalStatus(0);
        }
        return help.isEmpty() ? refuse(output, u"There is no command \"%1\"."_s.arg(words.value(0)),
                                       u"`lumbro --help` lists the commands."_s)
                              : refuseGroup(output, words);
    }
    const QStringList rest = words.sliced(match.words);
    if (asksForHelp(rest)) {
        output.print(commandHelp(*match.command));
        return output.finalStatus(0);
    }
    const auto arguments = Arguments::parse(*match.command, rest);
    if (!arguments) {
        return refuse(output, arguments.error().message, usageLine(*match.command));
    }
    const CommandEntry* entry = findEntry(entries, match.command->name);
    if (entry == nullptr) {
        return otherwise(argv);
    }
    if (!checkEnvironment(output)) {
        return wrongUsage;
    }
    return runOnLoop(argc, argv, entry->function, {output, *arguments});
}

}  // namespace lumbro::cli
