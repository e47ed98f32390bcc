#include "LumbroCore/AppLog.h"
#include "memory/DailyIdeas.h"
#include "memory/PromiseReminder.h"
#include "tests/memory/PassFixture.h"
#include "tests/support/Wait.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::test;
using namespace std::chrono_literals;

namespace {

const QString remindedDay = u"promiseRemindersLastDay"_s;
const QString ideasDay = u"dailyIdeasLastRun"_s;

/// The passes of the day, and what they show.
class DailyPassesTest : public PassTest {
  protected:
    DailyPassesTest() : PassTest(u"ideas"_s, "name: Ideas\nmodel: haiku\nvoice: true\n", "Find ideas.") {}

    static QDateTime at(int hour, int minute, int day = 2) {
        return QDateTime(QDate(2026, 3, day), QTime(hour, minute));
    }
    void promises(const QByteArray& lines) {
        scratch.write(u"library/memory/promises.md"_s, "# Promises\n\n" + lines);
        memory.reload(true);
    }
    PromiseReminder::Ports reminderPorts() {
        return {.clock = clock,
                .settings = settings,
                .memory = memory,
                .present = [this](const QStringList& ids) { shown += u"promises "_s + ids.join(u' '); },
                .say = [this](const QString& text) { shown += text; }};
    }
    DailyIdeas::Ports ideasPorts() {
        return {.clock = clock,
                .settings = settings,
                .library = library,
                .memory = memory,
                .agent = agent,
                .isRecording = [this] { return isRecording; },
                .voice = [] { return std::optional<Voice>(); },
                .importChats = [this](const QDateTime& since) { return importChats(since); },
                .present =
                    [this](const QList<DailyIdea>& ideas) {
                        for (const DailyIdea& idea : ideas) {
                            shown += u"%1|%2|%3"_s.arg(idea.hook, idea.angle, idea.capture);
                        }
                    },
                .say = [this](const QString& text) { shown += text; },
                .sayError = [this](const QString& text) { shown += u"error: "_s + text; }};
    }
    Task<> importChats(QDateTime since) {
        imported.append(since);
        co_return;
    }
    /// Starts a pass that nobody waits for.
    void begin(DailyIdeas& ideas, bool present = true) {
        runDetached([](Task<Result<QList<DailyIdea>>> pass,
                       std::optional<Result<QList<DailyIdea>>>* result) -> Task<> {
            *result = co_await std::move(pass);
        }(ideas.run(clock.now(), present), &result));
    }

    QStringList shown;
    QList<QDateTime> imported;
    bool isRecording = false;
    std::optional<Result<QList<DailyIdea>>> result;
};

const QString nothing = uR"({"ideas":[]})"_s;

const QByteArray due =
    "- [ ] late · Me → Bo · due 2026-03-01 · 2026-02-20 ^p-aaaaaa\n"
    "- [ ] today · Me → Bo · due 2026-03-02 · 2026-02-20 ^p-bbbbbb\n"
    "- [ ] soon · Me → Bo · due 2026-03-03 · 2026-03-02 ^p-cccccc\n"
    "- [ ] theirs · Bo → Me · due 2026-03-01 · 2026-02-20 ^p-dddddd\n"
    "- [x] done · Me → Bo · due 2026-03-01 · 2026-02-20 ^p-eeeeee\n";

}  // namespace

TEST_F(DailyPassesTest, theReminderComesOnceADayAfterItsMinute) {
    promises(due);
    clock.setNow(at(8, 58));
    PromiseReminder reminder(reminderPorts());
    reminder.start();
    clock.advance(1min);
    EXPECT_EQ(shown, QStringList());
    clock.advance(1min);
    EXPECT_EQ(shown, QStringList{u"promises p-aaaaaa p-bbbbbb"_s});
    EXPECT_EQ(settings.string(remindedDay), u"2026-03-02"_s);
    clock.advance(14h);
    EXPECT_EQ(shown.size(), 1);
    clock.advance(10h);
    EXPECT_EQ(shown.last(), u"promises p-aaaaaa p-bbbbbb p-cccccc"_s) << "on the next day, soon is today";
    EXPECT_EQ(shown.size(), 2);
}

