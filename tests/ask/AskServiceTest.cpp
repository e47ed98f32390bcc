#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Dates.h"
#include "LumbroCore/LockedUpdate.h"
#include "ask/AskService.h"
#include "ask/formats/AskThreadFile.h"
#include "memory/MemoryStore.h"
#include "tests/library/LibraryFixture.h"
#include "tests/model/ScriptedAgent.h"

#include <QFileInfo>

using namespace lumbro;
using namespace std::chrono_literals;

namespace {

const QString reply =
    u"She wants it on Friday.\nSOURCES: captures/2026-03-01-0900-meeting/notes.md, people/dana-kim.md, x"_s;

template <typename T>
Task<T> later(T value) {
    co_return value;
}

struct AskServiceTest : test::LibraryTest {
    AskServiceTest() {
        put(u"2026-03-01-0900-meeting"_s, meta("meeting"));
        m_folder.write(u"memory/people/dana-kim.md"_s, "---\nname: Dana Kim\n---\n# Dana Kim\n");
        m_library.open();
        memory.bootstrap();
        service.reload();
    }
    ~AskServiceTest() override {
        // What still runs is to end with the test.
        for (const auto& each : agent.calls) {
            each->answer(fail(FailureKind::cancelled, u"the test is over"_s));
        }
    }

    QString ask(const QString& text, const QString& thread = {}) {
        AskQuestion question;
        question.question = text;
        question.thread = thread;
        return ask(question);
    }
    QString ask(AskQuestion question) {
        question.onAnswer = [this](const AskAnswer& answer) { answers << answer; };
        question.onError = [this](const Failure& failure) { failures << failure.message; };
        return service.ask(question);
    }
    /// The newest question's run.
    test::ScriptedAgent::Call& call() { return *agent.calls.back(); }
    QString file(const QString& id) const {
        return QString::fromUtf8(m_folder.read(u"asks/"_s + id + u".md"_s));
    }
    /// The thread as another process would read it.
    AskThread onDisk(const QString& id) const { return askThreadFile::read(file(id), id + u".md"_s, {}); }
    QStringList questions(const AskThread& thread) const {
        QStringList texts;
        for (const AskTurn& turn : thread.turns) {
            texts << turn.question;
        }
        return texts;
    }

    Settings settings{m_folder.path(u"settings.ini"_s)};
    MemoryStore memory{m_library, m_clock, settings};
    test::ScriptedAgent agent;
    AskService service{m_clock, settings, m_library, memory, agent};
    QList<AskAnswer> answers;
    QStringList failures;
};

}  // namespace

TEST_F(AskServiceTest, aQuestionBecomesAStoredConversation) {
    const QString id = ask(u"  What did Dana say? "_s);
    EXPECT_EQ(id, u"2026-03-02-0914-what-did-dana-say"_s);
    EXPECT_EQ(service.pending().value(id), u"What did Dana say?"_s);
    EXPECT_EQ(service.threads().value(0).id, id);
    const AgentRequest& request = call().request;
    EXPECT_EQ(request.model, u"sonnet"_s);
    EXPECT_EQ(request.tools, (QStringList{u"Read"_s, u"Grep"_s, u"Glob"_s}));
    EXPECT_EQ(request.workingDirectory, m_folder.path());
    EXPECT_EQ(request.context,
              u"QUESTION: What did Dana say?\n\n## APPS I CAN ACT IN\nReminders, Mail, Calendar\n\n"
              u"TODAY: Monday, March 2, 2026 at 9:14 AM"_s);
    EXPECT_FALSE(m_folder.has(u"asks/"_s + id + u".md"_s));

    m_clock.advance(20s);
    call().answer(reply);
    ASSERT_EQ(answers.size(), 1);
    EXPECT_EQ(answers.first().text, u"She wants it on Friday."_s);
    EXPECT_EQ(answers.first().thread, id);
    EXPECT_EQ(answers.first().sources.value(0).title, u"T"_s);
    EXPECT_EQ(answers.first().sources.value(1).title, u"Dana Kim"_s);
    EXPECT_TRUE(service.pending().isEmpty());
    EXPECT_FALSE(service.isRunning(id));
    EXPECT_EQ(file(id),
              u"---\ntitle: What did Dana say?\ncreated: %1\nscope: library\n---\n\n# What did Dana say?\n\n"
              u"### Me · %2\nWhat did Dana say?\n\n### Lumbro\nShe wants it on Friday.\nSOURCES: "
              u"captures/2026-03-01-0900-meeting/notes.md, people/dana-kim.md, x\n"_s.arg(
                  dates::iso(m_clock.now().addSecs(-20)), dates::iso(m_clock.now())));
}

