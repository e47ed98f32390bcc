#include "tests/cli/CommandLine.h"
#include "tests/cli/Terminal.h"
#include "tests/support/Wait.h"

#include <QDir>
#include <QProcess>

#include <csignal>
#include <memory>

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::test;

namespace {

const QString captureID = u"2026-03-02-0914-meeting"_s;

/// A library with one capture and one person, and an agent that knows an answer.
struct AskCommands : ::testing::Test {
    AskCommands() {
        line.installAgent();
        line.addCapture(captureID, "Weekly sync", "2026-03-02T08:14:00Z");
        line.home().write(u"Quillet/memory/people/dana-kim.md"_s, "---\nname: Dana Kim\n---\n\n# Dana Kim\n");
        line.set(u"LUMBRO_NOW"_s, u"2026-03-02T09:14:05"_s);
        line.set(
            u"FAKE_AGENT_REPLY"_s,
            u"She wants it on **Friday**.\nACTION: Reminders\nSOURCES: captures/%1/notes.md, people/dana-kim.md"_s
                .arg(captureID));
    }

    QString file(const QString& thread) const {
        return QString::fromUtf8(line.home().read(u"Quillet/asks/%1.md"_s.arg(thread)));
    }
    QJsonObject lastRun() const {
        const QByteArrayList runs = line.home().read(u"agent.log"_s).trimmed().split('\n');
        return json::object(runs.last());
    }
    /// Starts the program without waiting for it.
    std::unique_ptr<QProcess> start(const QStringList& arguments, const QByteArray& input = {}) const {
        auto process = std::make_unique<QProcess>();
        process->setProcessEnvironment(line.environment());
        process->start(CommandLine::program(), arguments);
        process->write(input);
        process->closeWriteChannel();
        return process;
    }

    CommandLine line;
};

}  // namespace

TEST_F(AskCommands, aQuestionBecomesAConversationThatGoesOn) {
    const Finished first = line.run({u"ask"_s, u"What about the draft?"_s, u"--json"_s});
    ASSERT_EQ(first.status, 0) << qPrintable(first.errors);
    const QString id = u"2026-03-02-0914-what-about-the-draft"_s;
    const QJsonArray sources{
        QJsonObject{{u"title"_s, u"Weekly sync"_s}, {u"item"_s, u"capture:"_s + captureID}},
        QJsonObject{{u"title"_s, u"Dana Kim"_s}, {u"item"_s, u"person:dana-kim"_s}}};
    EXPECT_EQ(first.object(), (QJsonObject{{u"thread"_s, id},
                                           {u"question"_s, u"What about the draft?"_s},
                                           {u"text"_s, u"She wants it on **Friday**."_s},
                                           {u"action"_s, u"reminders"_s},
                                           {u"sources"_s, sources}}));

    auto second = start({u"ask"_s, u"-"_s, u"--thread"_s, u"last"_s}, "And\nthen?\n");
    ASSERT_TRUE(second->waitForFinished());
    EXPECT_EQ(second->readAllStandardOutput(),
              "She wants it on **Friday**.\nPrepared for reminders\n\nSources:\n  Weekly sync  lumbro show " +
                  captureID.toUtf8() + "\n  Dana Kim     lumbro person dana-kim\n");
    EXPECT_EQ(second->readAllStandardError(),
              "Go on with: lumbro ask --thread " + id.toUtf8() + " QUESTION\n");
    EXPECT_TRUE(
        lastRun()
            .value(u"stdin"_s)
            .toString()
            .startsWith(
                u"QUESTION: And\nthen?\n\n## CONVERSATION SO FAR\nMe: What about the draft?\nLumbro: She"_s));
    EXPECT_TRUE(file(id).contains(
        u"\nSOURCES: captures/%1/notes.md, people/dana-kim.md\n\n### Me · "_s.arg(captureID)));

    const QJsonArray listed = line.run({u"asks"_s, u"--json"_s}).array();
    ASSERT_EQ(listed.size(), 1);
    const QJsonObject shown = line.run({u"asks"_s, u"show"_s, u"2026"_s, u"--json"_s}).object();
    EXPECT_EQ(shown, listed.at(0).toObject());
    EXPECT_EQ(shown.value(u"scope"_s), u"library"_s);
    const QJsonObject turn = shown.value(u"turns"_s).toArray().at(1).toObject();
    EXPECT_EQ(turn.value(u"question"_s), u"And\nthen?"_s);
    EXPECT_EQ(turn.value(u"sources"_s), sources);
    EXPECT_TRUE(line.run({u"asks"_s}).output.contains(id + u"  What about the draft?"_s));
    EXPECT_TRUE(line.run({u"asks"_s, u"show"_s, id}).output.contains(u"\nAnd\nthen?\n\nShe wants"_s));
    EXPECT_EQ(line.run({u"asks"_s, u"delete"_s, id}).status, 0);
    EXPECT_TRUE(line.run({u"asks"_s, u"--json"_s}).array().isEmpty());
    EXPECT_TRUE(line.home().has(u".local/share/Trash/files/%1.md"_s.arg(id)));
}

