#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"
#include "ask/formats/AskInput.h"
#include "ask/formats/AskPrompt.h"
#include "ask/formats/AskTarget.h"

#include <gtest/gtest.h>

using namespace lumbro;

namespace {

QString golden(const QString& name) {
    return readTextFile(QStringLiteral(LUMBRO_SOURCE_DIR "/tests/ask/golden/") + name).value_or(QString());
}

AskTurn turn(const QString& question, const QString& answer, std::optional<QString> engine = {}) {
    AskTurn made;
    made.question = question;
    made.answer = answer;
    made.engine = std::move(engine);
    return made;
}

Engine engine(const QString& id, EngineScope scope, const EngineResult& result = EngineResult::chat()) {
    Engine made;
    made.id = id;
    made.name = u"Engine "_s + id;
    made.prompt = u"Do it."_s;
    made.scope = scope;
    made.result = result;
    return made;
}

}  // namespace

TEST(AskInput, tellsEverythingInItsOrder) {
    AskInput input;
    input.question = u" What about her? \n"_s;
    for (const QString& number : {u"1"_s, u"2"_s, u"3"_s}) {
        input.turns << turn(u"number "_s + number, number);
    }
    input.turns << turn(u"Engine digest"_s, u"4"_s, u"digest"_s) << turn(u"number 5"_s, u"5\nfive"_s)
                << turn(u"number 6"_s, u"6"_s);
    const auto says = [](Speaker speaker, double start, const QString& text) {
        return TranscriptSegment{QUuid(), speaker, start, text};
    };
    input.live = AskLiveCall{u"2026-03-02-0914-meeting"_s,
                             {says(Speaker::them, 3725.9, u"Hi."_s), says(Speaker::me, 3.2, u"So,"_s),
                              says(Speaker::me, 9, u"hello."_s)}};
    input.scopeBlock = askPrompt::projectBlock(u"apollo"_s, u"Apollo"_s);
    input.engine = engine(u"tell"_s, EngineScope::library, EngineResult::action(u"google calendar"_s));
    input.engine->usesVoice = true;
    input.voice = Voice{u"v"_s, u"Brief"_s, u"Be brief."_s};
    input.apps = {u"Reminders"_s, u"Mail"_s};
    input.calendar = u"TODAY: Monday, March 2, 2026 at 9:14 AM"_s;
    const QDateTime start(QDate(2026, 3, 3), QTime(14, 30));
    input.meetings = {{u"Sync"_s, start, {u"Ada"_s, u"Bo"_s}, u"2026-03-02-0800-prep"_s},
                      {u"Lunch"_s, start.addSecs(3600), {u"Cy"_s}, {}}};
    EXPECT_EQ(input.text() + u'\n', golden(u"input.txt"_s));
}

TEST(AskInput, absentPartsHaveNoSection) {
    AskInput input;
    input.question = u"Q"_s;
    input.apps = {u"Mail"_s};
    input.calendar = u"TODAY: now"_s;
    EXPECT_EQ(input.text(), u"QUESTION: Q\n\n## APPS I CAN ACT IN\nMail\n\nTODAY: now"_s);
    input.live = AskLiveCall{u"f"_s, {}};
    EXPECT_TRUE(input.text().contains(u"\n\n## LIVE CALL (in progress, folder f)\n(nothing said yet)\n\n"_s));
}

TEST(AskInput, sectionsSayWhatTheQuestionIsAbout) {
    CaptureRecord record{u"/l/captures/2026-03-02-0914-session"_s, {}};
    record.meta.title = u"100%2 sure"_s;
    record.meta.startedAt = QDateTime(QDate(2026, 3, 2), QTime(9, 14));
    EXPECT_TRUE(askPrompt::captureBlock(record).contains(
        u"captures/2026-03-02-0914-session/ (\"100%2 sure\", Mar 2, 2026 at 9:14"_s));
    EXPECT_TRUE(
        askPrompt::captureBlock(record).contains(u"). Read its transcript.md and notes.md first. Look"_s));
    record.meta.kind = CaptureKind::session;
    EXPECT_TRUE(askPrompt::captureBlock(record).contains(u"Read its session.md first."_s));

    PromiseItem open;
    open.text = u"send the [[projects/apollo|draft]]"_s;
    open.owner = u"Me"_s;
    open.recipient = u"[[people/dana-kim|Dana Kim]]"_s;
    PromiseItem done = open;
    done.done = true;
    EXPECT_EQ(
        askPrompt::personBlock(u"dana-kim"_s, u"Dana"_s, {done, open}),
        u"## THIS PERSON\nThe question is about Dana: memory/people/dana-kim.md. Read it first, then the "
        u"captures it links to.\nOpen promises with them:\n- Me → Dana Kim: send the "
        u"[[projects/apollo|draft]]"_s);
    EXPECT_FALSE(askPrompt::personBlock(u"d"_s, u"D"_s, {done}).contains(u"promises"_s));

    Company company{u"acme.example"_s, u"Acme"_s, {u"ada"_s, u"bo"_s}, {}};
    for (int i = 1; i <= 13; ++i) {
        company.captureIDs << u"c%1"_s.arg(i);
    }
    const QString told = askPrompt::companyBlock(company);
    EXPECT_TRUE(
        told.startsWith(u"## THIS COMPANY\nThe question is about Acme (acme.example).\n"
                        u"People there: memory/people/ada.md, memory/people/bo.md\n"
                        u"Meetings with them: captures/c1/, captures/c2/, "_s));
    EXPECT_TRUE(told.endsWith(u", captures/c12/"_s));
}