TEST_F(DailyPassesTest, aReminderMissedWhileClosedComesAtTheStartAndADayWithoutPromisesIsSpentToo) {
    clock.setNow(at(18, 30));
    PromiseReminder reminder(reminderPorts());
    reminder.start();
    EXPECT_EQ(shown, QStringList());
    EXPECT_EQ(settings.string(remindedDay), u"2026-03-02"_s);
    promises(due);
    clock.advance(10min);
    EXPECT_EQ(shown, QStringList());
    settings.set(remindedDay, u"2026-03-01"_s);
    PromiseReminder next(reminderPorts());
    next.start();
    EXPECT_EQ(shown.size(), 1) << "at the first look";
}

TEST_F(DailyPassesTest, theReminderKeepsToTheSettingsAndTheCalendar) {
    promises(due);
    struct Row {
        const char* what;
        QString lastDay;
        bool enabled;
        int minute;
        int reminders;
    };
    const Row rows[] = {
        {"the clock went back", u"2026-03-03"_s, true, 0, 0},
        {"yesterday", u"2026-03-01"_s, true, 0, 1},
        {"switched off", {}, false, 0, 0},
        {"too early", {}, true, 555, 0},
        {"the very minute", {}, true, 554, 1},
    };
    for (const Row& row : rows) {
        shown.clear();
        settings.set(remindedDay, row.lastDay.isEmpty() ? QVariant() : QVariant(row.lastDay));
        settings.set(u"promiseRemindersEnabled"_s, row.enabled);
        settings.set(u"promiseRemindersMinute"_s, row.minute);
        PromiseReminder reminder(reminderPorts());
        reminder.start();
        EXPECT_EQ(shown.size(), row.reminders) << row.what;
    }
}

TEST_F(DailyPassesTest, aReminderThatCannotBeMarkedIsNotRepeated) {
    promises(due);
    QDir().mkpath(scratch.path(u"settings.ini"_s));
    PromiseReminder reminder(reminderPorts());
    reminder.start();
    clock.advance(20min);
    EXPECT_EQ(shown.size(), 1);
}

TEST_F(DailyPassesTest, aReminderThatIsAskedForAlsoTellsWhatIsDueSoon) {
    PromiseReminder reminder(reminderPorts());
    EXPECT_EQ(reminder.remindNow(), QStringList());
    EXPECT_EQ(shown, QStringList{u"Nothing due. You're all caught up."_s});
    scratch.write(u"library/memory/promises.md"_s, "# Promises\n\n" + due);
    EXPECT_EQ(reminder.remindNow().size(), 3) << "also what another program has just written";
    EXPECT_EQ(shown.last(), u"promises p-aaaaaa p-bbbbbb p-cccccc"_s);
    EXPECT_EQ(settings.string(remindedDay), QString());
}

