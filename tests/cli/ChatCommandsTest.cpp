#include "tests/cli/CommandLine.h"

#include <QProcess>

#include <array>

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::test;

namespace {

class ChatCommands : public ::testing::Test {
  protected:
    ChatCommands() {
        line.set(u"LUMBRO_NOW"_s, u"2026-03-02T12:00:00"_s);
        line.set(u"TZ"_s, u"UTC"_s);
        line.set(u"CLAUDE_CONFIG_DIR"_s, u""_s);
        line.set(u"LC_ALL"_s, u"C.UTF-8"_s);
        line.home().write(transcript,
                          turn("u1", "2026-03-01T10:00:00.5Z", "Yesterday?", "Gone.") +
                              turn("u2", "2026-03-02T08:00:00Z", "Use " + key + " please", "Done.") +
                              R"({"type":"ai-title","aiTitle":"A chat"})" + "\n");
    }

    static QByteArray turn(const QByteArray& id, const QByteArray& time, const QByteArray& prompt,
                           const QByteArray& reply) {
        return R"({"type":"user","uuid":")" + id + R"(","sessionId":"5f2c81aa-1","cwd":"/home/me/work",)" +
               R"("timestamp":")" + time + R"(","message":{"content":")" + prompt + "\"}}\n" +
               R"({"type":"assistant","message":{"content":[{"type":"text","text":")" + reply + "\"}]}}\n";
    }

    const QByteArray key = "sk-" + QByteArray("Zq9").repeated(12);
    const QString transcript = u".claude/projects/-home-me-work/5f2c81aa-1.jsonl"_s;
    CommandLine line;
};

}  // namespace

TEST_F(ChatCommands, readShowsWhatWouldBeKept) {
    const Finished read = line.run({u"chats"_s, u"read"_s, line.home().path(transcript), u"--json"_s});
    EXPECT_EQ(read.status, 0) << qPrintable(read.errors);
    ASSERT_EQ(read.array().size(), 2);
    const QJsonObject expected{{u"id"_s, u"u2"_s},
                               {u"session"_s, u"5f2c81aa-1"_s},
                               {u"title"_s, u"A chat"_s},
                               {u"project"_s, u"work"_s},
                               {u"folder"_s, u"/home/me/work"_s},
                               {u"time"_s, u"2026-03-02T08:00:00Z"_s},
                               {u"prompt"_s, u"Use [hidden key] please"_s},
                               {u"reply"_s, u"Done."_s}};
    EXPECT_EQ(read.array()[1].toObject(), expected);
    EXPECT_FALSE(line.home().has(u"Quillet"_s));
    EXPECT_EQ(line.run({u"chats"_s, u"read"_s, u"/nowhere"_s}).status, 1);
    EXPECT_EQ(line.run({u"chats"_s, u"read"_s, u"/tmp"_s}).status, 1);
}

TEST_F(ChatCommands, importFilesLogsThatShowPrints) {
    const QStringList today{u"chats"_s, u"import"_s, u"--json"_s};
    const Finished first = line.run(today);
    EXPECT_EQ(first.status, 0) << qPrintable(first.errors);
    const QString id = u"2026-03-02-0800-session"_s;
    EXPECT_EQ(first.object(), (QJsonObject{{u"requests"_s, 1},
                                           {u"projectDays"_s, 1},
                                           {u"captures"_s, QJsonArray{id}},
                                           {u"unreadable"_s, 0}}));
    // From now on the last import counts.
    EXPECT_EQ(line.run(today).object()[u"requests"_s], 0);
    EXPECT_EQ(line.run(today + QStringList{u"--since"_s, u"2026-03-01"_s}).object()[u"projectDays"_s], 2);
    EXPECT_EQ(line.run({u"captures"_s, u"--json"_s}).array().size(), 2);
    EXPECT_EQ(line.run({u"chats"_s, u"import"_s, u"--since"_s, u"soon"_s}).status, 2);
    const Finished early = line.run({u"chats"_s, u"import"_s, u"--since"_s, u"2026-03-03"_s});
    EXPECT_EQ(early.status, 2);
    EXPECT_EQ(early.errors, u"lumbro: --since takes a date that has been, not \"2026-03-03\".\n"_s);

    const Finished shown = line.run({u"show"_s, id});
    EXPECT_TRUE(shown.output.contains(u"1 request\n"_s)) << qPrintable(shown.output);
    EXPECT_TRUE(shown.output.contains(u"[8:00 AM] Me: Use [hidden key] please\nClaude: Done.\n"_s));
    const QJsonObject object = line.run({u"show"_s, id, u"--json"_s}).object();
    EXPECT_EQ(object[u"entries"_s].toArray().size(), 1);
    EXPECT_EQ(object[u"sessionKey"_s], u"2026-03-02/work"_s);
}

