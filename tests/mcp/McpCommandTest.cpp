#include "library/formats/TranscriptSegment.h"
#include "tests/cli/CommandLine.h"

#include <csignal>

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::test;

namespace {

const QString weekly = u"2026-03-02-0914-meeting"_s;

/// A session with the real program, begun.
class Session {
  public:
    Session() {
        m_line.addCapture(weekly, "Weekly sync", "2026-03-02T08:14:00Z");
        m_line.write(weekly, u"notes.md"_s, "Ask about pricing\n");
        m_line.write(weekly, u"handoffs/notes.md"_s, "# Decided\n");
        m_line.write(weekly, u"transcript.json"_s,
                     transcript::encode({{QUuid::createUuid(), Speaker::them, 252.5, u"Dana has it"_s}}));
        m_line.home().write(u"Quillet/memory/people/dana-kim.md"_s,
                            "---\nname: Dana Kim\n---\n\n# Dana Kim\n");
        m_line.home().write(u"Quillet/memory/promises.md"_s,
                            "# Promises\n\n- [ ] send it · Me → [[people/dana-kim|Dana Kim]] ^p-000001\n"
                            "- [x] call · [[people/dana-kim|Dana Kim]] → Me ^p-000002\n");
        QProcessEnvironment environment = m_line.environment();
        environment.insert(u"LUMBRO_NOW"_s, u"2026-03-02T09:14:05"_s);
        m_program.setProcessEnvironment(environment);
        m_program.start(CommandLine::program(), {u"mcp"_s});
        request(u"initialize"_s, {{u"protocolVersion"_s, u"2025-06-18"_s}});
    }

