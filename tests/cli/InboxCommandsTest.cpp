#include "tests/cli/CommandLine.h"
#include "tests/support/Program.h"
#include "tests/support/Wait.h"

#include <QDateTime>

#include <csignal>

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::test;
using namespace std::chrono_literals;

namespace {

/// The program with an engine that watches the folder "Drop" in the home folder.
class InboxCommands : public testing::Test {
  protected:
    InboxCommands() {
        line.installAgent();
        line.home().write(
            u"Quillet/engines/sorter.md"_s,
            "---\nname: Sorter\nwatch: " + line.home().path(u"Drop"_s).toUtf8() + "\n---\nSort it.\n");
        QDir().mkpath(line.home().path(u"Drop"_s));
    }

    void drop(const QString& name, const QByteArray& bytes) const {
        line.home().write(u"Drop/"_s + name, bytes);
        QFile file(line.home().path(u"Drop/"_s + name));
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(
            file.setFileTime(QDateTime::currentDateTime().addSecs(-60), QFileDevice::FileModificationTime));
    }
    Finished scan() const { return line.run({u"inbox"_s, u"scan"_s, u"--json"_s}); }
    static QString stateOf(const QJsonArray& runs, const QString& file) {
        for (const auto& run : runs) {
            if (run.toObject().value(u"file"_s) == file) {
                return run.toObject().value(u"state"_s).toString();
            }
        }
        return {};
    }
    qsizetype timesAsked() const { return line.home().read(u"agent.log"_s).count('\n'); }
    /// A second scan has said that it waits for the first.
    bool isWaitedFor() const {
        return eventually([this] {
            return line.home().read(u"errors"_s).contains("Another Lumbro works for Sorter; waiting");
        });
    }
    /// What programs in the background have printed.
    QJsonArray told() const {
        const QByteArray output = line.home().read(u"output"_s);
        return json::array(output.sliced(std::max<qsizetype>(output.indexOf('['), 0)));
    }
    /// The program in the background, in a group of its own.
    std::unique_ptr<Program> start(const QStringList& words) const {
        ProgramSetting setting;
        setting.environment = line.environment();
        setting.errors = line.home().path(u"errors"_s);
        setting.output = line.home().path(words.contains(u"--json"_s) ? u"output"_s : u"printed"_s);
        return std::make_unique<Program>(QStringList{CommandLine::program()} + words, setting);
    }

    CommandLine line;
};

}  // namespace

TEST_F(InboxCommands, aFileIsWorkedOnByTheRunningApplication) {
    drop(u"before.txt"_s, "there at the start");
    const auto application = start({});
    const auto result = [this](const QString& stem) {
        const QDir runs(line.home().path(u"Quillet/inbox/sorter"_s));
        const QString run = runs.entryList({u"*-"_s + stem}, QDir::Dirs).value(0);
        return run.isEmpty() ? QByteArray()
                             : line.home().read(u"Quillet/inbox/sorter/%1/result.md"_s.arg(run));
    };
    EXPECT_TRUE(eventually([&] { return result(u"before"_s).contains("there at the start"); }));
    drop(u"later.txt"_s, "dropped while it runs");
    EXPECT_TRUE(eventually([&] { return result(u"later"_s).contains("dropped while it runs"); }));
    EXPECT_TRUE(QDir(line.home().path(u"Drop"_s)).isEmpty());
    EXPECT_EQ(stateOf(line.run({u"inbox"_s, u"--json"_s}).array(), u"later.txt"_s), u"done"_s);
}