TEST_F(DailyPassesTest, theEveningsPassFilesAndShowsWhatIsNew) {
    clock.setNow(at(17, 0));
    const auto first = capture(at(9, 0));
    ASSERT_TRUE(library.writeTranscript({{QUuid::createUuid(), Speaker::me, 0, u"Hello"_s}}, first));
    const auto second = capture(at(11, 0), CaptureKind::thought);
    capture(at(12, 0), CaptureKind::prep);
    library.createCapture(CaptureKind::meeting, u"Unfinished"_s, {}, at(13, 0));
    capture(at(23, 59, 1));
    capture(at(0, 0, 3));
    scratch.write(
        u"library/memory/ideas.md"_s,
        "# Ideas\n\n- **Old one** — why · [[captures/x/transcript|Weekly]] · 2026-03-01 ^i-aaaaaa\n");
    DailyIdeas ideas(ideasPorts());
    ideas.start();
    EXPECT_TRUE(ideas.isRunning());
    EXPECT_EQ(settings.string(ideasDay), u"2026-03-02"_s) << "before the work";
    EXPECT_EQ(imported, QList<QDateTime>{at(0, 0)});
    ASSERT_EQ(agent.calls.size(), 1U);
    const AgentRequest request = agent.calls.front()->request;
    EXPECT_TRUE(request.systemPrompt.startsWith(u"Find ideas."));
    EXPECT_EQ(request.instruction, u"Find today's best content ideas in stdin. JSON only."_s);
    EXPECT_EQ(request.model, u"haiku"_s);
    EXPECT_TRUE(request.workingDirectory.isEmpty() && request.tools.isEmpty());
    EXPECT_EQ(request.context,
              u"# TODAY'S CAPTURES (2026-03-02)\n\n"
              "## FOLDER: 2026-03-02-0900-meeting\n# CAPTURE: Weekly (Mar 2, 2026 at 9:00 AM · 10 min)\n\n"
              "## MY NOTES\n(none)\n\n## TRANSCRIPT\n[00:00:00] Me: Hello\n\n"
              "## FOLDER: 2026-03-02-1100-thought\n# CAPTURE: Weekly (Mar 2, 2026 at 11:00 AM · 10 min)\n\n"
              "## MY NOTES\n(none)\n\n## TRANSCRIPT\n(empty)\n\n"
              "# IDEAS I ALREADY HAVE\n# Ideas\n\n- **Old one** — why · Weekly · 2026-03-01 ^i-aaaaaa"_s);
    agent.calls.front()->answer(
        uR"(Here: {"ideas":[{"hook":" Why tea ","angle":"It works","capture":"captures/)"_s + first.id() +
        uR"(/notes.md"},{"hook":"No home"}]})"_s);
    EXPECT_FALSE(ideas.isRunning());
    EXPECT_EQ(shown, (QStringList{u"Why tea|It works|"_s + first.id(), u"No home||"_s + second.id()}));
    EXPECT_EQ(memory.ideas().size(), 3);
    clock.advance(6h);
    EXPECT_EQ(agent.calls.size(), 1U);
    shown.clear();
    begin(ideas);
    agent.calls.back()->answer(uR"({"ideas":[{"hook":"WHY TEA","capture":")"_s + first.id() + uR"("}]})"_s);
    EXPECT_EQ(shown, QStringList{u"No strong content ideas in today's notes."_s}) << "it is in the list";
}

TEST_F(DailyPassesTest, theDayStaysUnspentUntilThereIsSomethingToRead) {
    clock.setNow(at(18, 30));
    capture(at(9, 0), CaptureKind::prep);
    library.createCapture(CaptureKind::meeting, u"Unfinished"_s, {}, at(10, 0));
    DailyIdeas ideas(ideasPorts());
    ideas.start();
    clock.advance(5min);
    EXPECT_EQ(settings.string(ideasDay), QString());
    EXPECT_TRUE(imported.isEmpty());
    isRecording = true;
    ContextLibrary other(library.root(), clock, {}, scratch.path(u"built-in"_s));
    auto theirs = other.createCapture(CaptureKind::thought, u"T"_s, {}, at(18, 31));
    theirs.meta.endedAt = at(18, 34);
    ASSERT_TRUE(other.save(theirs));
    clock.advance(5min);
    EXPECT_EQ(settings.string(ideasDay), QString()) << "not during a recording";
    isRecording = false;
    clock.advance(1min);
    EXPECT_EQ(settings.string(ideasDay), u"2026-03-02"_s) << "a command's capture counts";
    ASSERT_EQ(agent.calls.size(), 1U);
    agent.calls.back()->answer(fail(u"Your agent isn't logged in."_s));
    EXPECT_EQ(shown, QStringList{u"error: Your agent isn't logged in."_s});
    clock.advance(2h);
    EXPECT_EQ(agent.calls.size(), 1U) << "a failed evening isn't tried again";
}