TEST_F(AskCommands, aScopeAndAnEngineAreToldToTheAgent) {
    line.home().write(u"Quillet/engines/mine.md"_s,
                      "---\nname: Mine\nmodel: opus\nresult: action: mail\n---\nWrite.\n");
    line.set(u"FAKE_AGENT_REPLY"_s, u"**Subject:** Hi"_s);
    const Finished run =
        line.run({u"ask"_s, u"--engine"_s, u"mine"_s, u"--scope"_s, u"capture:last"_s, u"--json"_s});
    ASSERT_EQ(run.status, 0) << qPrintable(run.errors);
    EXPECT_EQ(run.object().value(u"question"_s), u"Mine"_s);
    EXPECT_EQ(run.object().value(u"action"_s), u"mail"_s);
    const QString input = lastRun().value(u"stdin"_s).toString();
    EXPECT_TRUE(input.contains(
        u"\n\n## THIS CAPTURE\nThe question is about captures/%1/ (\"Weekly sync\", "_s.arg(captureID)));
    EXPECT_TRUE(input.contains(u"\n\n## ENGINE: Mine\nWrite.\n\nThis run prepares something for Mail. "_s));
    EXPECT_TRUE(
        file(run.object().value(u"thread"_s).toString()).contains(u"scope: capture:%1\n"_s.arg(captureID)));
}

TEST_F(AskCommands, aCompanyIsFoundByItsDomain) {
    line.home().write(u"Quillet/memory/people/bo-li.md"_s,
                      "---\nname: Bo Li\nemail: bo@acme.com\n---\n# Bo Li\n");
    const Finished run = line.run({u"ask"_s, u"Who?"_s, u"--scope"_s, u"company:ACME.com"_s, u"--json"_s});
    ASSERT_EQ(run.status, 0) << qPrintable(run.errors);
    EXPECT_TRUE(file(run.object().value(u"thread"_s).toString()).contains(u"scope: company:acme.com\n"_s));
    EXPECT_EQ(line.run({u"ask"_s, u"And they?"_s, u"--scope"_s, u"company:Other.com"_s}).status, 0);
    EXPECT_TRUE(
        lastRun()
            .value(u"stdin"_s)
            .toString()
            .contains(u"\n\n## THIS COMPANY\nThe question is about the company at other.com. Find people"_s));
}

