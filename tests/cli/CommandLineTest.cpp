#include "cli/CommandTable.h"
#include "tests/cli/CommandLine.h"

#include <array>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace lumbro;
using namespace lumbro::test;

namespace {

QStringList words(std::string_view name) {
    return QString::fromUtf8(name.data(), qsizetype(name.size())).split(u' ');
}

}  // namespace

TEST(CommandLine, explainsItselfAndEveryCommand) {
    const CommandLine line;
    const Finished program = line.run({u"--help"_s});
    EXPECT_EQ(program.status, 0);
    EXPECT_EQ(line.run({u"--version"_s}).output, u"lumbro 0.1.0\n"_s);
    for (const cli::CommandInfo& command : cli::commandTable()) {
        const Finished help = line.run(words(command.name) + QStringList{u"--help"_s});
        EXPECT_EQ(help.status, 0) << command.name;
        EXPECT_TRUE(help.output.startsWith(cli::usageLine(command))) << command.name;
        EXPECT_TRUE(help.output.contains(u"example:\n  lumbro "_s + words(command.name).join(u' ')))
            << command.name;
        EXPECT_TRUE(help.errors.isEmpty()) << command.name;
        EXPECT_TRUE(program.output.contains(words(command.name).first())) << command.name;
    }
    EXPECT_FALSE(line.home().has(u"Quillet"_s));
    const Finished group = line.run({u"chats"_s});
    EXPECT_EQ(group.status, 0);
    EXPECT_TRUE(group.output.contains(u"\n  chats import "_s) && group.output.contains(u"\n  chats read "_s));
    struct Row {
        QStringList arguments;
        QString says;
    };
    const Row rows[] = {
        {{u"chats"_s, u"write"_s}, u"lumbro: There is no command \"chats write\"."_s},
        {{u"chats"_s, u"--json"_s}, u"lumbro: Say which of the commands of \"chats\" you mean."_s},
    };
    for (const Row& row : rows) {
        const Finished refused = line.run(row.arguments);
        EXPECT_EQ(refused.status, 2);
        EXPECT_EQ(refused.errors, row.says + u"\n`lumbro chats --help` lists them.\n"_s);
        EXPECT_TRUE(refused.output.isEmpty());
    }
}

TEST(CommandLine, refusesWrongUsageWithStatusTwoAndTheUsageLine) {
    const CommandLine line;
    const QList<QStringList> wrong{{u"captures"_s, u"--wrong"_s},
                                   {u"captures"_s, u"more"_s},
                                   {u"show"_s},
                                   {u"settings"_s, u"set"_s, u"aiProvider"_s},
                                   {u"import"_s},
                                   {u"captures"_s, u"--limit"_s, u"0"_s},
                                   {u"record"_s, u"--kind"_s, u"song"_s},
                                   {u"record"_s, u"--mic"_s, u"file:"_s},
                                   {u"log"_s, u"-f"_s, u"--json"_s},
                                   {u"show"_s, u"last"_s, u"--transcript"_s, u"--notes"_s},
                                   {u"show"_s, u"last"_s, u"--notes"_s, u"--handoff"_s, u"x"_s},
                                   {u"engine-run"_s, u"notes"_s}};
    for (const QStringList& arguments : wrong) {
        const Finished finished = line.run(arguments);
        EXPECT_EQ(finished.status, 2) << qPrintable(arguments.join(u' '));
        EXPECT_TRUE(finished.output.isEmpty());
        EXPECT_TRUE(finished.errors.contains(u"usage: lumbro "_s + arguments.first()))
            << qPrintable(finished.errors);
    }
    EXPECT_EQ(line.run({u"nonsense"_s}).status, 2);
    EXPECT_EQ(line.run({u"record"_s, u"--fast"_s}).status, 2);
    EXPECT_EQ(line.run({u"import"_s, CommandLine::demoSide(u"me"_s), u"--at"_s, u"soon"_s}).status, 2);
}

