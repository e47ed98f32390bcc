#include "tests/cli/CommandLine.h"
#include "tests/support/Program.h"
#include "tests/support/Wait.h"

#include <QDir>

#include <csignal>
#include <memory>

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::test;

namespace {

QString support(const QString& name) {
    return QStringLiteral(LUMBRO_BINARY_DIR "/tests/support/tasks/") + name;
}

/// A library, a task list that a server keeps, and an agent that is connected to it.
struct SendCommand : ::testing::Test {
    SendCommand() {
        QDir().mkpath(line.home().path(u".local/bin"_s));
        QFile::link(support(u"acting-claude"_s), line.home().path(u".local/bin/claude"_s));
        const QJsonObject server{{u"command"_s, support(u"task-server"_s)}};
        const QJsonObject account{{u"claude.ai Todoist"_s, server}};
        line.set(u"ACTING_ACCOUNT"_s, QString::fromUtf8(json::encodeCompact(account)));
        line.set(u"ACTING_LOG"_s, line.home().path(u"acting.log"_s));
        line.set(u"TASK_LIST"_s, line.home().path(u"tasks.json"_s));
        line.set(u"LUMBRO_NOW"_s, u"2026-03-02T09:14:05"_s);
        line.addCapture(u"2026-03-02-0914-meeting"_s, "Weekly sync", "2026-03-02T08:14:00Z");
        say("- [ ] Send the deck\n- [ ] Call Bo\n");
    }

    /// Changes what is sent.
    void say(const QByteArray& notes) const {
        line.write(u"2026-03-02-0914-meeting"_s, u"notes.md"_s, notes);
    }
    static QStringList sending(const QStringList& more = {}) {
        return QStringList{u"send"_s, u"todoist"_s, u"--from"_s, u"capture:last"_s, u"--yes"_s, u"--json"_s} +
               more;
    }
    void close() { line.set(u"ACTING_GATE"_s, line.home().path(u"gate"_s)); }
    void open() const { line.home().write(u"gate"_s, ""); }
    std::unique_ptr<Program> start(const QString& output, const QStringList& arguments = sending()) const {
        return std::make_unique<Program>(QStringList{CommandLine::program()} + arguments,
                                         ProgramSetting{.environment = line.environment(),
                                                        .output = line.home().path(output),
                                                        .errors = line.home().path(output + u".errors"_s)});
    }
    QJsonObject result(const QString& output) const { return json::object(line.home().read(output)); }
    QStringList tasks() const {
        QStringList titles;
        for (const QJsonValue task : json::array(line.home().read(u"tasks.json"_s))) {
            titles << task[u"title"].toString();
        }
        return titles;
    }
    /// How many agents have begun to act.
    qsizetype acted() const { return line.home().read(u"acting.log"_s).count('\n'); }
    pid_t lastAgent() const {
        const QByteArrayList runs = line.home().read(u"acting.log"_s).trimmed().split('\n');
        return pid_t(json::object(runs.last()).value(u"pid"_s).toInt());
    }
    QStringList statuses() const {
        QStringList all;
        for (const QJsonValue run : line.run({u"runs"_s, u"--json"_s}).array()) {
            all << run[u"status"].toString();
        }
        all.sort();
        return all;
    }

    CommandLine line;
};

bool hasEnded(pid_t process) {
    QFile state(u"/proc/%1/stat"_s.arg(process));
    return !state.open(QIODevice::ReadOnly) || state.readAll().contains(") Z ");
}

}  // namespace