TEST_F(DailyPassesTest, theEveningsPassKeepsToTheSettingsAndTheCalendar) {
    clock.setNow(at(17, 0));
    capture(at(9, 0));
    struct Row {
        const char* what;
        QString lastDay;
        bool enabled;
        int minute;
        bool runs;
    };
    const Row rows[] = {
        {"the clock went back", u"2026-03-03"_s, true, 0, false},
        {"switched off", {}, false, 0, false},
        {"too early", {}, true, 1021, false},
        {"the very minute", {}, true, 1020, true},
        {"the last minute there is", {}, true, 1439, false},
    };
    for (const Row& row : rows) {
        settings.set(ideasDay, row.lastDay.isEmpty() ? QVariant() : QVariant(row.lastDay));
        settings.set(u"dailyIdeasEnabled"_s, row.enabled);
        settings.set(u"dailyIdeasMinute"_s, row.minute);
        agent.calls.clear();
        DailyIdeas ideas(ideasPorts());
        ideas.start();
        EXPECT_EQ(!agent.calls.empty(), row.runs) << row.what;
        if (row.runs) {
            agent.calls.back()->answer(nothing);
        }
    }
}

TEST_F(DailyPassesTest, aPassThatIsAskedForTellsWhyThereIsNothing) {
    DailyIdeas ideas(ideasPorts());
    begin(ideas);
    EXPECT_EQ(shown, QStringList{u"No notes from today yet."_s});
    capture(at(9, 0));
    begin(ideas, false);
    ASSERT_EQ(agent.calls.size(), 1U);
    auto first = std::exchange(result, std::nullopt);
    begin(ideas);
    EXPECT_EQ(result->error().kind, FailureKind::cancelled) << "one at a time";
    agent.calls.back()->answer(nothing);
    EXPECT_EQ(shown.size(), 1) << "a silent pass";
    EXPECT_EQ(*result, QList<DailyIdea>());
    begin(ideas);
    agent.calls.back()->answer(u"I found\nnothing today."_s);
    EXPECT_EQ(result->error().kind, FailureKind::failed);
    EXPECT_EQ(shown.last(),
              u"error: The agent's answer could not be read, so no ideas were filed. Try again; it began: "
              "I found nothing today."_s);
    scratch.write(u"library/engines/ideas.md"_s, "gone");
    library.reloadEngines(true);
    begin(ideas);
    EXPECT_EQ(shown.last(), u"No notes from today yet."_s);
    EXPECT_EQ(settings.string(ideasDay), QString());
}

TEST_F(DailyPassesTest, twoProcessesPayForOnePass) {
    capture(at(9, 0));
    DailyIdeas ideas(ideasPorts());
    DailyIdeas theirs(ideasPorts());
    begin(theirs, false);
    std::exchange(result, std::nullopt);
    begin(ideas);
    ASSERT_EQ(agent.calls.size(), 1U);
    ASSERT_TRUE(result && !*result);
    EXPECT_TRUE(result->error().message.startsWith(u"Another Lumbro looks through the day"_s));
    EXPECT_TRUE(shown.isEmpty() && !ideas.isRunning());
    agent.calls.back()->answer(nothing);
    begin(ideas);
    ASSERT_EQ(agent.calls.size(), 2U) << "once the other one is through";
    agent.calls.back()->answer(nothing);
}

TEST_F(DailyPassesTest, whoAsksForAPassThatAnotherProcessMakesWaitsForItsIdeas) {
    capture(at(9, 0));
    scratch.write(u"library/memory/ideas.md"_s, "# Ideas\n\n- **Old one** · 2026-03-01\n");
    const QString none = u"No strong content ideas in today's notes."_s;
    struct Row {
        const char* what;
        Result<QString> theirs;
        size_t asked;
        QString shown;
    };
    const Row rows[] = {
        {"ideas", uR"({"ideas":[{"hook":"Why tea"}]})"_s, 1, u"Why tea||2026-03-02-0900-meeting"_s},
        {"none", nothing, 1, none},
        {"a failure", fail(u"busy"_s), 2, none},
        {"no answer that can be read", u"Sorry."_s, 2, none},
    };
    for (const Row& row : rows) {
        shown.clear();
        agent.calls.clear();
        DailyIdeas theirs(ideasPorts());
        DailyIdeas ideas(ideasPorts());
        begin(theirs, false);
        int waits = 0;
        const auto second = ideas.run(clock.now(), true, nullptr, [&waits] { ++waits; });
        clock.advance(5s);
        EXPECT_EQ(waits, 1) << row.what;
        EXPECT_FALSE(second.isReady()) << row.what;
        agent.calls.back()->answer(row.theirs);
        clock.advance(1s);
        EXPECT_EQ(agent.calls.size(), row.asked) << row.what;
        if (row.asked > 1) {
            agent.calls.back()->answer(nothing);
        }
        ASSERT_TRUE(second.isReady()) << row.what;
        EXPECT_EQ(shown, QStringList{row.shown}) << row.what;
    }
}