TEST(CommandLine, refusesADateThatItCannotRead) {
    CommandLine line;
    line.set(u"LUMBRO_NOW"_s, u"noon"_s);
    for (const QStringList& arguments : {QStringList{u"captures"_s}, {u"devices"_s}, {}}) {
        const Finished finished = line.run(arguments);
        EXPECT_EQ(finished.status, 2);
        EXPECT_TRUE(finished.errors.startsWith(u"lumbro: LUMBRO_NOW takes a date"_s));
        EXPECT_EQ(finished.errors.count(u'\n'), 1);
    }
}

TEST(CommandLine, saysThatALibraryCannotBe) {
    CommandLine line;
    line.home().write(u"file"_s, "x");
    line.addCapture(u"2026-03-02-0914-meeting"_s, "One", "2026-03-02T08:14:00Z");
    for (const QString& root : {u"/proc/nohome/Quillet"_s, line.home().path(u"file"_s)}) {
        line.set(u"QUILLET_ROOT"_s, root);
        const QList<QStringList> commands{{},
                                          {u"captures"_s},
                                          {u"show"_s, u"last"_s},
                                          {u"engines"_s},
                                          {u"voices"_s},
                                          {u"import"_s, CommandLine::demoSide(u"me"_s)}};
        for (const QStringList& arguments : commands) {
            const Finished finished = line.run(arguments);
            EXPECT_EQ(finished.status, 1) << qPrintable(arguments.join(u' '));
            EXPECT_TRUE(finished.errors.startsWith(u"lumbro: The library "_s + root))
                << qPrintable(finished.errors);
            EXPECT_EQ(finished.errors.count(u'\n'), 1) << qPrintable(finished.errors);
        }
    }
}

TEST(CommandLine, failsWithOneSentenceThatSaysWhatToDo) {
    CommandLine line;
    line.addCapture(u"2026-03-02-0914-meeting"_s, "One", "2026-03-02T08:14:00Z");
    line.addCapture(u"2026-03-02-1014-meeting"_s, "Two", "2026-03-02T09:14:00Z");
    struct Row {
        QStringList arguments;
        QString says;
    };
    const QList<Row> rows{
        {{u"show"_s, u"nothing"_s}, u"There is no capture \"nothing\"; `lumbro captures` lists them all."_s},
        {{u"show"_s, u"../engines"_s}, u"There is no capture"_s},
        {{u"show"_s, u""_s}, u"There is no capture"_s},
        {{u"delete"_s, u"2026-03"_s}, u"2 captures begin with \"2026-03\""_s},
        {{u"rename"_s, u"last"_s, u"  "_s}, u"A title needs at least one letter."_s},
        {{u"show"_s, u"last"_s, u"--transcript"_s}, u"has no transcript"_s},
        {{u"show"_s, u"last"_s, u"--handoff"_s, u"notes"_s}, u"`lumbro engine-run notes 2026-03-02-1014"_s},
        {{u"engines"_s, u"show"_s, u"nothing"_s}, u"`lumbro engines` lists them all"_s},
        {{u"engine-run"_s, u"nothing"_s, u"last"_s}, u"`lumbro engines` lists them all"_s},
        {{u"settings"_s, u"set"_s, u"dailyIdeasMinute"_s, u"noon"_s}, u"takes a whole number"_s},
        {{u"settings"_s, u"set"_s, u"aiProvider"_s, u"gpt"_s}, u"takes claude or codex, not \"gpt\"."_s},
        {{u"settings"_s, u"set"_s, u"speechModel"_s, u"nonsense"_s}, u"`lumbro speech list` names"_s},
        {{u"settings"_s, u"set"_s, u"nothing"_s, u"-5"_s}, u"nothing"_s},
        {{u"settings"_s, u"get"_s, u"nothing"_s}, u"`lumbro settings list` names them all"_s},
        {{u"import"_s, u"/nothing.wav"_s}, u"nothing.wav"_s},
        {{u"speech"_s, u"use"_s, u"nothing"_s}, u"\"nothing\" is not installed; `lumbro speech list`"_s},
        {{u"speech"_s, u"use"_s, u"base.en"_s}, u"`lumbro speech install base.en` fetches it"_s},
        {{u"speech"_s, u"install"_s, u"nothing"_s}, u"\"nothing\"; `lumbro speech list` names them all"_s},
        {{u"speech"_s, u"import"_s, u"/etc/passwd"_s}, u"give a model file of whisper.cpp"_s},
        {{u"devices"_s}, u"audio"_s}};
    for (const Row& row : rows) {
        const Finished finished = line.run(row.arguments);
        const QString name = row.arguments.join(u' ');
        EXPECT_EQ(finished.status, 1) << qPrintable(name);
        EXPECT_TRUE(finished.output.isEmpty()) << qPrintable(name);
        EXPECT_TRUE(finished.errors.startsWith(u"lumbro: "_s)) << qPrintable(finished.errors);
        EXPECT_EQ(finished.errors.count(u'\n'), 1) << qPrintable(finished.errors);
        EXPECT_TRUE(finished.errors.contains(row.says)) << qPrintable(finished.errors);
    }
}

