#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Json.h"
#include "LumbroCore/Settings.h"
#include "chats/formats/SessionLog.h"
#include "library/ContextLibrary.h"
#include "memory/Librarian.h"
#include "memory/MemoryStore.h"
#include "memory/formats/LibrarianPrompt.h"
#include "tests/model/ScriptedAgent.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::test;

namespace {

const QString ann =
    uR"({"people":[{"name":"Ann Lee","timeline":"agreed"}],)"
    uR"("promises":[{"owner":"Me","to":"Ann Lee","text":"send the deck"}]})"_s;

class LibrarianTest : public ::testing::Test {
  protected:
    LibrarianTest() {
        library.open();
        memory.bootstrap();
    }

    CaptureRecord capture(CaptureKind kind, const QString& title, int words, int hour = 9) {
        auto record = library.createCapture(kind, title, {}, QDateTime(QDate(2026, 3, 2), QTime(hour, 0)));
        record.meta.endedAt = record.meta.startedAt.addSecs(60);
        EXPECT_TRUE(library.save(record));
        if (words > 0) {
            const QString said = QStringList(words, u"word"_s).join(u' ');
            EXPECT_TRUE(library.writeTranscript({{QUuid::createUuid(), Speaker::me, 0, said}}, record));
        }
        return record;
    }
    SessionEntry entry(int second, const QString& prompt, const QString& reply = {}) const {
        return {.id = QString::number(second),
                .session = u"s"_s,
                .title = u"Chat"_s,
                .project = u"apollo"_s,
                .folder = u"/home/me/apollo"_s,
                .time = QDateTime(QDate(2026, 3, 2), QTime(10, 0)).addSecs(second),
                .prompt = prompt,
                .reply = reply};
    }
    CaptureRecord session(const SessionEntries& entries) {
        const auto record = capture(CaptureKind::session, u"Claude Code · apollo"_s, 0);
        writeEntries(record, entries);
        return record;
    }
    void writeEntries(const CaptureRecord& record, const SessionEntries& entries) const {
        ASSERT_TRUE(writeFileAtomically(record.path(SessionLog::jsonName()), SessionLog::encode(entries)));
    }
    /// A whole pass in which the agent gives these answers, one per question.
    std::optional<Result<MemoryPass>> pass(const CaptureRecord& record,
                                           const QList<Result<QString>>& answers) {
        std::optional<Result<MemoryPass>> result;
        const auto before = agent.calls.size();
        const Task<> task = keep(librarian.run(library.record(record.id()).value_or(record)), result);
        for (const Result<QString>& answer : answers) {
            EXPECT_FALSE(result.has_value());
            agent.calls.back()->answer(answer);
        }
        EXPECT_TRUE(result.has_value());
        EXPECT_EQ(agent.calls.size() - before, size_t(answers.size()));
        EXPECT_EQ(memory.status(), QString());
        return result;
    }
    template <typename T>
    static Task<> keep(Task<T> task, std::optional<T>& result) {
        result = co_await std::move(task);
    }
    CaptureMeta meta(const CaptureRecord& record) { return library.record(record.id()).value().meta; }
    QString asked(size_t call = 0) const { return agent.calls.at(call)->request.context; }
    static QString log() {
        AppLog::flush();
        return readTextFile(AppLog::url()).value_or(QString());
    }
    QByteArray file(const QString& name) const { return scratch.read(u"library/memory/"_s + name); }

    ScratchFolder scratch;
    TestClock clock;
    Settings settings{scratch.path(u"settings.ini"_s)};
    ContextLibrary library{scratch.path(u"library"_s), clock};
    MemoryStore memory{library, clock, settings};
    ScriptedAgent agent;
    Librarian librarian{library, memory, agent, clock};
};

}  // namespace