TEST_F(AskCommands, whatCannotBeAskedIsSaidInOneSentence) {
    struct Row {
        QStringList arguments;
        int status;
        const char* sentence;
    };
    const Row rows[] = {
        {{u"ask"_s}, 2, "There is no question"},
        {{u"ask"_s, u"  "_s}, 2, "There is no question"},
        {{u"ask"_s, u"Q"_s, u"--thread"_s, u"none"_s}, 1, "There is no conversation \"none\""},
        {{u"ask"_s, u"Q"_s, u"--scope"_s, u"planet:mars"_s}, 2, "\"planet:mars\" is no scope"},
        {{u"ask"_s, u"Q"_s, u"--scope"_s, u"capture:none"_s}, 1, "There is no capture \"none\""},
        {{u"ask"_s, u"Q"_s, u"--scope"_s, u"person:nobody"_s}, 1, "There is no person \"nobody\""},
        {{u"ask"_s, u"Q"_s, u"--scope"_s, u"company:nope"_s}, 1, "There is no company \"nope\""},
        {{u"ask"_s, u"Q"_s, u"--engine"_s, u"none"_s}, 1, "There is no engine \"none\""},
        {{u"asks"_s, u"show"_s, u"last"_s}, 1, "There are no conversations yet"},
        {{u"asks"_s, u"delete"_s, u"none"_s}, 1, "There is no conversation \"none\""},
    };
    for (const Row& row : rows) {
        const Finished run = line.run(row.arguments);
        EXPECT_EQ(run.status, row.status) << qPrintable(row.arguments.join(u' '));
        EXPECT_TRUE(run.errors.startsWith(u"lumbro: "_s + QString::fromUtf8(row.sentence)))
            << qPrintable(run.errors);
        EXPECT_EQ(run.errors.count(u'\n'), 1);
        EXPECT_TRUE(run.output.isEmpty());
    }
    EXPECT_FALSE(line.home().has(u"agent.log"_s));
    line.set(u"FAKE_AGENT_MODE"_s, u"error"_s);
    line.set(u"FAKE_AGENT_TEXT"_s, u"API Error: 529 Overloaded"_s);
    const Finished failed = line.run({u"ask"_s, u"Q"_s});
    EXPECT_EQ(failed.status, 1);
    EXPECT_TRUE(failed.errors.startsWith(u"lumbro: API Error: 529 Overloaded\n"_s))
        << qPrintable(failed.errors);
    EXPECT_TRUE(QDir(line.home().path(u"Quillet/asks"_s)).isEmpty());
}

/// Also of one that nobody has reaped yet.
bool hasEnded(pid_t process) {
    QFile state(u"/proc/%1/stat"_s.arg(process));
    return !state.open(QIODevice::ReadOnly) || state.readAll().contains(") Z ");
}

TEST_F(AskCommands, ctrlCGivesTheQuestionUpWithoutATrace) {
    line.set(u"FAKE_AGENT_MODE"_s, u"stubborn"_s);
    auto process = start({u"ask"_s, u"Q"_s});
    ASSERT_TRUE(eventually([&] { return line.home().has(u"agent.log"_s); }));
    const auto agent = pid_t(lastRun().value(u"pid"_s).toInt());
    ::kill(pid_t(process->processId()), SIGINT);
    ASSERT_TRUE(process->waitForFinished());
    EXPECT_EQ(process->exitCode(), 1);
    EXPECT_EQ(process->readAllStandardError(), "lumbro: The question was given up; nothing was kept.\n");
    EXPECT_TRUE(eventually([&] { return hasEnded(agent); }));
    EXPECT_TRUE(QDir(line.home().path(u"Quillet/asks"_s)).isEmpty());
}

TEST_F(AskCommands, conversationsBesideBrokenOnesAreListed) {
    line.home().write(u"Quillet/asks/good.md"_s,
                      "---\ntitle: Good\n---\n\n### Me · 2026-03-02T08:15:00Z\nQ\n\n### Lumbro\nA\n");
    line.home().write(u"Quillet/asks/zeros.md"_s, QByteArray(3, '\0'));
    line.home().write(u"Quillet/asks/empty.md"_s, "");
    const Finished listed = line.run({u"asks"_s});
    EXPECT_EQ(listed.status, 0);
    EXPECT_TRUE(listed.output.contains(u"Good"_s));
    EXPECT_FALSE(listed.output.contains(u"0001"_s)) << qPrintable(listed.output);
    EXPECT_TRUE(line.run({u"asks"_s, u"show"_s, u"zeros"_s}).errors.contains(u"/asks/zeros.md: no"_s));
    EXPECT_EQ(listed.errors.count(u'\n'), 1);
    EXPECT_TRUE(listed.errors.contains(u"/asks/empty.md and 1 more: no conversation can be read"_s))
        << qPrintable(listed.errors);
    ASSERT_TRUE(QDir(line.home().path(u"Quillet/asks"_s)).removeRecursively());
    line.home().write(u"Quillet/asks"_s, "no folder");
    const Finished none = line.run({u"asks"_s, u"--json"_s});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.output.trimmed(), u"[]"_s);
    EXPECT_TRUE(none.errors.contains(u"/asks: no conversation can be read there"_s));
    EXPECT_EQ(line.run({u"asks"_s, u"show"_s, u"last"_s}).errors, none.errors);
}