TEST_F(ChatCommands, whatCannotBeReadIsToldAndComesOnceItCan) {
    // A link to itself can't be read even by root.
    const QString later = line.home().path(u".claude/projects/-home-me-work/later.jsonl"_s);
    ASSERT_TRUE(QFile::link(u"later.jsonl"_s, later));
    const QStringList import{u"chats"_s, u"import"_s, u"--json"_s};
    const Finished partly = line.run(import);
    EXPECT_EQ(partly.status, 0);
    EXPECT_EQ(partly.object()[u"requests"_s], 1);
    EXPECT_EQ(partly.object()[u"unreadable"_s], 1);
    EXPECT_EQ(partly.errors,
              u"lumbro: 1 transcript or folder of chats can't be read, %1; make it readable and run "
              u"this again.\n"_s.arg(later));
    // A chat of this morning, from before the import.
    QFile::remove(later);
    line.home().write(u".claude/projects/-home-me-work/later.jsonl"_s,
                      turn("u3", "2026-03-02T07:00:00Z", "Early", "Yes."));
    const Finished whole = line.run(import);
    EXPECT_EQ(whole.object()[u"requests"_s], 2);
    EXPECT_TRUE(whole.errors.isEmpty()) << qPrintable(whole.errors);

    line.home().write(u"elsewhere"_s, "no folder");
    line.set(u"CLAUDE_CONFIG_DIR"_s, line.home().path(u"loop"_s));
    ASSERT_TRUE(QFile::link(u"loop"_s, line.home().path(u"loop"_s)));
    EXPECT_EQ(line.run(import).status, 1);
}

TEST_F(ChatCommands, importsAtOnceFileEachRequestOnce) {
    std::array<QProcess, 3> imports;
    for (QProcess& import : imports) {
        import.setProcessEnvironment(line.environment());
        import.start(CommandLine::program(), {u"chats"_s, u"import"_s, u"--since"_s, u"2026-03-01"_s});
    }
    for (QProcess& import : imports) {
        ASSERT_TRUE(import.waitForFinished());
        EXPECT_EQ(import.exitCode(), 0) << import.readAllStandardError().toStdString();
    }
    const QJsonArray captures = line.run({u"captures"_s, u"--json"_s}).array();
    ASSERT_EQ(captures.size(), 2);
    for (const auto capture : captures) {
        const QString id = capture[u"id"].toString();
        EXPECT_EQ(line.run({u"show"_s, id, u"--json"_s}).object()[u"entries"_s].toArray().size(), 1);
    }
}

TEST_F(ChatCommands, theAgentThatTakesALogInSeesNoSecret) {
    line.home().write(transcript,
                      turn("u3", "2026-03-02T09:00:00Z",
                           "Use " + key + " please" + QByteArray(" and wait").repeated(20), "Done."));
    const Finished alone = line.run({u"chats"_s, u"import"_s, u"--memorize"_s});
    EXPECT_EQ(alone.status, 1);
    EXPECT_TRUE(alone.errors.endsWith(u"isn't installed\n  `lumbro doctor` says how to mend that.\n"_s))
        << qPrintable(alone.errors);
    line.installAgent();
    line.run({u"chats"_s, u"import"_s, u"--memorize"_s, u"--json"_s});
    const QByteArray seen = line.home().read(u"agent.log"_s);
    EXPECT_TRUE(seen.contains("Use [hidden key] please")) << seen.left(2000).toStdString();
    EXPECT_FALSE(seen.contains(key));
}