TEST_F(DailyPassesTest, ideasThatCannotBeWrittenAreNotTakenForNone) {
    capture(at(9, 0));
    DailyIdeas ideas(ideasPorts());
    begin(ideas);
    QFile::remove(scratch.path(u"library/memory/ideas.md"_s));
    QDir().mkpath(scratch.path(u"library/memory/ideas.md"_s));
    agent.calls.back()->answer(uR"({"ideas":[{"hook":"Why tea"}]})"_s);
    ASSERT_EQ(shown.size(), 1);
    EXPECT_TRUE(shown.first().startsWith(u"error: "_s)) << qPrintable(shown.first());
    begin(ideas);
    EXPECT_EQ(agent.calls.size(), 1U) << "nobody pays for what can't be written";
    EXPECT_TRUE(shown.last().contains(u"ideas.md can't be read"_s)) << qPrintable(shown.last());
    QDir(scratch.path(u"library/memory"_s)).removeRecursively();
    begin(ideas);
    EXPECT_EQ(agent.calls.size(), 1U);
    EXPECT_TRUE(shown.last().startsWith(u"error: The agent wasn't asked: there is no place for ideas"_s))
        << qPrintable(shown.last());
}

TEST_F(DailyPassesTest, anAnswerAfterThePassesEndHarmsNobody) {
    capture(at(9, 0));
    {
        DailyIdeas ideas(ideasPorts());
        begin(ideas);
    }
    agent.calls.back()->answer(uR"({"ideas":[{"hook":"Why tea"}]})"_s);
    EXPECT_TRUE(memory.ideas().isEmpty());
    EXPECT_TRUE(shown.isEmpty());
}

TEST(DailyIdeas, readsWhatTheAgentMayAnswer) {
    const QStringList folders{u"one"_s, u"two"_s, u"two-2"_s};
    const QString unreadable = u"unreadable"_s;
    const auto item = [](const char* fields) {
        return u"{\"ideas\":["_s + QString::fromUtf8(fields) + u"]}"_s;
    };
    const std::pair<QString, QString> rows[] = {
        {item(R"({"hook":"a","capture":"one"})"), u"a@one"_s},
        {u"Sure:\n```json\n"_s + item(R"({"hook":"a","capture":"captures/two-2/notes.md"})") + u"\n```"_s,
         u"a@two-2"_s},
        {item(R"({"hook":"a","capture":"two, one"})"), u"a@one"_s},
        {item(R"({"hook":"a"},{"hook":"b","capture":null},{"hook":"c","capture":"x"})"),
         u"a@two-2 b@two-2 c@two-2"_s},
        {item(R"({"hook":"a"},{"hook":"  "},{"hook":"c"},{"hook":"d"},{"hook":"e"})"), u"a@two-2 c@two-2"_s},
        {nothing, {}},
        {u"{}"_s, unreadable},
        {u"{\"ideas\":{}}"_s, unreadable},
        {item(R"({"angle":"no hook"},{"hook":"b"})"), unreadable},
        {item(R"({"hook":"a","angle":7})"), unreadable},
        {item("7"), unreadable},
        {u"} nothing {"_s, unreadable},
        {u"no JSON"_s, unreadable},
        {QString(), unreadable},
    };
    for (const auto& [text, expected] : rows) {
        QStringList found;
        const auto ideas = DailyIdeas::parse(text, folders);
        for (const DailyIdea& idea : ideas.value_or(QList<DailyIdea>())) {
            found += idea.hook + u'@' + idea.capture;
        }
        EXPECT_EQ(ideas ? found.join(u' ') : unreadable, expected) << qPrintable(text);
    }
    EXPECT_TRUE(DailyIdeas::parse(rows[0].first, {})->isEmpty());
}