TEST_F(AskCommands, twoProcessesInOneConversationKeepBothAnswers) {
    const QString id = line.run({u"ask"_s, u"First"_s, u"--json"_s}).object().value(u"thread"_s).toString();
    line.set(u"FAKE_AGENT_GATE"_s, line.home().path(u"gate"_s));
    auto one = start({u"ask"_s, u"One"_s, u"--thread"_s, id});
    auto two = start({u"ask"_s, u"Two"_s, u"--thread"_s, id});
    ASSERT_TRUE(eventually([&] { return line.home().read(u"agent.log"_s).count('\n') == 3; }));
    line.home().write(u"gate"_s, "");
    ASSERT_TRUE(one->waitForFinished() && two->waitForFinished());
    EXPECT_EQ(line.run({u"asks"_s, u"show"_s, id, u"--json"_s}).object().value(u"turns"_s).toArray().size(),
              3);
}

TEST_F(AskCommands, anAnswerToADeletedConversationIsShownAndToldToBeLost) {
    const QString id = line.run({u"ask"_s, u"First"_s, u"--json"_s}).object().value(u"thread"_s).toString();
    line.set(u"FAKE_AGENT_GATE"_s, line.home().path(u"gate"_s));
    auto asking = start({u"ask"_s, u"Second"_s, u"--thread"_s, id});
    ASSERT_TRUE(eventually([&] { return line.home().read(u"agent.log"_s).count('\n') == 2; }));
    EXPECT_EQ(line.run({u"asks"_s, u"delete"_s, id}).status, 0);
    line.home().write(u"gate"_s, "");
    ASSERT_TRUE(asking->waitForFinished());
    EXPECT_EQ(asking->exitCode(), 1);
    EXPECT_TRUE(asking->readAllStandardOutput().startsWith("She wants it on **Friday**.\n"));
    EXPECT_EQ(asking->readAllStandardError(),
              "lumbro: The answer was not kept: The conversation was deleted meanwhile.\n");
    EXPECT_TRUE(line.run({u"asks"_s, u"--json"_s}).array().isEmpty());
}

TEST_F(AskCommands, onATerminalTheWordsAppearWhileTheyAreWritten) {
    line.set(u"FAKE_AGENT_MODE"_s, u"typing"_s);
    line.set(u"FAKE_AGENT_GATE"_s, line.home().path(u"gate"_s));
    line.set(u"TERM"_s, u"xterm"_s);
    Terminal terminal;
    QProcess process;
    process.setProcessEnvironment(line.environment());
    process.setStandardOutputFile(terminal.name());
    process.start(CommandLine::program(), {u"ask"_s, u"Q"_s});
    process.closeWriteChannel();
    // What the agent says before it looks anything up is taken back.
    ASSERT_TRUE(eventually([&] { return terminal.text().endsWith("\r\033[JShe wants it on **Friday**."); }))
        << terminal.text().constData();
    EXPECT_TRUE(terminal.text().startsWith("Let me look that up.\r"));
    line.home().write(u"gate"_s, "");
    ASSERT_TRUE(process.waitForFinished());
    EXPECT_EQ(process.exitCode(), 0);
    const QByteArray printed = terminal.text();
    EXPECT_EQ(printed.count("Friday"), 1) << printed.constData();
    EXPECT_TRUE(printed.contains("lumbro show " + captureID.toUtf8()));
    EXPECT_FALSE(printed.contains("SOURCES") || printed.contains("ACTION")) << printed.constData();
}