TEST_F(InboxCommands, scanWorksThroughAllFilesAndTellsOfEach) {
    for (int i = 0; i < 20; ++i) {
        drop(u"%1.txt"_s.arg(i), "number " + QByteArray::number(i));
    }
    drop(u"twin.txt"_s, "number 7");
    line.home().write(u"Drop/new.txt"_s, "still growing");
    const Finished finished = scan();
    EXPECT_EQ(finished.status, 0) << qPrintable(finished.errors);
    const QJsonArray runs = finished.array();
    ASSERT_EQ(runs.size(), 22);
    EXPECT_EQ(stateOf(runs, u"13.txt"_s), u"done"_s);
    EXPECT_EQ(stateOf(runs, u"twin.txt"_s), u"skipped"_s);
    EXPECT_EQ(stateOf(runs, u"new.txt"_s), u"waiting"_s);
    EXPECT_EQ(timesAsked(), 20);
    const QString folder = runs.at(0).toObject().value(u"folder"_s).toString();
    EXPECT_TRUE(QFileInfo::exists(folder + u"/result.md"_s));
    EXPECT_EQ(runs.at(0).toObject().value(u"engine"_s), u"sorter"_s);
    EXPECT_EQ(line.run({u"inbox"_s, u"--limit"_s, u"3"_s, u"--json"_s}).array().size(), 4)
        << "what waits is never left out";
}

TEST_F(InboxCommands, aKilledScanIsToldByTheOneThatWaitsForItAndRunsNothingTwice) {
    drop(u"bill.txt"_s, "Pay.");
    line.set(u"FAKE_AGENT_GATE"_s, line.home().path(u"gate"_s));
    const auto first = start({u"inbox"_s, u"scan"_s});
    ASSERT_TRUE(eventually([this] { return timesAsked() == 1; }));
    EXPECT_EQ(stateOf(line.run({u"inbox"_s, u"--json"_s}).array(), u"bill.txt"_s), u"running"_s);
    const auto second = start({u"inbox"_s, u"scan"_s, u"--json"_s});
    ASSERT_TRUE(isWaitedFor());
    ASSERT_EQ(::kill(first->id(), SIGKILL), 0);
    first->wait();
    line.home().write(u"gate"_s, "");
    EXPECT_EQ(second->wait(), 1);
    EXPECT_EQ(stateOf(told(), u"bill.txt"_s), u"failed"_s);
    EXPECT_EQ(timesAsked(), 1);
    const QJsonArray runs = line.run({u"inbox"_s, u"--json"_s}).array();
    ASSERT_EQ(runs.size(), 1);
    EXPECT_EQ(runs.at(0).toObject().value(u"state"_s), u"interrupted"_s);
    const QString folder = runs.at(0).toObject().value(u"folder"_s).toString();
    EXPECT_EQ(readFile(folder + u"/bill.txt"_s), QByteArray("Pay."));
    EXPECT_TRUE(readFile(folder + u"/error.txt"_s)->startsWith("Interrupted: Lumbro quit while this ran."));
    drop(u"bill.txt"_s, "Pay.");
    EXPECT_EQ(stateOf(scan().array(), u"bill.txt"_s), u"done"_s) << "a person has decided";
}

TEST_F(InboxCommands, aSecondScanWaitsForTheFirstAndTellsWhatBothHaveDone) {
    drop(u"old.txt"_s, "0");
    ASSERT_EQ(scan().status, 0);
    drop(u"a.txt"_s, "1");
    line.set(u"FAKE_AGENT_GATE"_s, line.home().path(u"gate"_s));
    const auto first = start({u"inbox"_s, u"scan"_s});
    ASSERT_TRUE(eventually([this] { return timesAsked() == 2; }));
    const auto second = start({u"inbox"_s, u"scan"_s, u"--json"_s});
    ASSERT_TRUE(isWaitedFor());
    drop(u"b.txt"_s, "2");
    line.home().write(u"gate"_s, "");
    EXPECT_EQ(first->wait(), 0);
    EXPECT_EQ(second->wait(), 0);
    EXPECT_EQ(stateOf(told(), u"a.txt"_s), u"done"_s);
    EXPECT_EQ(stateOf(told(), u"b.txt"_s), u"done"_s);
    EXPECT_EQ(told().size(), 2) << "what was done before is not told again";
    EXPECT_EQ(timesAsked(), 3);
}