TEST(CommandLine, endsQuietlyWhenItsReaderHasGone) {
    const CommandLine line;
    for (int i = 10; i < 60; ++i) {
        line.addCapture(u"2026-03-02-09%1-meeting"_s.arg(i), QByteArray(4000, 'x'), "2026-03-02T08:14:00Z");
    }
    QProcess shell;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, line.home().path());
    shell.setProcessEnvironment(environment);
    shell.start(u"/bin/bash"_s,
                {u"-c"_s, u"set -o pipefail; %1 captures | head -1"_s.arg(CommandLine::program())});
    shell.waitForFinished(-1);
    EXPECT_EQ(shell.exitCode(), 0);
    EXPECT_TRUE(shell.readAllStandardError().isEmpty());
}

TEST(CommandLine, saysWhenItsResultIsLost) {
    const CommandLine line;
    for (const QString& command : {u"settings"_s, u"settings --json"_s, u"--help"_s, u"captures --help"_s}) {
        QProcess shell;
        shell.start(u"/bin/bash"_s, {u"-c"_s, u"HOME=%1 %2 %3 > /dev/full"_s.arg(
                                                  line.home().path(), CommandLine::program(), command)});
        shell.waitForFinished(-1);
        const QByteArray errors = shell.readAllStandardError();
        EXPECT_EQ(shell.exitCode(), 1) << qPrintable(command);
        EXPECT_TRUE(errors.startsWith("lumbro: The result can't be written: ")) << errors.constData();
        EXPECT_EQ(errors.count('\n'), 1) << errors.constData();
    }
}

TEST(CommandLine, putsSomethingInThePlaceOfClosedOutputs) {
    const CommandLine line;
    QProcess shell;
    shell.start(u"/bin/bash"_s, {u"-c"_s, u"HOME=%1 %2 settings list <&- >&- 2>&-"_s.arg(
                                              line.home().path(), CommandLine::program())});
    shell.waitForFinished(-1);
    // Without a stand-in the result would reach a file that was given the number.
    EXPECT_EQ(shell.exitCode(), 1);
    EXPECT_TRUE(shell.readAllStandardOutput().isEmpty());
}

TEST(CommandLine, waitsForAReaderWhosePipeDoesNot) {
    const CommandLine line;
    for (int i = 10; i < 60; ++i) {
        line.addCapture(u"2026-03-02-09%1-meeting"_s.arg(i), QByteArray(4000, 'x'), "2026-03-02T08:14:00Z");
    }
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
    const QByteArray full(16 * 1024 * 1024, ' ');
    ASSERT_GT(write(ends[1], full.constData(), size_t(full.size())), 0);
    QProcess program;
    program.setProcessEnvironment(line.environment());
    program.setChildProcessModifier([out = ends[1]] { dup2(out, STDOUT_FILENO); });
    program.start(CommandLine::program(), {u"captures"_s, u"--json"_s});
    ASSERT_TRUE(program.waitForStarted());
    close(ends[1]);
    fcntl(ends[0], F_SETFL, 0);
    QFile reader;
    ASSERT_TRUE(reader.open(ends[0], QIODevice::ReadOnly, QFileDevice::AutoCloseHandle));
    const QByteArray result = reader.readAll().trimmed();
    program.waitForFinished(-1);
    EXPECT_EQ(program.exitCode(), 0) << program.readAllStandardError().constData();
    EXPECT_EQ(json::array(result).size(), 50);
}