TEST_F(LibrarianTest, showsTheModelTheCaptureItsPeopleAndWhatIsKnown) {
    ASSERT_TRUE(wait(memory.createProject(u"Apollo"_s)));
    CaptureRecord record = capture(CaptureKind::meeting, u"Weekly"_s, 15);
    record.meta.attendees = QStringList{u"Ann Lee"_s, u"Bo"_s};
    ASSERT_TRUE(library.save(record));
    std::optional<Result<MemoryPass>> result;
    const Task<> task = keep(librarian.run(record), result);
    ASSERT_EQ(agent.calls.size(), 1U);
    EXPECT_EQ(memory.status(), u"Updating memory…"_s);
    const AgentRequest& request = agent.calls.front()->request;
    EXPECT_EQ(request.systemPrompt, librarianPrompt::system());
    EXPECT_EQ(request.instruction, librarianPrompt::instruction());
    EXPECT_EQ(request.model, u"sonnet"_s);
    EXPECT_TRUE(request.tools.isEmpty());
    EXPECT_FALSE(request.connectors.has_value());
    EXPECT_TRUE(request.context.startsWith(u"# CAPTURE: Weekly (Mar 2, 2026 at 9:00 AM · 1 min)"_s));
    EXPECT_TRUE(request.context.contains(u"Me: word word"_s));
    EXPECT_TRUE(
        request.context.endsWith(u"\n\n## ATTENDEES\nAnn Lee, Bo\n\n# MEMORY INDEX\n"_s + memory.index()));
    EXPECT_TRUE(request.context.contains(u"- apollo: Apollo"_s));

    clock.advance(std::chrono::seconds(30));
    agent.calls.front()->answer(ann);
    ASSERT_TRUE(result && *result);
    EXPECT_EQ(**result, (MemoryPass{.captureID = record.id(), .updated = true, .people = 1, .promises = 1}));
    EXPECT_EQ(meta(record).memorizedAt, clock.now());
    EXPECT_EQ(memory.status(), QString());
    EXPECT_EQ(memory.people().size(), 1);
    EXPECT_TRUE(file(u"promises.md"_s)
                    .contains("- [ ] send the deck · Me → [[people/ann-lee|Ann Lee]] · [[captures/"));
}

TEST_F(LibrarianTest, spendsNoRunOnFourteenWordsOrABrief) {
    const CaptureRecord brief = capture(CaptureKind::prep, u"Prep"_s, 100);
    const CaptureRecord few = capture(CaptureKind::meeting, u"Few"_s, 6);
    scratch.write(u"library/captures/%1/notes.md"_s.arg(few.id()), "one two three  four");
    scratch.write(u"library/captures/%1/screen.md"_s.arg(few.id()), "five six seven eight");
    for (const CaptureRecord& record : {brief, few}) {
        EXPECT_FALSE(librarian.wouldRead(record));
        EXPECT_FALSE((*pass(record, {}))->updated);
        EXPECT_FALSE(meta(record).memorizedAt.has_value());
    }
    scratch.write(u"library/captures/%1/notes.md"_s.arg(few.id()), "one two three four five");
    EXPECT_TRUE(librarian.wouldRead(few));
    EXPECT_TRUE((*pass(few, {u"{}"_s}))->updated);
    EXPECT_FALSE(librarian.wouldRead(library.record(few.id()).value()));
}

TEST_F(LibrarianTest, asksTwiceForAnObjectAndThenGivesUp) {
    const CaptureRecord record = capture(CaptureKind::meeting, u"Weekly"_s, 20);
    const QByteArray before = file(u"promises.md"_s);
    const qsizetype logged = log().size();
    const QString half = ann.chopped(3);
    EXPECT_FALSE(pass(record, {half, u"{\"people\":[{}],\"promises\":[]}"_s})->has_value());
    EXPECT_EQ(asked(0), asked(1));
    EXPECT_EQ(file(u"promises.md"_s), before);
    EXPECT_FALSE(meta(record).memorizedAt.has_value());
    EXPECT_TRUE((*pass(record, {half, ann}))->updated);
    EXPECT_TRUE(meta(record).memorizedAt.has_value());
    const QString lines = log().sliced(logged);
    EXPECT_EQ(lines.count(u"unreadable JSON (attempt 2)"), 1);
    EXPECT_EQ(lines.count(u"updated from %1: people=1 promises=1 ideas=0"_s.arg(record.id())), 1);
}

TEST_F(LibrarianTest, leavesTheCaptureUnreadWhenTheAgentFails) {
    const CaptureRecord record = capture(CaptureKind::meeting, u"Weekly"_s, 20);
    EXPECT_EQ(pass(record, {fail(FailureKind::timedOut, u"Took too long."_s)})->error().kind,
              FailureKind::timedOut);
    EXPECT_FALSE(meta(record).memorizedAt.has_value());
    EXPECT_EQ(librarian.unread().size(), 1);
}