TEST_F(InboxCommands, withoutAnAgentOneFileTellsAndTheOthersStay) {
    QFile::remove(line.home().path(u".local/bin/claude"_s));
    drop(u"a.txt"_s, "1");
    drop(u"b.txt"_s, "2");
    const Finished finished = scan();
    EXPECT_EQ(finished.status, 1);
    EXPECT_EQ(stateOf(finished.array(), u"a.txt"_s), u"failed"_s);
    EXPECT_EQ(stateOf(finished.array(), u"b.txt"_s), u"waiting"_s);
    EXPECT_TRUE(line.home().has(u"Drop/a.txt"_s));
    EXPECT_TRUE(line.home().has(u"Drop/b.txt"_s));
    line.installAgent();
    EXPECT_EQ(stateOf(scan().array(), u"a.txt"_s), u"done"_s);
}

TEST_F(InboxCommands, ctrlCEndsTheAgentAndBeginsNothingMore) {
    drop(u"a.txt"_s, "1");
    drop(u"b.txt"_s, "2");
    line.set(u"FAKE_AGENT_MODE"_s, u"hang"_s);
    const auto running = start({u"inbox"_s, u"scan"_s});
    ASSERT_TRUE(eventually([this] { return timesAsked() == 1; }));
    running->terminate();
    EXPECT_EQ(running->wait(), 1);
    EXPECT_TRUE(line.home().has(u"Drop/b.txt"_s));
    EXPECT_EQ(stateOf(line.run({u"inbox"_s, u"--json"_s}).array(), u"a.txt"_s), u"failed"_s);
}

TEST_F(InboxCommands, saysWhichFoldersCannotBeWatched) {
    QDir(line.home().path(u"Drop"_s)).removeRecursively();
    const Finished listed = line.run({u"inbox"_s});
    EXPECT_EQ(listed.status, 0);
    EXPECT_TRUE(listed.errors.contains(u"sorter: there is no folder "_s)) << qPrintable(listed.errors);
    const Finished finished = scan();
    EXPECT_EQ(finished.status, 1);
    EXPECT_EQ(finished.array().at(0).toObject().value(u"state"_s), u"failed"_s);
}