TEST(CommandLine, listsReadsAndChangesSettings) {
    const CommandLine line;
    EXPECT_EQ(line.run({u"settings"_s, u"list"_s, u"--json"_s}).object().value(u"dailyIdeasMinute"_s).toInt(),
              1020);
    EXPECT_EQ(line.run({u"settings"_s, u"set"_s, u"meetingPrepEnabled"_s, u"off"_s}).status, 0);
    EXPECT_EQ(line.run({u"settings"_s, u"get"_s, u"meetingPrepEnabled"_s}).output, u"false\n"_s);
    EXPECT_EQ(line.run({u"settings"_s, u"--json"_s}).object().value(u"meetingPrepEnabled"_s).toBool(true),
              false);
    EXPECT_TRUE(line.home().has(u".config/Lumbro/Lumbro.ini"_s));
}

TEST(CommandLine, saysOnceThatSettingsCannotBeReadAndKeepsThemBesideTheNewOnes) {
    const CommandLine line;
    const QByteArray broken("\x7f garbage\n\0\1\n", 13);
    line.home().write(u".config/Lumbro/Lumbro.ini"_s, broken);
    for (const QStringList& words : {QStringList{u"settings"_s}, QStringList{u"engines"_s},
                                     QStringList{u"settings"_s, u"set"_s, u"aiProvider"_s, u"codex"_s}}) {
        const Finished run = line.run(words);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.errors.count(u"note: The settings file "_s), words.value(0) == u"settings")
            << qPrintable(run.errors);
    }
    EXPECT_EQ(line.home().read(u".config/Lumbro/Lumbro.ini.broken"_s), broken);
    EXPECT_FALSE(line.run({u"settings"_s}).errors.contains(u"note: "_s));
}

TEST(CommandLine, examinesTheAgentsAndTheUsersOwnCommand) {
    const CommandLine line;
    line.installAgent();
    ASSERT_EQ(line.run({u"settings"_s, u"set"_s, u"customCommand"_s, u"/nothing/here -x"_s}).status, 0);
    const QString doctor = line.run({u"doctor"_s, u"--json"_s}).output;
    EXPECT_TRUE(doctor.contains(u"There is no program \\\"/nothing/here\\\""_s)) << qPrintable(doctor);
    EXPECT_TRUE(doctor.contains(line.home().path(u".local/bin/claude"_s))) << qPrintable(doctor);
}

TEST(CommandLine, printsTheEndOfTheLog) {
    CommandLine line;
    line.set(u"TZ"_s, u"Asia/Kolkata"_s);
    const QString log = u"Library/Logs/Quillet/handoff.log"_s;
    line.home().write(
        log, "2026-03-02 09:14:05.001 INFO [capture] one\n2026-03-02 09:14:06.001 ERROR [ask] two\n");
    EXPECT_TRUE(line.run({u"log"_s, u"--lines"_s, u"1"_s}).output.endsWith(u"ERROR [ask] two\n"_s));
    EXPECT_EQ(line.run({u"log"_s, u"-n"_s, u"1"_s}).output.count(u'\n'), 1);
    const QJsonArray lines = line.run({u"log"_s, u"--json"_s}).array();
    ASSERT_EQ(lines.size(), 2);
    EXPECT_EQ(lines.at(1).toObject().value(u"tag"_s).toString(), u"ask"_s);
    EXPECT_EQ(lines.at(1).toObject().value(u"time"_s).toString(), u"2026-03-02T03:44:06Z"_s);
    line.home().write(log, "2026-03-02 09:14:05.001 INFO [capture] one\n  more\n\nend\n");
    EXPECT_EQ(line.run({u"log"_s, u"--json"_s}).array().at(0).toObject().value(u"message"_s),
              u"one\n  more\n\nend"_s);
}
