#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Dates.h"
#include "tests/ask/AskServiceFixture.h"

using namespace lumbro;
using namespace std::chrono_literals;
using test::AskServiceTest;
using test::reply;

namespace {

template <typename T>
Task<T> later(T value) {
    co_return value;
}

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

TEST_F(AskServiceTest, theAgentIsToldEverySectionInItsOrder) {
    m_folder.write(u"voices/plain.md"_s, "---\nname: Plain\n---\nShort words.\n");
    m_folder.write(u"memory/promises.md"_s,
                   "# Promises\n\n- [ ] send it · Me → [[people/dana-kim|Dana Kim]] ^p-000001\n"
                   "- [x] call · [[people/dana-kim|Dana Kim]] → Me ^p-000002\n");
    m_library.open();
    memory.reload(true);
    settings.set(u"selectedVoiceID"_s, u"plain"_s);
    bool isRefreshed = false;
    AskPorts ports;
    ports.refreshConnectors = [&] { isRefreshed = true; };
    ports.connectors = [&] {
        return isRefreshed ? QList<AskConnector>{{u"slack"_s, u"Slack"_s}} : QList<AskConnector>();
    };
    ports.calendarIsDenied = [] { return true; };
    ports.nextMeetings = [this](int limit) {
        return later(QList<AskMeeting>(limit, AskMeeting{u"Sync"_s, m_clock.now(), {u"Ada"_s}, u"x-prep"_s}));
    };
    ports.calendarContext = [] { return later(u"## MY FREE TIMES\nTODAY: x"_s); };
    AskService other(m_clock, settings, m_library, memory, agent, ports);
    AskQuestion question;
    question.question = u"One"_s;
    question.scope = {AskScope::Kind::person, u"dana-kim"_s};
    const QString id = other.ask(question);
    call().answer(u"1"_s);
    question.thread = id;
    question.question = u" Two\n"_s;
    question.live = AskLiveCall{u"now"_s, {{QUuid::createUuid(), Speaker::them, 3725.9, u"Hello"_s}}};
    question.engine = Engine();
    question.engine->id = u"followup"_s;
    question.engine->name = u"Follow-up"_s;
    question.engine->prompt = u"Write."_s;
    question.engine->usesVoice = true;
    other.ask(question);
    const QString meeting =
        u"- Sync, Mar 2, 2026 at 9:14 AM, with Ada · brief: captures/x-prep/handoffs/prep.md"_s;
    const QString expected =
        u"QUESTION: Two\n\n"
        "## CONVERSATION SO FAR\nMe: One\nLumbro: 1\n\n"
        "## LIVE CALL (in progress, folder now)\n[01:02:05] Them: Hello\n\n"
        "## THIS PERSON\nThe question is about Dana Kim: memory/people/dana-kim.md. Read it first, then the "
        "captures it links to.\nOpen promises with them:\n- Me → Dana Kim: send it\n\n"
        "## ENGINE: Follow-up\nWrite.\n\n## VOICE: Plain\nShort words.\n\n"
        "## APPS I CAN ACT IN\nReminders, Mail, Slack\n\n"
        "## MY FREE TIMES\nTODAY: x\n\n"
        "## MY NEXT MEETINGS\n"_s +
        (meeting + u'\n').repeated(3).chopped(1);
    EXPECT_EQ(call().request.context.toStdString(), expected.toStdString());
    // Without any of it, the day alone.
    ask(u"One"_s);
    EXPECT_TRUE(call().request.context.endsWith(
        u"\n\n## APPS I CAN ACT IN\nReminders, Mail, Calendar\n\nTODAY: Monday, March 2, 2026 at 9:14 AM"_s));
}