TEST_F(LibrarianTest, readsACaptureAgainOfWhichSomethingCouldNotBeWritten) {
    const CaptureRecord record = capture(CaptureKind::meeting, u"Weekly"_s, 20);
    const QString answer =
        ann.chopped(1) + uR"(,"ideas":[{"hook":"Why **tea** · now","angle":"it works"}]})"_s;
    const QString list = memory.root() + u"/promises.md"_s;
    ASSERT_TRUE(QFile::remove(list) && QDir().mkpath(list));
    EXPECT_EQ(
        pass(record, {answer})->error().message,
        u"promises.md can't be read and was left as it is. The agent's answer is kept, and the next pass "
        "takes it in without asking again."_s);
    EXPECT_FALSE(pass(record, {})->has_value());
    EXPECT_FALSE(meta(record).memorizedAt.has_value());
    EXPECT_EQ(librarian.unread().size(), 1);
    ASSERT_TRUE(QDir().rmdir(list));
    EXPECT_TRUE((*pass(record, {}))->updated);
    EXPECT_TRUE(meta(record).memorizedAt.has_value());
    EXPECT_FALSE((*pass(record, {}))->updated) << "it has been read";
    EXPECT_EQ(QDir(record.folder).entryList(QDir::Files | QDir::Hidden),
              (QStringList{u"meta.json"_s, u"transcript.json"_s, u"transcript.md"_s}));
    EXPECT_EQ(memory.promises().size(), 1);
    EXPECT_EQ(memory.ideas().size(), 1);
    EXPECT_EQ(memory.people().first().timeline.size(), 1);
}

TEST_F(LibrarianTest, goesOnInALogFromTheReplyThatWasKept) {
    const QString many = QStringList(20, u"word"_s).join(u' ');
    const CaptureRecord record = session({entry(1, many)});
    const QString list = memory.root() + u"/promises.md"_s;
    ASSERT_TRUE(QFile::remove(list) && QDir().mkpath(list));
    EXPECT_FALSE(pass(record, {ann})->has_value());
    EXPECT_FALSE(meta(record).sessionCursor.has_value());
    writeEntries(record, {entry(1, many), entry(2, many)});
    ASSERT_TRUE(QDir().rmdir(list));
    EXPECT_TRUE((*pass(record, {}))->updated);
    EXPECT_EQ(memory.promises().size(), 1);
    EXPECT_TRUE((*pass(record, {u"{}"_s}))->updated) << "what came later is asked for";
    EXPECT_EQ(meta(record).sessionCursor, record.meta.startedAt.addSecs(3602));

    scratch.write(u"library/captures/%1/memory-reply.json"_s.arg(record.id()), R"({"reply":"no"})");
    EXPECT_FALSE((*pass(record, {}))->updated);
}

TEST_F(LibrarianTest, losesNothingOfTwoPassesAtOnce) {
    const CaptureRecord one = capture(CaptureKind::meeting, u"One"_s, 20);
    const CaptureRecord two = capture(CaptureKind::meeting, u"Two"_s, 20, 10);
    std::optional<Result<MemoryPass>> first;
    std::optional<Result<MemoryPass>> second;
    const Task<> taskOne = keep(librarian.run(one), first);
    const Task<> taskTwo = keep(librarian.run(two), second);
    ASSERT_EQ(agent.calls.size(), 2U);
    agent.calls[1]->answer(ann);
    EXPECT_EQ(memory.status(), u"Updating memory…"_s) << "the other still works";
    // By hand, and a title that was found meanwhile.
    scratch.write(u"library/memory/promises.md"_s,
                  file(u"promises.md"_s) + "- [ ] call Bo · Me → Bo ^p-aaaaaa\n");
    CaptureRecord named = library.record(one.id()).value();
    named.meta.title = u"Kick-off"_s;
    ASSERT_TRUE(library.save(named));
    agent.calls[0]->answer(QString(ann).replace(u"send the deck"_s, u"send the plan"_s));
    const QByteArray promises = file(u"promises.md"_s);
    for (const char* text : {"send the deck", "call Bo", "send the plan", "|Kick-off]]"}) {
        EXPECT_TRUE(promises.contains(text)) << text;
    }
    EXPECT_EQ(memory.people().size(), 1);
    EXPECT_EQ(memory.people().first().timeline.size(), 2);
    EXPECT_EQ(meta(one).title, u"Kick-off"_s);
    EXPECT_EQ(memory.status(), QString());
}