TEST_F(SendCommand, tasksReachTheAppAndAreReadBack) {
    const QJsonArray apps = line.run({u"connectors"_s, u"--json"_s}).array();
    ASSERT_EQ(apps.size(), 1);
    EXPECT_EQ(apps.at(0)[u"app"], u"Todoist"_s);
    EXPECT_EQ(apps.at(0)[u"allow"], u"mcp__claude_ai_Todoist"_s);
    EXPECT_EQ(apps.at(0)[u"destructiveTools"], QJsonArray{u"mcp__claude_ai_Todoist__delete_task"_s});

    const Finished sent = line.run(sending());
    ASSERT_EQ(sent.status, 0) << qPrintable(sent.errors);
    const QJsonObject run = sent.object();
    EXPECT_EQ(run.value(u"status"_s), u"done"_s);
    EXPECT_EQ(run.value(u"title"_s), u"Added 2 tasks"_s);
    EXPECT_EQ(run.value(u"captureID"_s), u"2026-03-02-0914-meeting"_s);
    EXPECT_EQ(run.value(u"about"_s),
              u"\"Weekly sync\", Mar 2, 2026 at 9:14 AM (captures/2026-03-02-0914-meeting)"_s);
    EXPECT_EQ(run.value(u"items"_s).toArray().at(1),
              (QJsonObject{
                  {u"title"_s, u"Call Bo"_s}, {u"url"_s, u"https://tasks.test/2"_s}, {u"verified"_s, true}}));
    EXPECT_EQ(tasks(), (QStringList{u"Send the deck"_s, u"Call Bo"_s}));

    // Again: what is there is found, not made twice.
    EXPECT_EQ(line.run(sending()).object().value(u"status"_s), u"done"_s);
    EXPECT_EQ(tasks().size(), 2);
    EXPECT_EQ(statuses(), (QStringList{u"done"_s, u"done"_s}));
    const Finished shown = line.run({u"runs"_s, u"show"_s, u"last"_s});
    EXPECT_TRUE(shown.output.contains(u"  ✓ Call Bo  https://tasks.test/2\n"_s)) << qPrintable(shown.output);
}

TEST_F(SendCommand, anAnswerIsUsedAsItWasAskedFor) {
    const QString asked =
        u"I asked Lumbro: “What is due?”. Do that in Todoist, using the CONTENT below, which Lumbro prepared for it."_s;
    const struct {
        QByteArray action;
        QStringList more;
        QString about;
        QString instruction;
    } rows[] = {{"ACTION: todoist\n", {}, u"Ask Lumbro: What is due?"_s, asked},
                {"", {}, u"Ask Lumbro answer to: What is due?"_s, asked},
                {"ACTION: mail\n",
                 {u"--instruction"_s, u"Add it"_s},
                 u"Ask Lumbro answer to: What is due?"_s,
                 u"Add it"_s}};
    for (const auto& row : rows) {
        line.home().write(u"Quillet/asks/a.md"_s,
                          "---\ntitle: x\ncreated: 2026-03-02T08:14:05Z\n---\n\n# x\n\n### Me · "
                          "2026-03-02T08:14:25Z\nWhat is\ndue?\n\n### Lumbro\n- [ ] Call Bo\n" +
                              row.action);
        const QStringList send{u"send"_s, u"todoist"_s, u"--from"_s, u"ask:a"_s, u"--yes"_s, u"--json"_s};
        const QJsonObject run = line.run(send + row.more).object();
        EXPECT_EQ(run.value(u"about"_s), row.about);
        EXPECT_EQ(run.value(u"instruction"_s), row.instruction);
        EXPECT_EQ(run.value(u"content"_s), u"- [ ] Call Bo"_s);
        EXPECT_EQ(run.value(u"askThread"_s), u"a"_s);
    }
}

TEST_F(SendCommand, aServerOfTheUsersOwnIsRunWithItsConfiguration) {
    line.set(u"ACTING_ACCOUNT"_s, u"{}"_s);
    line.home().write(u".claude.json"_s, R"({"mcpServers":{"my-linear":{"command":")" +
                                             support(u"task-server"_s).toUtf8() + R"("}}})");
    const Finished sent =
        line.run({u"send"_s, u"Linear"_s, u"--from"_s, u"capture:last"_s, u"--yes"_s, u"--json"_s});
    EXPECT_EQ(sent.object().value(u"status"_s), u"done"_s) << qPrintable(sent.errors);
    EXPECT_EQ(tasks().size(), 2);
    EXPECT_TRUE(line.home().read(u"acting.log"_s).contains("--strict-mcp-config"));
}