TEST(AskScope, offersTheEnginesThatCanWorkOnIt) {
    using Kind = AskScope::Kind;
    Engine automatic = engine(u"notes"_s, EngineScope::meeting);
    automatic.automatic = true;
    const QList<Engine> suggested{automatic, engine(u"m"_s, EngineScope::meeting),
                                  engine(u"l"_s, EngineScope::library), engine(u"p"_s, EngineScope::person),
                                  engine(u"c"_s, EngineScope::company)};
    struct Row {
        Kind kind;
        const char* place;
        QString chips;
    };
    const Row rows[] = {{Kind::capture, "notes", u"m"_s},
                        {Kind::person, "person", u"l p"_s},
                        {Kind::company, "company", u"l c"_s},
                        {Kind::project, "home", u"l"_s},
                        {Kind::library, "home", u"l"_s}};
    for (const Row& row : rows) {
        const AskScope scope{row.kind, u"x"_s};
        QStringList chips;
        for (const Engine& chip : scope.chipEngines(suggested, [](auto id) { return id == u"notes"; })) {
            chips += chip.id;
        }
        EXPECT_EQ(chips.join(u' '), row.chips);
        EXPECT_EQ(scope.suggestPlace(u"y"_s), QString::fromLatin1(row.place));
    }
    EXPECT_EQ(AskScope::capture(u"x"_s).suggestPlace(u"x"_s), u"live"_s);
    EXPECT_EQ(AskScope::capture(u"x"_s).chipEngines(suggested, [](auto) { return false; }).size(), 2);
}

TEST(AskTarget, anActionsWordMeansOneApplication) {
    const QList<AskConnector> usable{{u"claude.ai Gmail"_s, u"Gmail"_s}, {u"linear"_s, u"Linear"_s}};
    struct Row {
        QString word;
        QString target;
    };
    const Row rows[] = {{u"Apple Reminders"_s, u"reminders"_s},
                        {u"email"_s, u"mail"_s},
                        {u"apple calendar"_s, u"calendar"_s},
                        {u"gmail"_s, u"Gmail"_s},
                        {u"LINEAR"_s, u"Linear"_s},
                        {u"claude.ai"_s, u"Gmail"_s},
                        {u"google calendar"_s, u""_s},
                        {u"slack"_s, u""_s},
                        {u""_s, u""_s}};
    using Kind = AskTarget::Kind;
    for (const Row& row : rows) {
        const auto target = AskTarget::forAction(row.word, usable);
        const QString name = !target                           ? QString()
                             : target->kind == Kind::reminders ? u"reminders"_s
                             : target->kind == Kind::mail      ? u"mail"_s
                             : target->kind == Kind::calendar  ? u"calendar"_s
                                                               : target->connector.app;
        EXPECT_EQ(name, row.target) << qPrintable(row.word);
    }
}

TEST(AskAnswer, anEventIsShownWithoutItsLines) {
    const QString event =
        u"Here you go.\n**Event:** Lunch\n- **When:** 2026-03-03 12:00\n  Length: 30 min\nBye."_s;
    struct Row {
        QString text;
        bool hasAction;
        QString shown;
    };
    const Row rows[] = {
        {event, true, u"Here you go.\n- **When:** 2026-03-03 12:00\nBye."_s},
        {event, false, event},
        {u"Event: Lunch\nWhen: tomorrow"_s, true, u"Event: Lunch\nWhen: tomorrow"_s},
        {u"Event: Lunch\nWhen: 2026-02-30 12:00"_s, true, u"Event: Lunch\nWhen: 2026-02-30 12:00"_s},
        {u"Event:\nEvent: Lunch\nWhen: 2026-03-03 12:00"_s, true, QString()},
        {u"**Event:** Lunch\n**When:** 2026-03-03T9:00\n**With:** Ada"_s, true, QString()},
    };
    for (const Row& row : rows) {
        AskAnswer answer;
        answer.text = row.text;
        answer.action = row.hasAction ? std::optional(u"calendar"_s) : std::nullopt;
        EXPECT_EQ(answer.displayText(), row.shown);
    }
}