TEST_F(LibrarianTest, catchesUpOldestFirstAndSkipsWhatIsReadOrGone) {
    const CaptureRecord later = capture(CaptureKind::meeting, u"Later"_s, 20, 11);
    const CaptureRecord early = capture(CaptureKind::thought, u"Early"_s, 20, 8);
    const CaptureRecord gone = capture(CaptureKind::meeting, u"Gone"_s, 20, 9);
    const CaptureRecord read = capture(CaptureKind::meeting, u"Read"_s, 20, 10);
    CaptureRecord old = capture(CaptureKind::meeting, u"Old"_s, 20, 7);
    old.meta.memorizedAt = clock.now();
    ASSERT_TRUE(library.save(old));
    session({entry(1, QStringList(20, u"word"_s).join(u' '))});
    library.createCapture(CaptureKind::meeting, u"Recording"_s, {}, clock.now());

    QStringList begun;
    std::optional<MemoryCatchUp> result;
    const Task<> task = keep(
        librarian.catchUp([&begun](const CaptureRecord& record) { begun += record.meta.title; }), result);
    // Another process, while the first is read.
    ASSERT_TRUE(QDir(gone.folder).removeRecursively());
    CaptureMeta changed = read.meta;
    changed.memorizedAt = clock.now();
    ASSERT_TRUE(writeFileAtomically(read.path(u"meta.json"_s), json::encode(changed.toJson())));
    agent.calls.at(0)->answer(fail(u"Odd."_s));
    agent.calls.at(1)->answer(ann);
    ASSERT_TRUE(result);
    EXPECT_EQ(begun, (QStringList{u"Early"_s, u"Later"_s}));
    ASSERT_EQ(result->misses.size(), 1);
    EXPECT_EQ(result->misses.first().captureID, early.id());
    EXPECT_EQ(result->passes,
              (QList<MemoryPass>{{.captureID = later.id(), .updated = true, .people = 1, .promises = 1}}));
}

TEST_F(LibrarianTest, catchesUpOnNothingMoreWhenTheAgentIsMissing) {
    capture(CaptureKind::meeting, u"One"_s, 20);
    capture(CaptureKind::meeting, u"Two"_s, 20, 10);
    std::optional<MemoryCatchUp> result;
    const Task<> task = keep(librarian.catchUp(), result);
    agent.calls.front()->answer(fail(FailureKind::notInstalled, u"Install it."_s));
    ASSERT_TRUE(result);
    EXPECT_EQ(agent.calls.size(), 1U);
    EXPECT_EQ(librarian.unread().size(), 2);
}