TEST_F(SendCommand, nothingIsDeletedUnlessTheInstructionSaysSo) {
    line.home().write(u"tasks.json"_s, R"([{"id":1,"title":"Call Bo"},{"id":2,"title":"Send the deck"}])");
    // The agent is asked to delete by the content, and does as it is told where it may.
    const QStringList clear{u"--instruction"_s, u"Clear the list of these"_s};
    const QStringList remove{u"--instruction"_s, u"Delete these tasks"_s};
    line.set(u"ACTING_MODE"_s, u"deletes"_s);
    for (const char* hidden : {"no", "yes"}) {
        if (QByteArrayView(hidden) == "yes") {
            line.set(u"ACTING_HIDES"_s, u"1"_s);
        }
        const Finished guarded = line.run(sending(clear));
        EXPECT_EQ(guarded.status, 1);
        EXPECT_EQ(guarded.object().value(u"status"_s), u"unconfirmed"_s) << hidden;
        EXPECT_EQ(tasks().size(), 2) << hidden;
    }
    line.set(u"ACTING_LITERAL"_s, u"1"_s);
    const Finished refused = line.run(sending(clear));
    EXPECT_EQ(refused.object().value(u"status"_s), u"failed"_s);
    EXPECT_TRUE(refused.errors.contains(u"can't be kept from using mcp__claude_ai_Todoist__delete_task"_s))
        << qPrintable(refused.errors);
    EXPECT_EQ(tasks().size(), 2);
    const Finished lifted = line.run(sending(remove));
    EXPECT_EQ(lifted.object().value(u"status"_s), u"done"_s) << qPrintable(lifted.errors);
    EXPECT_TRUE(tasks().isEmpty());
}