TEST_F(AskServiceTest, aThreadGoesOnAfterARestartWithoutLosingItsSources) {
    AskQuestion first;
    first.question = u"One"_s;
    first.scope = {AskScope::Kind::person, u"dana-kim"_s};
    const QString id = ask(first);
    EXPECT_TRUE(call().request.context.contains(u"\n\n## THIS PERSON\nThe question is about Dana Kim: "_s));
    call().answer(reply);
    AskService other(m_clock, settings, m_library, memory, agent);
    other.reload();
    AskQuestion second;
    second.question = u"Two"_s;
    second.thread = id;
    second.scope = AskScope::capture(u"2026-03-01-0900-meeting"_s);
    EXPECT_EQ(other.ask(second), id);
    EXPECT_TRUE(call().request.context.contains(
        u"## CONVERSATION SO FAR\nMe: One\nLumbro: She wants it on Friday.\n\n## THIS PERSON"_s));
    call().answer(u"Yes.\nSOURCES: y"_s);
    const AskThread thread = onDisk(id);
    EXPECT_EQ(thread.scope, first.scope);
    ASSERT_EQ(thread.turns.size(), 2);
    EXPECT_EQ(thread.turns.first().rawSources.size(), 3);
    EXPECT_EQ(thread.turns.last().rawSources, QStringList{u"y"_s});
}

TEST_F(AskServiceTest, turnsThatAnotherProcessAddedStay) {
    const QString id = ask(u"One"_s);
    call().answer(u"1"_s);
    AskService other(m_clock, settings, m_library, memory, agent);
    other.reload();
    AskQuestion theirs;
    theirs.question = u"Theirs"_s;
    theirs.thread = id;
    ask(u"Ours"_s, id);
    const auto ours = agent.calls.back();
    other.ask(theirs);
    call().answer(u"2"_s);
    ours->answer(u"3"_s);
    EXPECT_EQ(questions(onDisk(id)), (QStringList{u"One"_s, u"Theirs"_s, u"Ours"_s}));
    EXPECT_EQ(questions(*service.thread(id)), questions(onDisk(id)));
}

TEST_F(AskServiceTest, anAnswerThatCannotBeWrittenStaysAndIsWrittenWithTheNext) {
    const QString id = ask(u"One"_s);
    call().answer(u"1"_s);
    ask(u"Two"_s, id);
    // A folder of the file's name stands in its place.
    const QString path = m_folder.path(u"asks/"_s + id + u".md"_s);
    ASSERT_TRUE(QFile::rename(path, path + u"-"_s) && QDir().mkdir(path));
    call().answer(u"2"_s);
    EXPECT_EQ(answers.size(), 2);
    EXPECT_FALSE(service.saveFailure(id).isEmpty());
    EXPECT_EQ(questions(*service.thread(id)), (QStringList{u"One"_s, u"Two"_s}));
    ASSERT_TRUE(QDir().rmdir(path) && QFile::rename(path + u"-"_s, path));
    ask(u"Three"_s, id);
    call().answer(u"3"_s);
    EXPECT_TRUE(service.saveFailure(id).isEmpty());
    EXPECT_EQ(questions(onDisk(id)), (QStringList{u"One"_s, u"Two"_s, u"Three"_s}));
}

