#include "LumbroCore/Dates.h"
#include "LumbroCore/LockedUpdate.h"
#include "tests/ask/AskServiceFixture.h"

#include <QFile>
#include <QFileInfo>

#include <array>

#include <fcntl.h>
#include <sys/stat.h>

using namespace lumbro;
using namespace std::chrono_literals;
using test::reply;

// Conversations in their files, which other processes and people change too.
using AskKeepingTest = test::AskServiceTest;

TEST_F(AskKeepingTest, aThreadGoesOnAfterARestartWithoutLosingItsSources) {
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

TEST_F(AskKeepingTest, turnsThatAnotherProcessAddedStay) {
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

TEST_F(AskKeepingTest, anAnswerThatCannotBeWrittenStaysAndIsWrittenWithTheNext) {
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

TEST_F(AskKeepingTest, whatPeopleWroteIntoAFileStaysToTheByte) {
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

TEST_F(AskKeepingTest, aFileThatIsNoTextIsLeftAlone) {
    const QString id = ask(u"One"_s);
    call().answer(u"1"_s);
    for (const QByteArray& bytes :
         {QByteArray("\xff\xfe#\0", 4), QByteArray("#\0", 2), QByteArray("### Me\nQ\xff\n### Lumbro\nA\n")}) {
        m_folder.write(u"asks/"_s + id + u".md"_s, bytes);
        EXPECT_EQ(AskThreads(m_library.root()).readAll({}), QList<AskThread>());
        ask(u"Two"_s, id);
        call().answer(u"2"_s);
        EXPECT_FALSE(service.saveFailure(id).isEmpty());
        EXPECT_EQ(m_folder.read(u"asks/"_s + id + u".md"_s), bytes);
    }
}

TEST_F(AskKeepingTest, aZeroCharacterMakesNoThreadUnreadable) {
    const QString id = ask(u"\0 One\0"_s);
    call().answer(u"1\0"_s);
    EXPECT_EQ(questions(onDisk(id)), QStringList{u"One"_s});
    EXPECT_EQ(onDisk(id).title, u"One"_s);
}

TEST_F(AskKeepingTest, ofOneSecondTheThreadAnsweredLastStandsFirst) {
    const auto order = [](const QList<AskThread>& threads) {
        QStringList titles;
        for (const AskThread& thread : threads) {
            titles << thread.title;
        }
        return titles;
    };
    long nanoseconds = 0;
    const auto answer = [&](const QString& id) {
        call().answer(u"1"_s);
        const timespec time{.tv_sec = 1'700'000'000, .tv_nsec = ++nanoseconds};
        const std::array times{time, time};
        const QByteArray path = QFile::encodeName(m_folder.path(u"asks/%1.md"_s.arg(id)));
        EXPECT_EQ(utimensat(AT_FDCWD, path.constData(), times.data(), 0), 0);
    };
    const QString first = ask(u"Bravo"_s);
    answer(first);
    answer(ask(u"Alpha"_s));
    answer(ask(u"Charlie"_s));
    QStringList expected{u"Charlie"_s, u"Alpha"_s, u"Bravo"_s};
    EXPECT_EQ(order(service.threads()), expected);
    EXPECT_EQ(order(AskThreads(m_library.root()).readAll({})), expected);
    answer(ask(u"More"_s, first));
    expected.move(2, 0);
    EXPECT_EQ(order(service.threads()), expected);
    service.reload();
    EXPECT_EQ(order(service.threads()), expected);
}

TEST_F(AskKeepingTest, twoProcessesThatBeginAtOnceGetTheirOwnThreads) {
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

TEST_F(AskKeepingTest, aNameThatIsTakenTwiceCountsOn) {
    AskService other(m_clock, settings, m_library, memory, agent);
    const QString id = ask(u"Same"_s);
    call().answer(u"1"_s);
    AskQuestion theirs;
    theirs.question = u"Same"_s;
    other.reload();
    EXPECT_EQ(other.ask(theirs), id + u"-2"_s);
    EXPECT_EQ(ask(u"Same"_s), id + u"-2"_s);
    agent.calls.at(1)->answer(u"2"_s);
    agent.calls.at(2)->answer(u"3"_s);
    EXPECT_EQ(answers.value(1).thread, id + u"-3"_s);
}

TEST_F(AskKeepingTest, aDeletedThreadDoesNotComeBackWithALateAnswer) {
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

TEST_F(AskKeepingTest, aFolderThatStaysLockedIsNotWrittenTo) {
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

TEST_F(AskKeepingTest, aDeletedThreadGoesToTheTrash) {
    qputenv("XDG_DATA_HOME", m_folder.path(u"data"_s).toUtf8());
    const QString id = ask(u"One"_s);
    call().answer(u"1"_s);
    service.remove(*service.thread(id));
    qunsetenv("XDG_DATA_HOME");
    EXPECT_FALSE(service.thread(id));
    EXPECT_FALSE(m_folder.has(u"asks/"_s + id + u".md"_s));
}