TEST_F(SendCommand, aReportThatLiesIsNeverDoneAndNeverOpened) {
    struct Row {
        const char* says;
        const char* status;
    };
    const Row rows[] = {
        {R"(RESULT: {"status":"done","summary":"All done","items":[]})", "unconfirmed"},
        {R"(RESULT: {"status":"done","summary":"All done","items":[{"title":"x","verified":false}]})",
         "unconfirmed"},
        {"RESULT: {\"status\":\"done\",\"summary\":\"s\",\"items\":[{\"verified\":true}]}\nRESULT: "
         "{\"status\":",
         "unconfirmed"},
        {"All is done, believe me.", "unconfirmed"},
        {R"(RESULT: {"status":"failed","summary":"No such project"})", "failed"},
        {R"(RESULT: {"status":"done","summary":"s","items":[{"title":"\u001b[2Jx","url":"file:///etc/passwd",)"
         R"("verified":true},{"title":"y","url":"javascript:1","verified":true}]})",
         "unconfirmed"},
        {"RESULT: {\"status\":\"failed\",\"summary\":\"No\"}\n"
         R"(RESULT: {"status":"done","summary":"s","items":[{"title":"\u001b[2Jx","verified":true}]})",
         "unconfirmed"},
    };
    for (const Row& row : rows) {
        line.set(u"ACTING_SAYS"_s, QString::fromUtf8(row.says));
        const Finished sent = line.run(sending());
        EXPECT_EQ(sent.object().value(u"status"_s), QString::fromUtf8(row.status)) << row.says;
        EXPECT_EQ(sent.status, 1) << row.says;
        EXPECT_EQ(line.run({u"runs"_s, u"show"_s, u"last"_s}).output.count(u"javascript:"_s), 0);
    }
    const Finished opened = line.run({u"runs"_s, u"open"_s, u"last"_s, u"--json"_s});
    EXPECT_EQ(opened.object().value(u"url"_s), u"https://app.todoist.com/app/today"_s);
    EXPECT_FALSE(line.run({u"runs"_s, u"show"_s, u"last"_s}).output.contains(u'\x1b'));
    // An app that says yes and does nothing.
    line.set(u"TASK_LIST_MODE"_s, u"forgets"_s);
    say("- [ ] New\n");
    line.set(u"ACTING_SAYS"_s, {});
    const Finished forgotten = line.run(sending());
    EXPECT_EQ(forgotten.object().value(u"status"_s), u"unconfirmed"_s) << qPrintable(forgotten.errors);
}

TEST_F(SendCommand, theSameFromTwoTerminalsIsSentOnceAndAThirdWaits) {
    close();
    const auto first = start(u"first"_s);
    ASSERT_TRUE(eventually([this] { return acted() == 1; }));
    const auto second = start(u"second"_s);
    ASSERT_TRUE(eventually([this] {
        return line.home().read(u"second.errors"_s).startsWith("This is already running in Todoist.");
    }));
    say("- [ ] Other\n");
    const auto third = start(u"third"_s);
    ASSERT_TRUE(eventually([this] { return acted() == 2; }));
    say("- [ ] Late\n");
    const auto fourth = start(u"fourth"_s);
    ASSERT_TRUE(eventually([this] { return statuses().size() == 3; }));
    EXPECT_EQ(statuses(), (QStringList{u"queued"_s, u"running"_s, u"running"_s}));
    open();
    for (const auto* program : {&first, &second, &third, &fourth}) {
        EXPECT_EQ((*program)->wait(), 0);
    }
    EXPECT_EQ(result(u"first"_s), result(u"second"_s));
    EXPECT_EQ(acted(), 3);
    EXPECT_EQ(statuses(), QStringList(3, u"done"_s));
    EXPECT_EQ(QDir(line.home().path(u"Quillet/actions"_s)).entryList({u".*"_s}, QDir::Files | QDir::Hidden),
              QStringList());
}

TEST_F(SendCommand, aRunIsStoppedFromItsTerminalAndFromAnother) {
    close();
    const auto first = start(u"first"_s);
    ASSERT_TRUE(eventually([this] { return acted() == 1; }));
    const Finished stopped = line.run({u"runs"_s, u"stop"_s, u"last"_s, u"--json"_s});
    EXPECT_EQ(stopped.status, 0) << qPrintable(stopped.errors);
    EXPECT_EQ(stopped.object().value(u"status"_s), u"stopped"_s);
    EXPECT_EQ(first->wait(), 1);
    EXPECT_EQ(result(u"first"_s).value(u"status"_s), u"stopped"_s);
    EXPECT_TRUE(hasEnded(lastAgent()));
    EXPECT_EQ(line.run({u"runs"_s, u"stop"_s, u"last"_s}).status, 1);

    const auto second = start(u"second"_s, {u"runs"_s, u"retry"_s, u"last"_s, u"--yes"_s, u"--json"_s});
    ASSERT_TRUE(eventually([this] { return acted() == 2; }));
    second->terminate();
    EXPECT_EQ(second->wait(), 1);
    EXPECT_EQ(result(u"second"_s).value(u"status"_s), u"stopped"_s);
    EXPECT_TRUE(tasks().isEmpty());
    // Nobody is asked, so nobody has agreed.
    const Finished unasked = line.run({u"runs"_s, u"retry"_s, u"last"_s});
    EXPECT_EQ(unasked.status, 1);
    EXPECT_EQ(acted(), 2);
}

TEST_F(SendCommand, aRequestToStopStaysUntilTheRunHasEnded) {
    close();
    const auto suspended = start(u"suspended"_s);
    ASSERT_TRUE(eventually([this] { return acted() == 1; }));
    ::kill(suspended->id(), SIGSTOP);
    const Finished asked = line.run({u"runs"_s, u"stop"_s, u"last"_s});
    EXPECT_EQ(asked.status, 1);
    EXPECT_TRUE(asked.errors.contains(u"has not answered yet; it stops once it does."_s))
        << qPrintable(asked.errors);
    ::kill(suspended->id(), SIGCONT);
    EXPECT_EQ(suspended->wait(), 1);
    EXPECT_EQ(result(u"suspended"_s).value(u"status"_s), u"stopped"_s);
    EXPECT_TRUE(tasks().isEmpty());
}

TEST_F(SendCommand, anEndThatCannotBeFiledIsPrintedAndTriedAgain) {
    close();
    const auto sending = start(u"sending"_s);
    ASSERT_TRUE(eventually([this] { return acted() == 1; }));
    const QString actions = line.home().path(u"Quillet/actions/"_s);
    const QString file = actions + QDir(actions).entryList(QDir::Files).value(0);
    QFile::remove(file);
    QDir().mkdir(file);
    open();
    ASSERT_TRUE(
        eventually([this] { return line.home().read(u"sending.errors"_s).contains("trying again"); }));
    EXPECT_EQ(result(u"sending"_s).value(u"status"_s), u"done"_s);
    QDir().rmdir(file);
    EXPECT_EQ(sending->wait(), 0);
    EXPECT_EQ(statuses(), QStringList{u"done"_s});
}

TEST_F(SendCommand, killedAtAnyMomentTheRunIsToldAndNeverRunsTwice) {
    close();
    const auto running = start(u"running"_s);
    ASSERT_TRUE(eventually([this] { return acted() == 1; }));
    const pid_t agent = lastAgent();
    // Its report is there, but the agent has not ended.
    line.set(u"ACTING_WAITS"_s, u"after"_s);
    say("- [ ] Reported\n");
    const auto reporting = start(u"reporting"_s);
    ASSERT_TRUE(eventually([this] { return tasks() == QStringList{u"Reported"_s}; }));
    say("- [ ] Queued\n");
    const auto queued = start(u"queued"_s);
    ASSERT_TRUE(eventually([this] { return statuses().contains(u"queued"_s); }));
    for (const auto* program : {&queued, &reporting, &running}) {
        ::kill((*program)->id(), SIGKILL);
        EXPECT_EQ((*program)->wait(), 128 + SIGKILL);
    }
    EXPECT_EQ(statuses(), QStringList(3, u"interrupted"_s));
    EXPECT_TRUE(eventually([agent] { return hasEnded(agent); })) << "nobody hears of what it would do";
    open();
    // The next start says so of each, once, and does only what it is told.
    const Finished next = line.run(sending());
    EXPECT_EQ(next.errors.count(u"Lumbro quit while this ran. Check Todoist before you try again."), 2)
        << qPrintable(next.errors);
    EXPECT_EQ(next.errors.count(u"Lumbro quit before this started, so nothing was changed in Todoist."), 1);
    EXPECT_EQ(next.object().value(u"status"_s), u"done"_s);
    EXPECT_EQ(acted(), 3);
    EXPECT_EQ(tasks(), (QStringList{u"Reported"_s, u"Queued"_s}));
    EXPECT_EQ(statuses(), (QStringList{u"done"_s, u"interrupted"_s, u"interrupted"_s, u"interrupted"_s}));
}

TEST_F(SendCommand, whatCannotBeSentIsSaidInOneSentence) {
    struct Row {
        QStringList arguments;
        int status;
        const char* sentence;
    };
    const QString from = u"--from"_s;
    const QString last = u"capture:last"_s;
    const Row rows[] = {
        {{u"send"_s, u"todoist"_s}, 2, "Say what to send"},
        {{u"send"_s, u"todoist"_s, from, u"planet"_s}, 2, "\"planet\" is no content"},
        {{u"send"_s, u"todoist"_s, from, last, u"--instruction"_s, u" "_s}, 2, "The instruction is empty"},
        {{u"send"_s, u"todoist"_s, from, u"-"_s}, 1, "There is nothing to send: standard input"},
        {{u"send"_s, u"todoist"_s, from, u"ask:none"_s}, 1, "There is no conversation \"none\""},
        {{u"send"_s, u"todoist"_s, from, u"capture:none"_s}, 1, "There is no capture \"none\""},
        {{u"send"_s, u"slack"_s, from, last, u"--yes"_s}, 1, "Your Claude Code is connected to no \"slack\""},
        {{u"send"_s, u"todoist"_s, from, last}, 1, "Nothing was sent: there is no terminal"},
        {{u"runs"_s, u"show"_s, u"last"_s}, 1, "There is no run \"last\""},
        {{u"runs"_s, u"retry"_s, u"x"_s}, 1, "There is no run \"x\""},
    };
    for (const Row& row : rows) {
        const Finished run = line.run(row.arguments);
        EXPECT_EQ(run.status, row.status) << row.sentence;
        EXPECT_TRUE(run.errors.contains(u"lumbro: "_s + QString::fromUtf8(row.sentence)))
            << qPrintable(run.errors);
        EXPECT_TRUE(run.output.isEmpty());
    }
    EXPECT_TRUE(QDir(line.home().path(u"Quillet/actions"_s)).removeRecursively());
    line.home().write(u"Quillet/actions"_s, "no folder");
    const Finished unkept = line.run(sending());
    EXPECT_EQ(unkept.status, 1);
    EXPECT_TRUE(unkept.errors.contains(u"actions can't be written, where runs are kept"_s));
    QFile::remove(line.home().path(u"Quillet/actions"_s));
    QFile::remove(line.home().path(u".local/bin/claude"_s));
    const Finished missing = line.run({u"connectors"_s});
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(missing.errors.contains(u"which isn't installed"_s));
    EXPECT_EQ(acted(), 0);
    EXPECT_EQ(line.run({u"runs"_s, u"--json"_s}).output, u"[]\n"_s);
}