TEST_F(LibrarianTest, readsAChatsLogInBatchesAndRemembersHowFar) {
    const QString many = QStringList(20, u"word"_s).join(u' ');
    const QString big(30'000, u'x');
    const CaptureRecord record = session(
        {entry(1, many, big), entry(2, many, big), entry(2, u"same moment"_s), entry(9, many + big + big)});
    const auto cursor = [&] { return record.meta.startedAt.secsTo(*meta(record).sessionCursor) - 3600; };

    EXPECT_TRUE((*pass(record, {u"{}"_s}))->updated);
    EXPECT_TRUE(asked(0).startsWith(
        u"# CAPTURE: Claude Code · apollo (Mar 2, 2026)\n\n## CLAUDE CODE SESSIONS (new since last read)\n# "_s));
    EXPECT_EQ(cursor(), 1);
    EXPECT_TRUE(meta(record).memorizedAt.has_value());

    EXPECT_TRUE((*pass(record, {u"{}"_s}))->updated);
    EXPECT_TRUE(asked(1).contains(u"same moment"_s));
    EXPECT_FALSE(asked(1).contains(big + big));
    EXPECT_EQ(cursor(), 2);

    EXPECT_TRUE((*pass(record, {u"{}"_s}))->updated) << "one that is too long alone is taken nevertheless";
    EXPECT_TRUE(asked(2).contains(big + big));
    EXPECT_EQ(cursor(), 9);
    EXPECT_FALSE((*pass(record, {}))->updated);
    EXPECT_EQ(librarian.unread(), QList<CaptureRecord>());
}

TEST_F(LibrarianTest, passesOverTheChatterOfALogForGood) {
    const CaptureRecord record = session({entry(5, u"ok"_s)});
    EXPECT_FALSE((*pass(record, {}))->updated);
    EXPECT_TRUE(meta(record).sessionCursor.has_value());
    EXPECT_FALSE(meta(record).memorizedAt.has_value());
    writeEntries(record, {entry(5, u"ok"_s), entry(6, QStringList(20, u"word"_s).join(u' '))});
    EXPECT_TRUE((*pass(record, {u"{}"_s}))->updated);
    EXPECT_FALSE(asked(0).contains(u"Me: ok"_s));
    scratch.write(u"library/captures/%1/session.json"_s.arg(record.id()), "[{");
    EXPECT_FALSE(pass(record, {})->has_value());
}

TEST_F(LibrarianTest, readsNoCaptureWhoseWordsAreInABrokenFile) {
    const CaptureRecord record = capture(CaptureKind::meeting, u"Weekly"_s, 0);
    const CaptureRecord whole = capture(CaptureKind::meeting, u"Short"_s, 3, 10);
    scratch.write(u"library/captures/%1/transcript.json"_s.arg(record.id()), "[{");
    const auto refused = pass(record, {});
    ASSERT_TRUE(refused && !*refused);
    EXPECT_TRUE(refused->error().message.startsWith(u"transcript.json of"_s));
    EXPECT_FALSE(meta(record).memorizedAt.has_value());
    const MemoryCatchUp caughtUp = wait(librarian.catchUp());
    ASSERT_EQ(caughtUp.misses.size(), 1);
    EXPECT_EQ(caughtUp.misses.first().captureID, record.id());
    EXPECT_EQ(caughtUp.passes, QList<MemoryPass>{{.captureID = whole.id()}});
    EXPECT_TRUE(agent.calls.empty());
    const QString notes = QStringList(15, u"note"_s).join(u' ');
    scratch.write(u"library/captures/%1/notes.md"_s.arg(record.id()), notes.toUtf8());
    EXPECT_TRUE((*pass(record, {u"{}"_s}))->updated) << "the notes are enough";
}

TEST_F(LibrarianTest, changesLittleForAChatWhateverTheModelSays) {
    const QString slug = wait(memory.createProject(u"Apollo"_s)).value_or(QString());
    const QString other = wait(memory.createProject(u"Beta"_s)).value_or(QString());
    LibrarianOps ops;
    ops.people = {
        {.slug = {}, .name = u"Ann"_s, .company = {}, .role = {}, .status = {}, .about = {}, .timeline = {}}};
    const auto project = [](std::optional<QString> slug, const QString& name) {
        LibrarianOps::Entity entity;
        entity.slug = std::move(slug);
        entity.name = name;
        return entity;
    };
    ops.projects = {project(slug, u"Something"_s), project(u"new"_s, u"bETA"_s),
                    project(u"gamma"_s, u"Gamma"_s), project({}, u"New"_s)};
    for (const QString& text : {u"a"_s, u"b"_s, u"c"_s}) {
        ops.promises += LibrarianOps::Promise{u"Me"_s, {}, text, {}};
        ops.closedPromises += text;
        ops.ideas += LibrarianOps::Idea{text, {}};
    }
    ReplyChanges changes;
    const LibrarianOps narrowed = Librarian::sessionOps(ops, memory.projects(), changes);
    EXPECT_EQ(changes.summary(),
              u"1 people of chats, 2 unknown projects of chats, 1 promises of chats too many, "
              "2 ideas of chats too many; first: people of chats \"Ann\""_s);
    EXPECT_TRUE(narrowed.people.isEmpty());
    EXPECT_EQ(narrowed.projects, ops.projects.first(2));
    EXPECT_EQ(narrowed.promises, ops.promises.first(2));
    EXPECT_EQ(narrowed.closedPromises, ops.closedPromises);
    EXPECT_EQ(narrowed.ideas, ops.ideas.first(1));

    const CaptureRecord record = session({entry(1, QStringList(20, u"word"_s).join(u' '))});
    EXPECT_EQ((*pass(record, {ann}))->people, 0);
    EXPECT_TRUE(memory.people().isEmpty());
    EXPECT_TRUE(file(u"promises.md"_s).contains("send the deck"));
}