TEST_F(AskServiceTest, whatPeopleWroteIntoAFileStaysToTheByte) {
    const QString me = u"### Me · 2026-03-02T08:00:00Z"_s;
    const struct {
        const char* name;
        QByteArray before;
        QByteArray lineEnd;
        bool hasScope;
    } rows[] = {
        {"own keys, a note and an open question",
         "---\ntitle: One\ntags: mine\nscope: library\n---\n# One\nA note.\n\n### Me\nStill open\n", "\n",
         true},
        {"another system's line ends",
         "---\r\ntitle: One\r\nscope: library\r\n---\r\n### Me\r\nQ\r\n### Lumbro\r\nA\r\n", "\r\n", true},
        {"no end of the last line", "---\nscope: library\n---\n### Me\nQ\n### Lumbro\nA", "\n", true},
        {"no scope", "---\ntitle: One\n---\n### Me\nQ\n### Lumbro\nA\n", "\n", false},
        {"no block", "A note.\n### Me\nQ\n### Lumbro\nA\n", "\n", false},
        {"a bad byte", "---\nscope: library\n---\n### Me\nQ\xff\n### Lumbro\nA\n", "\n", true},
        {"all turns were taken out", "---\nscope: library\n---\n# One\n", "\n", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const QString id = ask(QString::fromLatin1(row.name));
        call().answer(u"1"_s);
        m_folder.write(u"asks/"_s + id + u".md"_s, row.before);
        ask(u"Two"_s, id);
        call().answer(u"2"_s);
        QByteArray after = m_folder.read(u"asks/"_s + id + u".md"_s);
        EXPECT_TRUE(after.endsWith(row.lineEnd + row.lineEnd + "### Me · " +
                                   dates::iso(m_clock.now()).toUtf8() + row.lineEnd + "Two" + row.lineEnd +
                                   row.lineEnd + "### Lumbro" + row.lineEnd + "2" + row.lineEnd));
        EXPECT_EQ(after.startsWith(row.before), row.hasScope) << after.constData();
        EXPECT_EQ(onDisk(id).scope, AskScope());
        EXPECT_EQ(service.thread(id)->turns, onDisk(id).turns);
        EXPECT_EQ(onDisk(id).turns.size(), row.before.contains("Lumbro") ? 2 : 1);
        after.replace("---\nscope: library\n---\n\nA note", "A note")
            .replace("One\nscope: library\n", "One\n");
        EXPECT_TRUE(row.hasScope || after.startsWith(row.before)) << after.constData();
    }
}

TEST_F(AskServiceTest, aFileThatIsNoTextIsLeftAlone) {
    const QString id = ask(u"One"_s);
    call().answer(u"1"_s);
    const QByteArray bytes("\xff\xfe#\0", 4);
    m_folder.write(u"asks/"_s + id + u".md"_s, bytes);
    ask(u"Two"_s, id);
    call().answer(u"2"_s);
    EXPECT_FALSE(service.saveFailure(id).isEmpty());
    EXPECT_EQ(m_folder.read(u"asks/"_s + id + u".md"_s), bytes);
}

TEST_F(AskServiceTest, twoProcessesThatBeginAtOnceGetTheirOwnThreads) {
    AskService other(m_clock, settings, m_library, memory, agent);
    AskQuestion theirs;
    theirs.question = u"Same, theirs"_s;
    theirs.scope = {AskScope::Kind::person, u"dana-kim"_s};
    const QString id = other.ask(theirs);
    EXPECT_EQ(ask(u"Same theirs"_s), id);
    agent.calls.at(0)->answer(u"1"_s);
    service.reload();
    call().answer(u"2"_s);
    EXPECT_EQ(questions(onDisk(id)), QStringList{u"Same, theirs"_s});
    EXPECT_EQ(answers.value(0).thread, id + u"-2"_s);
    EXPECT_EQ(questions(onDisk(id + u"-2"_s)), QStringList{u"Same theirs"_s});
    EXPECT_EQ(onDisk(id + u"-2"_s).scope, AskScope());
    EXPECT_EQ(service.threads().size(), 2);
    ask(u"More"_s, id + u"-2"_s);
    call().answer(u"3"_s);
    EXPECT_EQ(onDisk(id + u"-2"_s).turns.size(), 2);
}

TEST_F(AskServiceTest, aDeletedThreadDoesNotComeBackWithALateAnswer) {
    qputenv("XDG_DATA_HOME", m_folder.path(u"data"_s).toUtf8());
    const QString id = ask(u"One"_s);
    call().answer(u"1"_s);
    ask(u"Two"_s, id);
    service.remove(*service.thread(id));
    call().answer(u"2"_s);
    EXPECT_FALSE(service.thread(id));
    // Deleted by another process, or by hand.
    const QString other = ask(u"Three"_s);
    call().answer(u"3"_s);
    ask(u"Four"_s, other);
    ASSERT_TRUE(QFile::remove(m_folder.path(u"asks/"_s + other + u".md"_s)));
    call().answer(u"4"_s);
    EXPECT_FALSE(service.thread(other));
    EXPECT_FALSE(service.saveFailure(other).isEmpty());
    EXPECT_EQ(answers.size(), 4);
    EXPECT_TRUE(QDir(m_folder.path(u"asks"_s)).isEmpty());
    qunsetenv("XDG_DATA_HOME");
}

TEST_F(AskServiceTest, aFolderThatStaysLockedIsNotWrittenTo) {
    const QString id = ask(u"One"_s);
    {
        const FolderLock lock(m_folder.path(u"asks"_s));
        call().answer(u"1"_s);
        EXPECT_TRUE(answers.isEmpty());
        m_clock.advance(10s);
        EXPECT_EQ(answers.size(), 1);
        EXPECT_FALSE(service.saveFailure(id).isEmpty());
        EXPECT_FALSE(m_folder.has(u"asks/"_s + id + u".md"_s));
        service.reload();
        EXPECT_EQ(questions(service.thread(id).value_or(AskThread())), QStringList{u"One"_s});
    }
    ask(u"Two"_s, id);
    call().answer(u"2"_s);
    EXPECT_TRUE(service.saveFailure(id).isEmpty());
    EXPECT_EQ(questions(onDisk(id)), (QStringList{u"One"_s, u"Two"_s}));
}

TEST_F(AskServiceTest, aCancelledQuestionLeavesNoTrace) {
    const QString id = ask(u"One"_s);
    service.cancel(id);
    EXPECT_TRUE(service.pending().isEmpty());
    EXPECT_TRUE(service.isRunning(id));
    call().answer(fail(FailureKind::cancelled, u"Cancelled"_s));
    EXPECT_FALSE(service.isRunning(id));
    // One that the agent answered all the same.
    const QString late = ask(u"Two"_s);
    service.cancel(late);
    call().answer(u"2"_s);
    EXPECT_TRUE(answers.isEmpty());
    EXPECT_TRUE(failures.isEmpty());
    EXPECT_TRUE(service.errors().isEmpty());
    EXPECT_TRUE(QDir(m_folder.path(u"asks"_s)).isEmpty());
    service.reload();
    EXPECT_TRUE(service.threads().isEmpty());
}

TEST_F(AskServiceTest, noSecretOfAnAgentsFailureReachesTheLog) {
    ask(u"One"_s);
    call().answer(fail(u"boom password=hunter22-of-ask"_s));
    AppLog::flush();
    const QByteArray log = readFile(AppLog::url()).value_or(QByteArray());
    EXPECT_TRUE(log.contains("boom password=[hidden]"));
    EXPECT_FALSE(log.contains("hunter22-of-ask"));
}

TEST_F(AskServiceTest, aFailureIsToldUntilTheNextQuestion) {
    const QString id = ask(u"One"_s);
    call().answer(fail(u"Out of luck"_s));
    EXPECT_EQ(failures, QStringList{u"Out of luck"_s});
    EXPECT_EQ(service.errors().value(id), u"Out of luck"_s);
    EXPECT_FALSE(m_folder.has(u"asks/"_s + id + u".md"_s));
    EXPECT_EQ(ask(u"Again"_s, id), id);
    EXPECT_TRUE(service.errors().isEmpty());
    call().answer(u"1"_s);
    EXPECT_EQ(questions(onDisk(id)), QStringList{u"Again"_s});
    EXPECT_NE(ask(u"Other"_s, u"unknown"_s), u"unknown"_s);
}

TEST_F(AskServiceTest, severalThreadsAreAskedAtOnceAndStayApart) {
    const QString one = ask(u"Same words"_s);
    const QString two = ask(u"Same words"_s);
    EXPECT_NE(one, two);
    service.reload();
    EXPECT_EQ(service.threads().size(), 2);
    const auto first = agent.calls.at(0);
    m_clock.advance(1min);
    call().answer(u"2"_s);
    EXPECT_TRUE(service.isRunning(one));
    m_clock.advance(1min);
    first->answer(u"1"_s);
    EXPECT_EQ(onDisk(one).turns.value(0).answer, u"1"_s);
    EXPECT_EQ(onDisk(two).turns.value(0).answer, u"2"_s);
    EXPECT_EQ(service.threads().value(0).id, one);
    service.reload();
    EXPECT_EQ(service.threads().value(0).id, one);
}

TEST_F(AskServiceTest, aNewerQuestionInAThreadKeepsItsMarks) {
    const QString id = ask(u"One"_s);
    ask(u"Two"_s, id);
    agent.calls.at(0)->answer(u"1"_s);
    EXPECT_EQ(service.pending().value(id), u"Two"_s);
    call().answer(u"2"_s);
    EXPECT_TRUE(service.pending().isEmpty());
    EXPECT_EQ(questions(onDisk(id)), (QStringList{u"One"_s, u"Two"_s}));
}

TEST_F(AskServiceTest, anEngineBringsItsModelItsSectionAndItsAction) {
    AskQuestion question;
    question.question = u"Follow-up"_s;
    question.about = m_library.record(u"2026-03-01-0900-meeting"_s);
    question.engine = Engine();
    question.engine->id = u"followup"_s;
    question.engine->name = u"Follow-up"_s;
    question.engine->prompt = u"Write a mail."_s;
    question.engine->model = u"opus"_s;
    question.engine->result = EngineResult::action(u"mail"_s);
    service.setProvider(AIProvider::codex);
    const QString id = ask(question);
    EXPECT_EQ(service.pendingEngines().value(id), u"followup"_s);
    EXPECT_EQ(call().request.model, u"opus"_s);
    EXPECT_EQ(call().request.provider, AIProvider::codex);
    EXPECT_TRUE(call().request.context.contains(u"\n\n## THIS CAPTURE\n"_s));
    EXPECT_TRUE(
        call().request.context.contains(u"\n\n## ENGINE: Follow-up\nWrite a mail.\n\nThis run prepares"_s));
    call().answer(u"**Subject:** Hi"_s);
    EXPECT_EQ(answers.value(0).action, u"mail"_s);
    const AskTurn turn = onDisk(id).turns.value(0);
    EXPECT_EQ(turn.engine, u"followup"_s);
    EXPECT_EQ(turn.action, u"mail"_s);
    EXPECT_EQ(onDisk(id).scope, AskScope::capture(u"2026-03-01-0900-meeting"_s));
}

TEST_F(AskServiceTest, wordsAreShownAsTheyComeWithoutTheMarkedLines) {
    QString shown;
    AskQuestion question;
    question.question = u"One"_s;
    question.onText = [&](const QString& piece, bool isNew) { shown = isNew ? piece : shown + piece; };
    service.ask(question);
    call().request.onText(u"Let me see.\nSOURCES: a"_s, true);
    call().request.onText(u"Fri"_s, true);
    call().request.onText(u"day.\nSOUR"_s, false);
    call().request.onText(u"CES: x"_s, false);
    EXPECT_EQ(shown, u"Friday."_s);
    ask(u"Two"_s);
    EXPECT_FALSE(call().request.onText);
}

TEST_F(AskServiceTest, aDeletedThreadGoesToTheTrash) {
    qputenv("XDG_DATA_HOME", m_folder.path(u"data"_s).toUtf8());
    const QString id = ask(u"One"_s);
    call().answer(u"1"_s);
    service.remove(*service.thread(id));
    qunsetenv("XDG_DATA_HOME");
    EXPECT_FALSE(service.thread(id));
    EXPECT_FALSE(m_folder.has(u"asks/"_s + id + u".md"_s));
}

TEST_F(AskServiceTest, whenTheServiceGoesItsRunsAreCancelled) {
    auto other = std::make_unique<AskService>(m_clock, settings, m_library, memory, agent);
    AskQuestion question;
    question.question = u"One"_s;
    other->ask(question);
    const auto call = agent.calls.back();
    other.reset();
    EXPECT_TRUE(call->cancel->isCancelled);
    call->answer(u"1"_s);
    EXPECT_TRUE(QDir(m_folder.path(u"asks"_s)).isEmpty());
}

TEST_F(AskServiceTest, connectorsAndMeetingsAreTold) {
    AskPorts ports;
    ports.connectors = [] { return QList<AskConnector>{{u"slack"_s, u"Slack"_s}}; };
    ports.calendarIsDenied = [] { return true; };
    ports.nextMeetings = [this](int limit) {
        return later(QList<AskMeeting>(limit, AskMeeting{u"Sync"_s, m_clock.now(), {u"Ada"_s}, {}}));
    };
    ports.calendarContext = [] { return later(u"TODAY: x"_s); };
    AskService other(m_clock, settings, m_library, memory, agent, ports);
    AskQuestion question;
    question.question = u"One"_s;
    question.live = AskLiveCall{u"now"_s, {}};
    other.ask(question);
    EXPECT_TRUE(
        call().request.context.contains(u"(nothing said yet)\n\n## APPS I CAN ACT IN\nReminders, Mail, "
                                        u"Slack\n\nTODAY: x\n\n## MY NEXT MEETINGS\n"
                                        u"- Sync, Mar 2, 2026 at 9:14 AM, with Ada\n"_s));
}
