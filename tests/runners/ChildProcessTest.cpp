#include "LumbroCore/ChildProcess.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/Wait.h"

#include <cerrno>
#include <csignal>

#include <gtest/gtest.h>
#include <sys/types.h>

using namespace lumbro;
using namespace std::chrono_literals;

namespace {

ChildCommand shell(const QString& script, const QByteArray& input = {}) {
    return {.program = u"/bin/sh"_s, .arguments = {u"-c"_s, script}, .input = input};
}

Result<ChildExit> runShell(const QString& script, const QByteArray& input = {}) {
    ChildProcess child(shell(script, input));
    return test::wait(child.run());
}

bool isAlive(pid_t pid) {
    return ::kill(pid, 0) == 0 || errno != ESRCH;
}

}  // namespace

TEST(ChildProcess, giveWhatTheChildWroteAndHowItEnded) {
    struct Row {
        const char* name;
        const char* script;
        QByteArray input;
        int status;
        bool bySignal;
        QByteArray output;
        QByteArray errors;
    };
    const QByteArray large(3'000'000, 'x');
    const Row rows[] = {
        {"status", "exit 7", "", 7, false, "", ""},
        {"both outputs", "echo out; echo err >&2", "", 0, false, "out\n", "err\n"},
        {"our environment", "test -n \"$HOME\" && echo home", "", 0, false, "home\n", ""},
        {"stdin is closed when it is empty", "cat; echo end", "", 0, false, "end\n", ""},
        {"input larger than a pipe comes back whole", "cat", large, 0, false, large, ""},
        {"input that nobody reads", "exec <&-; echo done", large, 0, false, "done\n", ""},
        {"a signal from outside", "kill -9 $$", "", SIGKILL, true, "", ""},
        {"the child has its own broken pipe signal", "kill -PIPE $$", "", SIGPIPE, true, "", ""},
        {"output right before the end is not lost", "head -c 60000 /dev/zero | tr '\\0' y", "", 0, false,
         QByteArray(60000, 'y'), ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const auto exit = runShell(QString::fromLatin1(row.script), row.input);
        ASSERT_TRUE(exit.has_value());
        EXPECT_EQ(exit->status, row.status);
        EXPECT_EQ(exit->bySignal, row.bySignal);
        EXPECT_TRUE(exit->output == row.output) << exit->output.size();
        EXPECT_EQ(exit->errors, row.errors);
        EXPECT_FALSE(exit->truncated);
    }
}

TEST(ChildProcess, aFailureToStartResolvesWithTheReason) {
    const test::ScratchFolder folder;
    folder.write(u"plain"_s, "no program");
    const ChildCommand commands[] = {
        {.program = folder.path(u"absent"_s)},
        {.program = folder.path(u"plain"_s)},
        {.program = QString()},
        {.program = u"/bin/sh"_s, .workingDirectory = folder.path(u"nowhere"_s)},
        {.program = u"/bin/echo"_s, .arguments = {QString(200 * 1024, u'x')}},
    };
    for (const ChildCommand& command : commands) {
        ChildProcess child(command);
        const auto exit = test::wait(child.run());
        ASSERT_FALSE(exit.has_value()) << qPrintable(command.program);
        EXPECT_FALSE(exit.error().message.isEmpty());
        EXPECT_FALSE(child.isRunning());
    }
}

TEST(ChildProcess, callbacksSeeTheStartAndEachPiece) {
    ChildProcess child(shell(u"echo one; read line; echo $line"_s, "two\n"));
    int starts = 0;
    QByteArray seen;
    child.onStarted = [&] { ++starts; };
    child.onOutput = [&](const QByteArray& piece) { seen += piece; };
    ASSERT_TRUE(test::wait(child.run()).has_value());
    EXPECT_EQ(starts, 1);
    EXPECT_EQ(seen, "one\ntwo\n");
}

TEST(ChildProcess, outputBeyondTheCapIsDrainedAndDropped) {
    ChildCommand command = shell(u"head -c 2000000 /dev/zero; head -c 2000000 /dev/zero >&2; exit 3"_s);
    command.keptBytes = 1000;
    ChildProcess child(command);
    const auto exit = test::wait(child.run());
    ASSERT_TRUE(exit.has_value());
    EXPECT_EQ(exit->status, 3);
    EXPECT_EQ(exit->output.size(), 1000);
    EXPECT_EQ(exit->errors.size(), 1000);
    EXPECT_TRUE(exit->truncated);
}

TEST(ChildProcess, terminateIsPoliteAndTheChildMayTakeItsTime) {
    ChildProcess child(shell(u"trap 'echo bye; exit 143' TERM; echo ready; while :; do sleep 0.05; done"_s));
    child.onOutput = [&](const QByteArray& piece) {
        if (piece.contains("ready")) {
            child.terminate();
        }
    };
    const auto exit = test::wait(child.run());
    ASSERT_TRUE(exit.has_value());
    EXPECT_FALSE(exit->bySignal);
    EXPECT_EQ(exit->status, 143);
    EXPECT_EQ(exit->output, "ready\nbye\n");
}

TEST(ChildProcess, aGrandchildWithThePipesDoesNotHoldUs) {
    const auto exit = runShell(u"sleep 1000 & echo $!"_s);
    ASSERT_TRUE(exit.has_value());
    const pid_t grandchild = exit->output.trimmed().toInt();
    ASSERT_GT(grandchild, 1);
    EXPECT_TRUE(isAlive(grandchild));
    ::kill(grandchild, SIGTERM);
}

TEST(ChildProcess, lettingGoAsksTheChildToEndWithoutWaiting) {
    const test::ScratchFolder folder;
    ChildCommand command = shell(QString());
    command.arguments = {u"-c"_s,
                         u"trap 'asked=1' TERM; echo $$ > pid.new; mv pid.new pid; "
                         "while [ -z \"$asked\" ] || [ ! -e stop ]; do sleep 0.02; done; "
                         "head -c 500000 /dev/zero; echo over > end.new; mv end.new end"_s};
    command.workingDirectory = folder.path();
    auto child = std::make_unique<ChildProcess>(command);
    int pieces = 0;
    child->onOutput = [&](const QByteArray&) { ++pieces; };
    std::optional<Result<ChildExit>> outcome;
    child->run().then([&](Result<ChildExit> exit) { outcome = std::move(exit); });
    ASSERT_TRUE(test::eventually([&] { return folder.has(u"pid"_s); }));

    child.reset();
    EXPECT_TRUE(isAlive(folder.read(u"pid"_s).trimmed().toInt()));
    EXPECT_FALSE(outcome.has_value());

    // Its output is still drained, or it would never reach its end.
    folder.write(u"stop"_s, "");
    ASSERT_TRUE(test::eventually([&] { return outcome.has_value(); }));
    EXPECT_TRUE(folder.has(u"end"_s));
    EXPECT_EQ(pieces, 0);
    // Reaped: nothing answers to the number any more, not even a zombie.
    EXPECT_FALSE(isAlive(folder.read(u"pid"_s).trimmed().toInt()));
}

TEST(ChildProcess, noDescriptorOfOneChildLeaksIntoAnother) {
    const test::ScratchFolder folder;
    const auto openDescriptors = [] { return runShell(u"ls /proc/self/fd | wc -l"_s)->output.trimmed(); };
    const QByteArray alone = openDescriptors();

    // The first child doesn't read yet, so all three of its pipes are open on our side.
    ChildProcess waiting(shell(u"while [ ! -e '%1' ]; do sleep 0.02; done; wc -c"_s.arg(folder.path(u"go"_s)),
                               QByteArray(1'000'000, 'x')));
    std::optional<Result<ChildExit>> first;
    waiting.run().then([&](Result<ChildExit> exit) { first = std::move(exit); });
    EXPECT_EQ(openDescriptors(), alone);

    folder.write(u"go"_s, "");
    ASSERT_TRUE(test::eventually([&] { return first.has_value(); }));
    EXPECT_EQ((*first)->output.trimmed(), "1000000");
}