    ~Session() {
        m_program.closeWriteChannel();
        m_program.waitForFinished();
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Sends a request and gives its answer.
    QJsonObject request(const QString& method, const QJsonObject& params) {
        const QJsonObject message{
            {u"jsonrpc"_s, u"2.0"_s}, {u"id"_s, ++m_id}, {u"method"_s, method}, {u"params"_s, params}};
        m_program.write(json::encodeCompact(message) + '\n');
        while (!m_program.canReadLine() && m_program.waitForReadyRead(30000)) {
        }
        const QJsonObject answer = json::object(m_program.readLine());
        EXPECT_EQ(answer[u"id"].toInt(), m_id);
        return answer[u"result"].toObject();
    }
    QJsonObject call(const QString& tool, const QByteArray& arguments) {
        return request(u"tools/call"_s, {{u"name"_s, tool}, {u"arguments"_s, json::object(arguments)}});
    }
    QJsonValue value(const QString& tool, const QByteArray& arguments) {
        const QJsonObject result = call(tool, arguments);
        EXPECT_FALSE(result[u"isError"].toBool(true)) << arguments.constData();
        return result[u"structuredContent"_s];
    }
    QString text(const QString& tool, const QByteArray& arguments) {
        return call(tool, arguments)[u"content"][0][u"text"].toString();
    }
    /// The sentence with which a call is refused; empty when it is not.
    QString refusal(const QString& tool, const QByteArray& arguments) {
        const QJsonObject result = call(tool, arguments);
        return result[u"isError"].toBool() ? result[u"content"][0][u"text"].toString() : QString();
    }

    const CommandLine& line() const { return m_line; }
    QProcess& program() { return m_program; }

  private:
    CommandLine m_line;
    QProcess m_program;
    int m_id = 0;
};

}  // namespace

TEST(McpCommand, readsCapturesAndTheirParts) {
    Session session;
    const QString tool = u"read_capture"_s;
    const QJsonValue whole = session.value(tool, R"({"id":"last"})");
    EXPECT_EQ(whole[u"handoffs"][u"notes"].toString(), u"# Decided\n"_s);
    EXPECT_EQ(whole[u"segments"][0][u"text"].toString(), u"Dana has it"_s);
    EXPECT_TRUE(session.text(tool, R"({"id":"2026"})").startsWith(u"# Weekly sync\n"));
    EXPECT_EQ(session.text(tool, R"({"id":"last","part":"transcript"})"),
              u"[00:04:12] Them: Dana has it\n"_s);
    EXPECT_EQ(session.text(tool, R"({"id":"last","part":"notes"})"), u"Ask about pricing\n"_s);
    EXPECT_EQ(session.text(tool, R"({"id":"last","part":"handoff","engine":"notes"})"),
              u"## notes\n\n# Decided\n"_s);
    const QJsonValue notes = session.value(tool, R"({"id":"last","part":"notes"})");
    EXPECT_EQ(notes.toObject().keys(), (QStringList{u"id"_s, u"notes"_s, u"title"_s}));
    EXPECT_EQ(session.refusal(tool, R"({"id":"last","part":"handoff","engine":"../notes"})"),
              weekly + u" has no hand-off of \"../notes\"; it has: notes."_s);
    EXPECT_NE(session.refusal(tool, R"({"id":"last","engine":"notes"})"), QString());
    EXPECT_NE(session.refusal(tool, R"({"id":7})"), QString());
}

TEST(McpCommand, servesNothingBesideTheLibrary) {
    Session session;
    session.line().home().write(u"secret/meta.json"_s,
                                session.line().home().read(u"Quillet/captures/%1/meta.json"_s.arg(weekly)));
    for (const QByteArray id :
         {"../../secret", "..", ".", "", "/etc", "2026-03-02-0914-meeting/../../../secret"}) {
        EXPECT_NE(session.refusal(u"read_capture"_s, R"({"id":")" + id + R"("})"), QString())
            << id.constData();
        EXPECT_NE(session.refusal(u"ask_context"_s, R"({"question":"?","scope":"capture:)" + id + R"("})"),
                  QString());
    }
    EXPECT_NE(session.refusal(u"list_people"_s, R"({"person":"../people/dana-kim"})"), QString());
    const QString captures = session.line().home().path(u"Quillet/captures/"_s);
    ASSERT_TRUE(QFile::link(session.line().home().path(u"secret"_s), captures + u"2026-03-03-linked"_s));
    EXPECT_TRUE(session.refusal(u"read_capture"_s, R"({"id":"2026-03-03-linked"})").contains(u"leads out"));
    ASSERT_TRUE(QFile::link(session.line().home().path(u"secret/meta.json"_s),
                            captures + weekly + u"/handoffs/other.md"_s));
    EXPECT_TRUE(
        session.refusal(u"read_capture"_s, R"({"id":"2026-03-02-0914-meeting"})").contains(u"leads out"));
}

TEST(McpCommand, followsOnlyLinksThatStayInTheLibrary) {
    Session session;
    const ScratchFolder& home = session.line().home();
    const QByteArray meta = home.read(u"Quillet/captures/%1/meta.json"_s.arg(weekly));
    for (const QString& place : {u"outside"_s, u"Quillet/kept"_s}) {
        home.write(place + u"/capture/meta.json"_s, QByteArray(meta).replace("Weekly sync", "Granite sync"));
        home.write(place + u"/text/note.md"_s, "A granite floor\n");
        home.write(place + u"/pages/granite.md"_s, "---\nname: Granite Lee\n---\n\n# Granite Lee\n");
        home.write(place + u"/promises.md"_s, "# Promises\n\n- [ ] granite · Me → Lee ^p-000009\n");
        home.write(place + u"/ideas.md"_s, "# Ideas\n\n- **Granite** — it lasts · 2026-03-02 ^i-aaaaaa\n");
        home.write(place + u"/asks/one.md"_s, "### Me\nWhich stone?\n### Lumbro\nGranite\n");
    }
    const std::pair<QString, QString> rows[]{
        {u"captures/2026-03-03-linked"_s, u"capture"_s},
        {u"captures/2026-03-04-meta/meta.json"_s, u"capture/meta.json"_s},
        {u"captures/%1/screen.md"_s.arg(weekly), u"text/note.md"_s},
        {u"captures/%1/handoffs"_s.arg(weekly), u"text"_s},
        {u"captures/%1/handoffs/other.md"_s.arg(weekly), u"text/note.md"_s},
        {u"memory/people/granite.md"_s, u"pages/granite.md"_s},
        {u"memory/projects"_s, u"pages"_s},
        {u"memory/promises.md"_s, u"promises.md"_s},
        {u"memory/ideas.md"_s, u"ideas.md"_s},
        {u"memory"_s, u""_s},
        {u"asks/one.md"_s, u"asks/one.md"_s},
        {u"asks"_s, u"asks"_s},
    };
    const auto found = [&session] {
        qsizetype count = 0;
        QJsonObject lists = session.value(u"search"_s, R"({"query":"granite"})").toObject();
        lists.remove(u"unreadable"_s);
        for (const QJsonValue& list : std::as_const(lists)) {
            count += list.toArray().size();
        }
        return count + session.value(u"list_people"_s, "{}")[u"people"].toArray().size();
    };
    ASSERT_TRUE(QDir().rename(home.path(u"Quillet"_s), home.path(u"real"_s)) &&
                QFile::link(home.path(u"real"_s), home.path(u"Quillet"_s)));
    for (const auto& [link, target] : rows) {
        SCOPED_TRACE(link.toStdString());
        const QString path = home.path(u"Quillet/"_s + link);
        const bool wasThere = QFile::rename(path, home.path(u"aside"_s));
        QDir().mkpath(QFileInfo(path).path());
        const qsizetype before = found();
        ASSERT_TRUE(QFile::link(home.path(u"outside/"_s + target), path));
        EXPECT_EQ(found(), before);
        QFile::remove(path);
        ASSERT_TRUE(QFile::link(home.path(u"Quillet/kept/"_s + target), path));
        EXPECT_GT(found(), before);
        QFile::remove(path);
        EXPECT_TRUE(!wasThere || QFile::rename(home.path(u"aside"_s), path));
    }
    ASSERT_TRUE(QFile::link(home.path(u"outside/pages/granite.md"_s),
                            home.path(u"Quillet/memory/people/granite.md"_s)) &&
                QFile::link(home.path(u"outside/capture/meta.json"_s),
                            home.path(u"Quillet/captures/2026-03-04-meta/meta.json"_s)));
    const QString tool = u"ask_context"_s;
    EXPECT_NE(session.refusal(tool, R"({"question":"?","scope":"person:granite"})"), QString());
    EXPECT_TRUE(session.refusal(tool, R"({"question":"?","scope":"capture:2026-03-04"})").contains(u"leads"));
    EXPECT_NE(session.refusal(u"list_people"_s, R"({"person":"granite"})"), QString());
}

TEST(McpCommand, saysThatAFolderLeadsOut) {
    Session session;
    const ScratchFolder& home = session.line().home();
    const QByteArray query = R"({"query":"weekly"})";
    EXPECT_TRUE(session.value(u"search"_s, query)[u"unreadable"].isUndefined());
    const QString captures = home.path(u"Quillet/captures"_s);
    ASSERT_TRUE(QDir().rename(captures, home.path(u"elsewhere"_s)) &&
                QFile::link(home.path(u"elsewhere"_s), captures));
    const QJsonValue found = session.value(u"search"_s, query);
    EXPECT_EQ(found[u"captures"].toArray().size(), 0);
    EXPECT_EQ(found[u"unreadable"].toArray(), QJsonArray{captures});
}

TEST(McpCommand, looksAtTheFilesAsTheyAreNow) {
    Session session;
    const QByteArray query = R"({"query":"granite"})";
    EXPECT_EQ(session.value(u"search"_s, query)[u"captures"].toArray().size(), 0);
    EXPECT_EQ(session.value(u"list_people"_s, "{}")[u"people"].toArray().size(), 1);
    session.line().write(weekly, u"notes.md"_s, "Granite floor\n");
    session.line().home().write(u"Quillet/memory/people/lee.md"_s, "---\nname: Lee Granite\n---\n\n# Lee\n");
    const QJsonValue found = session.value(u"search"_s, query);
    EXPECT_EQ(found[u"captures"][0][u"hits"][0][u"snippet"].toString(), u"Granite floor"_s);
    EXPECT_EQ(found[u"people"].toArray(), QJsonArray{u"lee"_s});
    EXPECT_EQ(session.value(u"list_people"_s, "{}")[u"people"].toArray().size(), 2);
    EXPECT_EQ(session.value(u"list_people"_s, R"({"person":"Lee Granite"})")[u"people"][0][u"id"].toString(),
              u"lee"_s);
    EXPECT_NE(session.refusal(u"search"_s, R"({"query":"  "})"), QString());
}

TEST(McpCommand, namesTheFilesOfTheMemoryThatCannotBeRead) {
    Session session;
    EXPECT_TRUE(session.value(u"list_people"_s, "{}")[u"unreadable"].isUndefined());
    session.line().home().write(u"Quillet/memory/people/broken.md"_s, "\xff\xfe");
    const QJsonArray broken{session.line().home().path(u"Quillet/memory/people/broken.md"_s)};
    EXPECT_EQ(session.value(u"list_people"_s, "{}")[u"unreadable"].toArray(), broken);
    EXPECT_EQ(session.value(u"search"_s, R"({"query":"nowhere"})")[u"unreadable"].toArray(), broken);
    EXPECT_TRUE(session.value(u"list_promises"_s, "{}")[u"unreadable"].isUndefined());
}

TEST(McpCommand, listsPromisesAndGivesTheContextOfAQuestion) {
    Session session;
    const auto ids = [&session](const QByteArray& arguments) {
        QStringList all;
        for (const auto promise : session.value(u"list_promises"_s, arguments)[u"promises"].toArray()) {
            all += promise[u"id"].toString();
        }
        return all.join(u' ');
    };
    EXPECT_EQ(ids("{}"), u"p-000001"_s);
    EXPECT_EQ(ids(R"({"done":true})"), u"p-000001 p-000002"_s);
    EXPECT_EQ(ids(R"({"theirs":true,"done":true})"), u"p-000002"_s);
    EXPECT_EQ(ids(R"({"mine":true,"due":true})"), QString());
    const QString input =
        session.text(u"ask_context"_s, R"({"question":"What is open?","scope":"person:dana"})");
    EXPECT_TRUE(input.startsWith(u"QUESTION: What is open?\n"));
    EXPECT_TRUE(input.contains(u"- Me → Dana Kim: send it\n"));
    EXPECT_TRUE(input.contains(u"TODAY: Monday, March 2, 2026"));
    EXPECT_NE(session.refusal(u"ask_context"_s, R"({"question":"?","scope":"moon"})"), QString());
}

TEST(McpCommand, endsWellWithItsInputAndWhenAskedTo) {
    Session closed;
    closed.program().write(R"({"jsonrpc":"2.0","id":9,"method":"ping"})");
    closed.program().closeWriteChannel();
    ASSERT_TRUE(closed.program().waitForFinished());
    EXPECT_EQ(closed.program().exitCode(), 0);
    EXPECT_EQ(closed.program().readAllStandardOutput(), "{\"id\":9,\"jsonrpc\":\"2.0\",\"result\":{}}\n");
    EXPECT_EQ(closed.program().readAllStandardError(), "");
    Session asked;
    kill(pid_t(asked.program().processId()), SIGTERM);
    ASSERT_TRUE(asked.program().waitForFinished());
    EXPECT_EQ(asked.program().exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(asked.program().exitCode(), 0);
}
