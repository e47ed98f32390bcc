#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "chats/ClaudeChatReader.h"
#include "chats/TranscriptWalk.h"
#include "tests/support/Nobody.h"
#include "tests/support/ScratchFolder.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <atomic>
#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace lumbro;
using namespace lumbro::test;

namespace {

QByteArray line(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

QJsonObject message(const QJsonValue& content) {
    return {{u"content"_s, content}};
}

QJsonObject user(const QJsonValue& content, const QJsonObject& more = {}) {
    QJsonObject object{{u"type"_s, u"user"_s},
                       {u"uuid"_s, u"u1"_s},
                       {u"sessionId"_s, u"s1"_s},
                       {u"cwd"_s, u"/home/me/work"_s},
                       {u"timestamp"_s, u"2026-03-02T10:00:00.123Z"_s},
                       {u"message"_s, message(content)}};
    for (auto it = more.begin(); it != more.end(); ++it) {
        object[it.key()] = it.value();
    }
    return object;
}

QJsonObject text(const QString& words) {
    return {{u"type"_s, u"text"_s}, {u"text"_s, words}};
}

QJsonObject assistant(const QJsonArray& content, bool isSidechain = false) {
    return {{u"type"_s, u"assistant"_s}, {u"isSidechain"_s, isSidechain}, {u"message"_s, message(content)}};
}

QJsonObject tool() {
    return {{u"type"_s, u"tool_use"_s}, {u"name"_s, u"Bash"_s}};
}

class ClaudeChatReaderTest : public testing::Test {
  protected:
    SessionEntries parsed(const QByteArray& bytes) const {
        m_scratch.write(u"chat.jsonl"_s, bytes);
        return ClaudeChatReader::parse(m_scratch.path(u"chat.jsonl"_s));
    }
    QString prompt(const QJsonObject& object) const {
        const SessionEntries entries = parsed(line(object));
        return entries.isEmpty() ? u"none"_s : entries.first().prompt;
    }

    ScratchFolder m_scratch;
};

}  // namespace

TEST_F(ClaudeChatReaderTest, aTurnIsWhatWasAskedAndTheLastAnswer) {
    const SessionEntries entries = parsed(
        line(assistant({text(u"before anything was asked"_s)})) + line(user(u"first"_s)) +
        line(assistant({text(u"an answer"_s), tool()})) +
        line(user(QJsonArray{QJsonObject{{u"type"_s, u"tool_result"_s}}})) +
        R"({"type":"user","message":{"content":[{"type":"tool_result"},{"type":"text","text":"no"}]}})" +
        '\n' + line(assistant({text(u"the last"_s), text(u"answer"_s)})) +
        line(assistant({text(u"  \n"_s)})) + line(assistant({text(u"of a subagent"_s)}, true)) +
        line(assistant({tool()})) +
        line(user(u"second"_s, {{u"uuid"_s, u"u2"_s}, {u"timestamp"_s, u"2026-03-02T10:05:00Z"_s}})));
    ASSERT_EQ(entries.size(), 2);
    const SessionEntry expected{.id = u"u1"_s,
                                .session = u"s1"_s,
                                .title = {},
                                .project = {},
                                .folder = u"/home/me/work"_s,
                                .time = *dates::fromIso(u"2026-03-02T10:00:00Z"),
                                .prompt = u"first"_s,
                                .reply = u"the last\nanswer"_s};
    EXPECT_EQ(entries[0], expected);
    EXPECT_EQ(entries[1].id, u"u2"_s);
    EXPECT_EQ(entries[1].reply, u""_s);
}

TEST_F(ClaudeChatReaderTest, onlyWhatAPersonAskedIsAPrompt) {
    struct Row {
        QJsonObject line;
        QString prompt;
    };
    const QString none = u"none"_s;
    const QJsonObject command = user(
        u"<command-message>review</command-message><command-name> /review </command-name><command-args>12</command-args>"_s);
    const Row rows[] = {
        {user(u" plain\n"_s), u"plain"_s},
        {user(QJsonArray{text(u"a"_s), QJsonObject{{u"type"_s, u"image"_s}, {u"text"_s, u"no"_s}},
                         text(u"b"_s)}),
         u"a\nb"_s},
        {user(u"x"_s, {{u"isMeta"_s, true}}), none},
        {user(u"x"_s, {{u"isSidechain"_s, true}}), none},
        {user(u"x"_s, {{u"isCompactSummary"_s, true}}), none},
        {user(u"[Request interrupted by user for tool use]"_s), none},
        {user(u"x"_s, {{u"timestamp"_s, u"9999-12-31T23:59:59Z"_s}}), none},
        {user(u"x"_s, {{u"timestamp"_s, u"1969-12-30T00:00:00Z"_s}}), none},
        {user(u"x"_s, {{u"entrypoint"_s, u"sdk-cli"_s}}), none},
        {user(u"x"_s, {{u"entrypoint"_s, u"cli"_s}, {u"promptSource"_s, u"typed"_s}}), u"x"_s},
        {user(u"x"_s, {{u"promptSource"_s, u"system"_s}}), none},
        {user(u"x"_s, {{u"origin"_s, QJsonObject{{u"kind"_s, u"human"_s}}}}), u"x"_s},
        {user(u"x"_s, {{u"origin"_s, QJsonObject{{u"kind"_s, u"hook"_s}}}}), none},
        {user(u"x"_s, {{u"origin"_s, QJsonObject{{u"kind"_s, 1}}}}), u"x"_s},
        {user(u"x"_s, {{u"origin"_s, u"hook"_s}}), u"x"_s},
        {user(12), none},
        {user(u"x"_s, {{u"message"_s, u"x"_s}}), none},
        {user(u"x"_s, {{u"timestamp"_s, u"yesterday"_s}}), none},
        {user(u"x"_s, {{u"timestamp"_s, u"2026-03-02"_s}}), none},
        {user(u"x"_s, {{u"timestamp"_s, u"2026-03-02T10:00:00."_s}}), none},
        {command, u"/review 12"_s},
        {user(u"<command-name>/clear</command-name><command-args></command-args>"_s), u"/clear"_s},
        {user(u"<command-name>/clear</command-name>"_s), u"/clear"_s},
        {user(u"<pasted_content id=\"1\">a > b\n</pasted_content >"_s), u"[pasted text]"_s},
        {user(u"see <pasted_content>1</pasted_content> and <pasted_content>2</pasted_content>."_s),
         u"see [pasted text] and [pasted text]."_s},
        {user(u"<system-reminder>x</system-reminder> "_s), none},
        {user(u"a<system-reminder>x</system-reminder>b<system-reminder>"_s), u"ab<system-reminder>"_s},
        {user(u"<local-command-stdout>x"_s), none},
        {user(u"password: hunter22"_s), u"password: [hidden]"_s},
        {user(u"p\u00e4\u00dfe \U0001f600 \"quoted\" \\ \t"_s), u"p\u00e4\u00dfe \U0001f600 \"quoted\" \\"_s},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(prompt(row.line).toStdString(), row.prompt.toStdString()) << line(row.line).toStdString();
    }
}

TEST_F(ClaudeChatReaderTest, namesHoldNoSecretAndNoLineEnd) {
    const QString key = u"sk-"_s + u"Zq9"_s.repeated(12);
    const SessionEntries entries = parsed(
        line(user(u"first"_s, {{u"cwd"_s, u"/home/me/"_s + key + u"\n## x"_s}, {u"sessionId"_s, key}})) +
        line(
            user(u"second"_s, {{u"cwd"_s, u"/home/me/task-management-system-of-mine"_s}, {u"uuid"_s, key}})));
    ASSERT_EQ(entries.size(), 2);
    EXPECT_EQ(entries[0].folder, u"/home/me/[hidden key] ## x"_s);
    EXPECT_EQ(entries[0].session, u"[hidden key]"_s);
    EXPECT_EQ(entries[1].folder, u"/home/me/task-management-system-of-mine"_s);
    EXPECT_FALSE(entries[1].id.isEmpty() || entries[1].id.contains(key));
}

TEST_F(ClaudeChatReaderTest, textsAreCutAfterTheSecretsAreHidden) {
    const QString key = u"sk-"_s + u"a1"_s.repeated(20);
    const SessionEntries entries = parsed(line(user(key + u" "_s + u"p"_s.repeated(3000))) +
                                          line(assistant({text(u"r"_s.repeated(895) + key)})));
    ASSERT_EQ(entries.size(), 1);
    EXPECT_EQ(entries[0].prompt, u"[hidden key] "_s + u"p"_s.repeated(1187));
    EXPECT_EQ(entries[0].reply, u"r"_s.repeated(895) + u"[hidd"_s);
    // A letter with its accent is one character.
    const QString accented = u"e\u0301"_s;
    EXPECT_EQ(prompt(user(accented.repeated(1300))), accented.repeated(1200));
}

TEST_F(ClaudeChatReaderTest, theLastTitleOfAPersonWinsElseTheFirstFound) {
    const auto found = [](const QString& title) {
        return line({{u"type"_s, u"ai-title"_s}, {u"aiTitle"_s, title}});
    };
    const auto custom = [](const QString& title) {
        return line({{u"type"_s, u"custom-title"_s}, {u"title"_s, u""_s}, {u"customTitle"_s, title}});
    };
    struct Row {
        QByteArray lines;
        std::optional<QString> title;
    };
    const Row rows[] = {
        {{}, std::nullopt},
        {found(u"a"_s) + found(u"b"_s), u"a"_s},
        {found(u"a"_s) + custom(u"b"_s) + found(u"c"_s), u"b"_s},
        {custom(u"a"_s) + custom(u"b"_s) + custom(u""_s), u"b"_s},
        {found(u"password: hunter22"_s), u"password: [hidden]"_s},
        {custom(u"tidy \u202egpj.exe\u202c\u200f\n\u2067task-management-system-of-mine\ufeff"_s),
         u"tidy gpj.exe task-management-system-of-mine"_s},
        {found(u"a"_s) + custom(u"\u202e"_s), u"a"_s},
    };
    for (const Row& row : rows) {
        const SessionEntries entries = parsed(line(user(u"x"_s)) + row.lines);
        ASSERT_EQ(entries.size(), 1);
        EXPECT_EQ(entries[0].title, row.title);
    }
}

TEST_F(ClaudeChatReaderTest, aLineWithoutAnIdGetsTheSameOneEachTime) {
    QJsonObject object = user(u"x"_s);
    object.remove(u"uuid"_s);
    object.remove(u"sessionId"_s);
    const SessionEntries once = parsed(line(object));
    ASSERT_EQ(once.size(), 1);
    EXPECT_EQ(once[0].session, u"chat"_s);
    EXPECT_EQ(once[0].id.size(), 36);
    EXPECT_EQ(parsed(line(object)), once);
}

TEST_F(ClaudeChatReaderTest, brokenLinesAreSkippedAndTheRestIsRead) {
    const QByteArray good = line(user(u"good"_s));
    QByteArray half = good;
    half.chop(10);
    const QByteArray nested = "{\"type\":\"user\",\"a\":" + QByteArray(100'000, '[') + "\n";
    const QByteArray spoiled[] = {"\n",
                                  "{}\n",
                                  "[\"-title\"]\n",
                                  "\"type\":\"user\"\n",
                                  QByteArray(50, '\0') + good,
                                  "{\"type\":\"user\",\"cwd\":\"\xff\xfe\"}\n",
                                  QByteArray(good).replace("good", QByteArray("go\0od", 5)),
                                  QByteArray(good).replace("good", "go\\xod"),
                                  QByteArray(good).replace("good", "\\ud8"),
                                  nested,
                                  QByteArray(good).replace("{\"content\"", "{,\"content\""),
                                  half + "\n",
                                  good.trimmed() + "}\n",
                                  good.trimmed() + good};
    for (const QByteArray& bytes : spoiled) {
        EXPECT_EQ(parsed(bytes).size(), 0) << bytes.left(300).toStdString();
        EXPECT_EQ(parsed(bytes + good + half).size(), 1) << bytes.left(300).toStdString();
    }
    // The last line needs no end, and a line may end like one of Windows.
    EXPECT_EQ(parsed(good.trimmed()).size(), 1);
    EXPECT_EQ(parsed(good.trimmed() + "\r\n" + good).size(), 2);
}

TEST_F(ClaudeChatReaderTest, escapesReadAsTheCharactersTheyStandFor) {
    const auto asked = [this](const QByteArray& json) {
        const SessionEntries entries = parsed(line(user(u"good"_s)).replace("good", json));
        return entries.isEmpty() ? u"none"_s : entries.first().prompt;
    };
    EXPECT_EQ(asked(R"(a\/\"\\\n\tc)"), u"a/\"\\\n\tc"_s);
    EXPECT_EQ(asked(R"(\u0041\u00e4\u20ac\ud83d\uDE00.)"), u"A\u00e4\u20ac\U0001f600."_s);
    EXPECT_EQ(asked(R"(x\ud83dy\ude00z\ud83d\u0041)"), u"x\ufffdy\ufffdz\ufffdA"_s);
    EXPECT_EQ(asked(R"(\ud83d\x)"), u"none"_s);
}

TEST_F(ClaudeChatReaderTest, linesOfAnyLengthMeetTheBlocksAnywhere) {
    // Around the size of a block and of half of one, so that marks and lines are cut at every place.
    for (const qsizetype near : {qsizetype(128) * 1024, qsizetype(256) * 1024, qsizetype(800) * 1024}) {
        for (qsizetype size = near - 400; size < near + 40; size += 11) {
            const QByteArray filler = "{\"a\":\"" + QByteArray(size, 'x') + "\"}\n";
            const SessionEntries entries = parsed(filler + line(user(u"asked"_s)) + filler +
                                                  line(assistant({text(u"answered"_s)})) + filler);
            ASSERT_EQ(entries.size(), 1) << size;
            ASSERT_EQ(entries[0].reply, u"answered"_s) << size;
        }
    }
}

TEST_F(ClaudeChatReaderTest, longLinesAreReadWhereTheyMatter) {
    const QString image = u"i"_s.repeated(3'000'000);
    const QJsonObject picture{{u"type"_s, u"image"_s}, {u"source"_s, QJsonObject{{u"data"_s, image}}}};
    const SessionEntries entries = parsed(line(user(QJsonArray{picture, text(u"what is this"_s)})) +
                                          line(assistant({text(u"a picture"_s), picture})) +
                                          line(user(u"long "_s + image, {{u"uuid"_s, u"u2"_s}})));
    ASSERT_EQ(entries.size(), 2);
    EXPECT_EQ(entries[0].prompt, u"what is this"_s);
    EXPECT_EQ(entries[0].reply, u"a picture"_s);
    EXPECT_EQ(entries[1].prompt.size(), 1200);
}

TEST_F(ClaudeChatReaderTest, aTranscriptThatChangesMeanwhileDoesNoHarm) {
    const QByteArray turn = line(user(u"asked"_s)) + line(assistant({text(u"answered"_s)}));
    m_scratch.write(u"chat.jsonl"_s, turn.repeated(2000));
    const QString path = m_scratch.path(u"chat.jsonl"_s);
    std::atomic<bool> stop = false;
    std::thread writer([&] {
        while (!stop) {
            [[maybe_unused]] const int shorter = truncate(QFile::encodeName(path).constData(), 70'000);
            QFile file(path);
            if (file.open(QIODevice::Append)) {
                file.write(turn.repeated(1000));
            }
        }
    });
    for (int i = 0; i < 30; ++i) {
        EXPECT_LE(ClaudeChatReader::parse(path).size(), 1'000'000);
    }
    stop = true;
    writer.join();
}

TEST_F(ClaudeChatReaderTest, onlyPlainTranscriptsOfProjectsAreRead) {
    const QByteArray good = line(user(u"x"_s));
    m_scratch.write(u"projects/a/one.jsonl"_s, good);
    m_scratch.write(u"projects/a/session/subagents/two.jsonl"_s, good);
    m_scratch.write(u"projects/a/notes.txt"_s, good);
    m_scratch.write(u"projects/a/.jsonl"_s, good);
    m_scratch.write(u"projects/three.jsonl"_s, good);
    m_scratch.write(u"projects/a/folder.jsonl/x"_s, good);
    m_scratch.write(u"elsewhere.jsonl"_s, line(user(u"x"_s, {{u"uuid"_s, u"u2"_s}})));
    const auto native = [this](const QString& name) { return QFile::encodeName(m_scratch.path(name)); };
    ASSERT_EQ(mkfifo(native(u"projects/a/pipe.jsonl"_s).constData(), 0600), 0);
    ASSERT_EQ(symlink("/nowhere", native(u"projects/a/broken.jsonl"_s).constData()), 0);
    ASSERT_EQ(symlink("..", native(u"projects/a/loop"_s).constData()), 0);
    ASSERT_EQ(
        symlink(native(u"elsewhere.jsonl"_s).constData(), native(u"projects/a/link.jsonl"_s).constData()), 0);
    const SessionEntries entries =
        ClaudeChatReader::read({}, {}, u"/home/me/Notes"_s, m_scratch.path(u"projects"_s));
    ASSERT_EQ(entries.size(), 2);
    EXPECT_EQ(entries[0].project, u"work"_s);
    EXPECT_EQ(ClaudeChatReader::read({}, {}, {}, m_scratch.path(u"nowhere"_s)).size(), 0);
    EXPECT_EQ(ClaudeChatReader::parse(m_scratch.path(u"projects/a/pipe.jsonl"_s)).size(), 0);
}

TEST_F(ClaudeChatReaderTest, whatIsThereAndCannotBeReadIsNamed) {
    const QByteArray good = line(user(u"x"_s));
    const QString projects = m_scratch.path(u"projects"_s);
    for (const QString& name : {u"a/good"_s, u"a/closed"_s, u"b/hidden"_s}) {
        m_scratch.write(u"projects/"_s + name + u".jsonl"_s, good);
    }
    ASSERT_EQ(symlink("/nowhere", QFile::encodeName(projects + u"/a/gone.jsonl"_s).constData()), 0);
    Nobody nobody(m_scratch.path());
    const auto unreadable = [&](const QString& folder, const QDateTime& since = {}) {
        QStringList paths;
        ClaudeChatReader::read(since, {}, {}, folder, nullptr, &paths);
        return paths;
    };
    EXPECT_EQ(unreadable(projects), QStringList());
    EXPECT_EQ(unreadable(projects + u"/nowhere"_s), QStringList());
    ASSERT_TRUE(nobody.close(projects + u"/a/closed.jsonl"_s) && nobody.close(projects + u"/b"_s));
    EXPECT_EQ(unreadable(projects), (QStringList{projects + u"/b"_s, projects + u"/a/closed.jsonl"_s}));
    EXPECT_EQ(unreadable(projects, QDateTime::currentDateTime().addSecs(60)),
              QStringList{projects + u"/b"_s});
    ASSERT_TRUE(nobody.close(projects));
    EXPECT_EQ(unreadable(projects), QStringList{projects});
}

TEST_F(ClaudeChatReaderTest, datesAndFoldersChooseTheEntries) {
    struct Row {
        QString folder;
        bool isTaken;
    };
    const QString home = QDir::homePath();
    const Row rows[] = {{u"/home/me/work"_s, true},
                        {u""_s, false},
                        {u"/tmp/x"_s, false},
                        {u"/tmpx"_s, true},
                        {u"/private/var/folders/a"_s, false},
                        {u"/var/folders/a"_s, false},
                        {u"/home/me/Notes/captures"_s, false},
                        {u"/home/me/Notes2"_s, true},
                        {home + u"/Quillet/engines"_s, false}};
    for (const Row& row : rows) {
        m_scratch.write(u"projects/a/one.jsonl"_s, line(user(u"x"_s, {{u"cwd"_s, row.folder}})));
        const auto read = [&](const QDateTime& modified, const QDateTime& since) {
            return ClaudeChatReader::read(modified, since, u"/home/me/Notes"_s, m_scratch.path(u"projects"_s))
                .size();
        };
        EXPECT_EQ(read({}, {}), row.isTaken ? 1 : 0) << row.folder.toStdString();
        const QDateTime asked = *dates::fromIso(u"2026-03-02T10:00:00Z");
        EXPECT_EQ(read({}, asked), row.isTaken ? 1 : 0);
        EXPECT_EQ(read({}, asked.addSecs(1)), 0);
        EXPECT_EQ(read(QDateTime::currentDateTime().addSecs(60), {}), 0);
    }
}

TEST_F(ClaudeChatReaderTest, aProjectIsNamedAfterItsRepository) {
    QDir().mkpath(m_scratch.path(u"repo/.git"_s));
    QDir().mkpath(m_scratch.path(u"repo/a/b/c/d/e/f"_s));
    m_scratch.write(u"linked/.git"_s, "gitdir: elsewhere");
    struct Row {
        QString folder;
        QString name;
    };
    const Row rows[] = {
        {u""_s, u"Other"_s},
        {u"/"_s, u"Other"_s},
        {QDir::homePath(), u"Home"_s},
        {m_scratch.path(u"repo"_s), u"repo"_s},
        {m_scratch.path(u"repo/a/b/c/d/e/"_s), u"repo"_s},
        {m_scratch.path(u"repo/a/b/c/d/e/f"_s), u"f"_s},
        {m_scratch.path(u"repo/.claude/worktrees/x/deep"_s), u"repo"_s},
        {m_scratch.path(u"gone/.codex/worktrees/x"_s), u"gone"_s},
        {m_scratch.path(u"linked/src"_s), u"linked"_s},
        {m_scratch.path(u"plain/folder"_s), u"folder"_s},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(ClaudeChatReader::projectName(row.folder).toStdString(), row.name.toStdString());
    }
}