TEST(EngineEditing, newEditAndDeleteChangeTheFileAndNothingElse) {
    const CommandLine line;
    const auto run = [&line](const QStringList& words) { return line.run(QStringList{u"engine"_s} + words); };
    const Finished made = run({u"new"_s, u"--name"_s, u"Number list"_s, u"--prompt"_s, u"List them."_s,
                               u"--watch"_s, line.home().path(u"Drop"_s), u"--json"_s});
    ASSERT_EQ(made.status, 0) << qPrintable(made.errors);
    EXPECT_EQ(made.object().value(u"id"_s), u"number-list"_s);
    EXPECT_EQ(made.object().value(u"watch"_s), line.home().path(u"Drop"_s));
    EXPECT_TRUE(made.errors.contains(u"there is no folder"_s)) << qPrintable(made.errors);

    line.home().write(u"Quillet/engines/mine.md"_s,
                      "---\nname: Mine # my own\nmood: calm\nmodel: haiku\n---\nDo it.\n");
    const Finished edited = run({u"edit"_s, u"mine"_s, u"--model"_s, u"opus"_s, u"--json"_s});
    ASSERT_EQ(edited.status, 0) << qPrintable(edited.errors);
    EXPECT_EQ(line.home().read(u"Quillet/engines/mine.md"_s),
              "---\nname: Mine # my own\nmood: calm\nmodel: opus\n---\nDo it.\n");

    struct Refusal {
        QStringList words;
        int status;
        QString sentence;
    };
    const std::vector<Refusal> refusals = {
        {{u"edit"_s, u"mine"_s}, 2, u"Say what to change"_s},
        {{u"edit"_s, u"nobody"_s, u"--model"_s, u"opus"_s}, 1, u"There is no engine \"nobody\""_s},
        {{u"edit"_s, u"mine"_s, u"--name"_s, u"a # b"_s}, 1, u"The value of \"name\" can't stand"_s},
        {{u"edit"_s, u"mine"_s, u"--prompt"_s, u" "_s}, 1, u"the prompt below the frontmatter is empty"_s},
        {{u"edit"_s, u"mine"_s, u"--scope"_s, u"moon"_s}, 2, u"--scope takes meeting"_s},
        {{u"new"_s, u"--suggest"_s, u"moon"_s}, 2, u"--suggest takes notes"_s},
        {{u"new"_s, u"List numbers"_s}, 1, u"isn't installed"_s},
        {{u"delete"_s, u"mine"_s}, 1, u"there is no terminal to ask on"_s},
    };
    const QByteArray before = line.home().read(u"Quillet/engines/mine.md"_s);
    for (const Refusal& refusal : refusals) {
        const Finished refused = run(refusal.words);
        EXPECT_EQ(refused.status, refusal.status) << qPrintable(refusal.sentence);
        EXPECT_TRUE(refused.errors.contains(refusal.sentence)) << qPrintable(refused.errors);
    }
    EXPECT_EQ(line.home().read(u"Quillet/engines/mine.md"_s), before);

    EXPECT_EQ(run({u"delete"_s, u"notes"_s, u"--yes"_s, u"--json"_s}).object().value(u"deleted"_s),
              u"notes"_s);
    EXPECT_FALSE(line.home().has(u"Quillet/engines/notes.md"_s));
    EXPECT_EQ(line.run({u"engines"_s, u"show"_s, u"notes"_s}).status, 1) << "it does not come back";
    line.home().write(u"Quillet/engines/broken.md"_s, "no block");
    EXPECT_EQ(run({u"delete"_s, u"broken"_s, u"--yes"_s}).status, 0) << "a broken file can be thrown away";
    EXPECT_FALSE(line.home().has(u"Quillet/engines/broken.md"_s));
}

TEST(EngineEditing, theAgentWritesAnEngineThatMayDoNothingByItself) {
    CommandLine line;
    line.installAgent();
    line.set(u"FAKE_AGENT_REPLY"_s,
             u"Here:\n```markdown\n---\nname: Numbers\nscope: library\nresult: handoff\nauto: true\n"
             "tools: [Bash]\nwatch: /tmp\nmodel: gpt\nsuggest: [home, moon]\n---\nList them.\n```\n"_s);
    const Finished made =
        line.run({u"engine"_s, u"new"_s, u"List all numbers"_s, u"--voice"_s, u"on"_s, u"--json"_s});
    ASSERT_EQ(made.status, 0) << qPrintable(made.errors);
    const QJsonObject engine = made.object();
    EXPECT_EQ(engine.value(u"id"_s), u"numbers"_s);
    EXPECT_EQ(engine.value(u"scope"_s), u"library"_s);
    EXPECT_EQ(engine.value(u"result"_s), u"chat"_s);
    EXPECT_EQ(engine.value(u"model"_s), u"sonnet"_s);
    EXPECT_EQ(engine.value(u"suggest"_s), QJsonArray{u"home"_s});
    EXPECT_EQ(engine.value(u"prompt"_s), u"List them."_s);
    EXPECT_EQ(engine.value(u"auto"_s), false);
    EXPECT_EQ(engine.value(u"usesVoice"_s), true);
    EXPECT_FALSE(engine.contains(u"watch"_s));
    EXPECT_TRUE(engine.value(u"tools"_s).toArray().isEmpty());
    line.set(u"FAKE_AGENT_REPLY"_s, u"I can't do that."_s);
    const Finished refused = line.run({u"engine"_s, u"new"_s, u"List all numbers"_s});
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(refused.errors.contains(u"The agent's answer is no engine: missing the --- frontmatter"_s));
    EXPECT_EQ(line.home().read(u"agent.log"_s).count('\n'), 3) << "it is asked once more";
}
