#include "LumbroCore/LockedUpdate.h"
#include "tests/memory/MemoryFixture.h"
#include "tests/support/Wait.h"

#include <QDir>

namespace lumbro::test {
namespace {

using MemoryStoreTest = MemoryTest;
using Kind = MemoryEntity::Kind;

QStringList names(const QList<MemoryEntity>& entities) {
    QStringList names;
    for (const MemoryEntity& entity : entities) {
        names.append(entity.name);
    }
    return names;
}

template <typename T>
Task<> keep(Task<T> task, std::optional<T>& result) {
    result = co_await std::move(task);
}

TEST_F(MemoryStoreTest, pagesAreListedLastSeenFirst) {
    put(u"people/a.md"_s,
        "---\nname: Ann\nlast_seen: 2026-03-01\nemail: Ann@Acme.com\nrole: CEO\ncompany: Acme\n---\n"
        "also a.b@x.org\n## ABOUT\n- one\n  - two\ntext\n## timeline\n- 2026-01-01 · [[x|y]] — met\n");
    put(u"people/z.md"_s, "---\r\nname: Zed\r\nlast_seen: 2026-03-01\r\n---\r\n");
    put(u"people/no-name.md"_s, "");
    put(u"people/late.md"_s, "---\nlast_seen: 2026-03-02\nname:\n---");
    put(u"people/broken.md"_s, "\xFF\xFE");
    put(u"people/other.txt"_s, "---\nname: No\n---\n");
    QDir().mkpath(m_folder.path(u"memory/people/folder.md"_s));
    m_store.reload(false);
    EXPECT_EQ(names(m_store.people()), (QStringList{u"late"_s, u"Zed"_s, u"Ann"_s, u"no-name"_s}));
    const MemoryEntity ann = *m_store.entity(Kind::person, u"a"_s);
    EXPECT_EQ(ann.subtitle, u"CEO · Acme"_s);
    EXPECT_EQ(ann.emails, (QStringList{u"ann@acme.com"_s, u"a.b@x.org"_s}));
    EXPECT_EQ(ann.about, (QStringList{u"one"_s, u"two"_s}));
    EXPECT_EQ(ann.timeline, (QList<TimelineEntry>{{u"2026-01-01"_s, WikiLink{u"x"_s, u"y"_s}, u"met"_s}}));
    EXPECT_EQ(m_store.entity(Kind::project, u"a"_s), std::nullopt);
    EXPECT_EQ(m_store.company(u"ACME.com"_s)->personSlugs, QStringList{u"a"_s});
    EXPECT_EQ(m_store.companyForPerson(u"z"_s), std::nullopt);
}

TEST_F(MemoryStoreTest, onlyWhatChangedIsTold) {
    m_store.bootstrap();
    put(u"people/a.md"_s, "---\nname: Ann\n---\n");
    put(u"people/b.md"_s, "---\nname: Bob\n---\n");
    m_store.reload(false);
    const SignalCounter files(&m_store, &MemoryStore::filesChanged);
    const SignalCounter people(&m_store, &MemoryStore::peopleChanged);
    const SignalCounter projects(&m_store, &MemoryStore::projectsChanged);
    const SignalCounter promises(&m_store, &MemoryStore::promisesChanged);
    put(u"people/a.md"_s, "---\nname: Eve\n---\n");
    m_store.reload(false);
    EXPECT_EQ(names(m_store.people()), (QStringList{u"Eve"_s, u"Bob"_s}));
    QFile::remove(m_folder.path(u"memory/people/b.md"_s));
    m_store.reload(false);
    EXPECT_EQ(names(m_store.people()), QStringList{u"Eve"_s});
    put(u"promises.md"_s, "- [ ] call\n");
    m_store.reload(false);
    EXPECT_EQ(people.count(), 2);
    EXPECT_EQ(projects.count(), 0);
    EXPECT_EQ(promises.count(), 1);
    // Once the files are older than a file system's clock is coarse, nothing is read.
    for (const QString& name : {u"promises.md"_s, u"ideas.md"_s, u"people/a.md"_s}) {
        ASSERT_TRUE(changeDate(m_store.root() + u'/' + name, at(8, 0)));
    }
    ASSERT_TRUE(eventually([&] {
        const int before = files.count();
        m_store.reload(false);
        return files.count() == before;
    }));
}

/// The same when nothing has happened for so long that only the kernel is asked.
TEST_F(MemoryStoreTest, aChangeAfterALongRestIsSeen) {
    put(u"people/a.md"_s, "---\nname: Ann\n---\n");
    m_store.bootstrap();
    const auto rest = [this] {
        int quiet = 0;
        const SignalCounter files(&m_store, &MemoryStore::filesChanged);
        return eventually([&] {
            const int before = files.count();
            m_store.reload(false);
            quiet = files.count() == before ? quiet + 1 : 0;
            return quiet > 5;
        });
    };
    ASSERT_TRUE(rest());
    put(u"people/a.md"_s, "---\nname: Eve\n---\n");
    m_store.reload(false);
    EXPECT_EQ(names(m_store.people()), QStringList{u"Eve"_s});
    ASSERT_TRUE(rest());
    put(u"promises.md"_s, "- [ ] call\n");
    m_store.reload(false);
    EXPECT_EQ(m_store.promises().size(), 1);
    ASSERT_TRUE(rest());
    QDir memory(m_store.root());
    ASSERT_TRUE(memory.rename(u"people"_s, u"old"_s) && memory.mkdir(u"people"_s));
    m_store.reload(false);
    EXPECT_TRUE(m_store.people().isEmpty());
    ASSERT_TRUE(rest());
    put(u"people/b.md"_s, "---\nname: Bob\n---\n");
    m_store.reload(false);
    EXPECT_EQ(names(m_store.people()), QStringList{u"Bob"_s});
}

/// What somebody wrote into the files by hand, in every odd form, is there after all writes.
TEST_F(MemoryStoreTest, handEditsSurviveEveryWrite) {
    const QByteArray promises =
        "\xEF\xBB\xBF# My list\r\n\r\nnot \xFF utf-8 \r\n  - [ ]  odd  spacing ^p-1 \t\r\n"
        "- [X] call Ann · snoozed 2026-01-01 · snoozed 2026-01-02 ^p-2\r\n- [ ] l\xE9 ^p-3\r\n- [ ] "
        "bare\r\n- [ ] last";
    put(u"promises.md"_s, promises);
    m_store.reload(false);
    EXPECT_EQ(wait(m_store.setPromise(u"p-1"_s, true)), true);
    EXPECT_EQ(wait(m_store.setPromise(u"p-2"_s, false)), true);
    EXPECT_EQ(wait(m_store.snoozePromise(u"p-2"_s, 3)), true);
    EXPECT_EQ(wait(m_store.snoozePromise(u"p-3"_s, 3)), true);
    EXPECT_EQ(wait(m_store.setPromise(m_store.promises()[3].id, true)), true);
    EXPECT_EQ(wait(m_store.setPromise(u"p-none"_s, true)), false);
    EXPECT_EQ(wait(m_store.setPromise({}, true)), false);
    const QByteArray changed =
        "\xEF\xBB\xBF# My list\r\n\r\nnot \xFF utf-8 \r\n  - [x]  odd  spacing ^p-1 \t\r\n"
        "- [ ] call Ann · snoozed 2026-03-05 ^p-2\r\n- [ ] l\xE9 · snoozed 2026-03-05 ^p-3\r\n"
        "- [x] bare\r\n- [ ] last";
    EXPECT_EQ(file(u"promises.md"_s), changed);

    put(u"ideas.md"_s, "intro\r\n- old \xFF");
    put(u"people/dana.md"_s,
        "\xEF\xBB\xBF---\r\ntags:\r\n  - a\r\nname:  Dana\r\n---\r\n\r\n# D\r\n|t|\r\n## Mine\r\n\r\n  x");
    LibrarianOps ops;
    ops.people = {entity(u"dana"_s)};
    ops.people[0].about = QStringList{u"Likes tea"_s};
    ops.promises = {promise(u"Me"_s, u"New"_s)};
    ops.ideas = {{u"Hook"_s, u"Angle"_s}};
    ASSERT_TRUE(wait(m_store.apply(ops, meeting())));
    EXPECT_TRUE(file(u"promises.md"_s).startsWith(changed + "\r\n- [ ] New · "));
    EXPECT_TRUE(file(u"promises.md"_s).endsWith("\r\n"));
    EXPECT_TRUE(file(u"ideas.md"_s).startsWith("intro\r\n- **Hook** — Angle"));
    EXPECT_TRUE(file(u"ideas.md"_s).endsWith("\r\n- old \xFF"));
    EXPECT_EQ(file(u"people/dana.md"_s),
              "\xEF\xBB\xBF---\r\ntags:\r\n  - a\r\nname:  Dana\r\ncompany: \r\nrole: \r\nlast_seen: "
              "2026-03-02\r\n---\r\n\r\n"
              "# D\r\n|t|\r\n\r\n## Mine\r\n\r\n  x\r\n\r\n## About\r\n- Likes tea\r\n");
}

TEST_F(MemoryStoreTest, aChangeWaitsForAnotherProcessWithoutHoldingUpTheThread) {
    put(u"promises.md"_s, "- [ ] call ^p-1\n");
    m_store.bootstrap();
    std::optional<Result<bool>> outcome;
    auto other = std::make_unique<FolderLock>(m_store.root());
    const Task<> first = keep(m_store.setPromise(u"p-1"_s, true), outcome);
    m_clock.advance(std::chrono::seconds(4));
    EXPECT_FALSE(outcome.has_value());
    put(u"promises.md"_s, "- [ ] call ^p-1\n- [ ] write ^p-2\n");
    other.reset();
    m_clock.advance(std::chrono::milliseconds(100));
    EXPECT_EQ(outcome, Result<bool>(true));
    EXPECT_EQ(file(u"promises.md"_s), "- [x] call ^p-1\n- [ ] write ^p-2\n");

    other = std::make_unique<FolderLock>(m_store.root());
    const Task<> second = keep(m_store.setPromise(u"p-2"_s, true), outcome);
    m_clock.advance(std::chrono::seconds(6));
    ASSERT_TRUE(outcome && !*outcome);
    EXPECT_EQ(outcome->error().message, u"Another process is changing the memory; try again."_s);
    EXPECT_EQ(m_clock.timerCount(), 0U);
    m_store.bootstrap();
    EXPECT_EQ(m_store.promises().size(), 2) << "what cannot be changed may still be read";
}

TEST_F(MemoryStoreTest, ideasGoOnTopInTheirOrder) {
    m_store.bootstrap();
    wait(m_store.addIdeas({{u"one"_s, {}, std::nullopt}, {u" ** "_s, {}, std::nullopt}}));
    EXPECT_EQ(wait(m_store.addIdeas({{u"two"_s, {}, std::nullopt}, {u"three"_s, {}, meeting()}}))->size(), 2);
    QStringList hooks;
    for (const IdeaItem& idea : m_store.ideas()) {
        hooks.append(idea.hook);
    }
    EXPECT_EQ(hooks, (QStringList{u"two"_s, u"three"_s, u"one"_s}));
    const QByteArray before = file(u"ideas.md"_s);
    EXPECT_EQ(wait(m_store.addIdeas({})), QStringList());
    EXPECT_EQ(file(u"ideas.md"_s), before);
}

TEST_F(MemoryStoreTest, ofPromisesAlikeOneAtATimeIsChanged) {
    const QByteArray alike = "- [ ] call Ann\n";
    put(u"promises.md"_s, alike + "- [x] call Ann\n- [ ] other\n" + alike);
    m_store.bootstrap();
    const QString id = m_store.promises().first().id;
    EXPECT_EQ(m_store.promises()[1].id, id + u"-2"_s);
    EXPECT_EQ(wait(m_store.snoozePromise(id + u"-3"_s, 3)), true);
    EXPECT_EQ(m_store.promises().last().id, id + u"-3"_s);
    EXPECT_EQ(wait(m_store.setPromise(id + u"-2"_s, false)), true);
    LibrarianOps ops;
    ops.closedPromises = {id};
    EXPECT_EQ(wait(m_store.apply(ops, meeting()))->closedPromises, 1);
    EXPECT_EQ(file(u"promises.md"_s),
              "- [x] call Ann\n" + alike + "- [ ] other\n- [ ] call Ann · snoozed 2026-03-05\n");
    EXPECT_EQ(wait(m_store.setPromise(id + u"-4"_s, true)), false);
}

TEST_F(MemoryStoreTest, projectsAreMadeAndRenamed) {
    EXPECT_EQ(wait(m_store.createProject(u"!!!"_s)), u"project"_s);
    EXPECT_EQ(wait(m_store.createProject(u"!!!"_s)), u"project-2"_s);
    EXPECT_EQ(wait(m_store.createProject(u"Big\nDeal"_s)), u"big-deal"_s);
    EXPECT_EQ(file(u"projects/big-deal.md"_s), "---\nname: Big Deal\nstatus: \n---\n\n# Big Deal\n");
    put(u"projects/big-deal.md"_s, "---\nname: Big Deal\nstatus: \n---\ntext\n# Big Deal\n# other");
    EXPECT_EQ(wait(m_store.renameProject(u"big-deal"_s, u" Big Deal\t"_s)), false);
    EXPECT_EQ(wait(m_store.renameProject(u"big-deal"_s, u"\n"_s)), false);
    EXPECT_EQ(wait(m_store.renameProject(u"none"_s, u"X"_s)), false);
    EXPECT_EQ(wait(m_store.renameProject(u"../promises"_s, u"X"_s)), false);
    EXPECT_TRUE(file(u"projects/big-deal.md"_s).endsWith("other"));
    EXPECT_EQ(wait(m_store.renameProject(u"big-deal"_s, u"Small"_s)), true);
    EXPECT_EQ(file(u"projects/big-deal.md"_s), "---\nname: Small\nstatus: \n---\ntext\n# Small\n# other\n");

    const QByteArray ofLines = "---\nname: |\n  Small\n  deal\n---\n# Small\n";
    put(u"projects/big-deal.md"_s, ofLines);
    EXPECT_FALSE(wait(m_store.renameProject(u"big-deal"_s, u"Other"_s)));
    EXPECT_EQ(file(u"projects/big-deal.md"_s), ofLines);
}

TEST_F(MemoryStoreTest, peopleAreFoundThroughTheirMeetings) {
    LibraryTest::put(u"2026-03-02-1430-meeting"_s,
                     R"({"title":"T","kind":"meeting","startedAt":"2026-03-02T13:30:00Z","sources":[],
                      "attendees":["Dana Kim"],"attendeeEmails":["d@acme.com"]})");
    LibraryTest::put(u"2026-03-01-1430-thought"_s, meta("thought"));
    put(u"people/dana.md"_s, "---\nname: Dana Kim\n---\n");
    put(u"people/bob.md"_s,
        "---\nname: Bob\nemail: bob@beta.io\n---\n## Timeline\n- "
        "[[captures/2026-03-01-1430-thought/transcript]]\n");
    m_library.open();
    m_store.reload(false);
    EXPECT_EQ(m_store.capturesWith(u"dana"_s).size(), 1);
    EXPECT_EQ(m_store.capturesWith(u"bob"_s).first().id(), u"2026-03-01-1430-thought"_s);
    EXPECT_EQ(m_store.email(u"bob"_s, {}), u"bob@beta.io"_s);
    EXPECT_EQ(m_store.email(u"dana"_s, u"Dana Kim"_s), u"d@acme.com"_s);
    EXPECT_EQ(m_store.email(std::nullopt, u"Nobody"_s), std::nullopt);
    EXPECT_EQ(m_store.company(u"acme.com"_s)->personSlugs, QStringList{u"dana"_s});

    const SignalCounter companies(&m_store, &MemoryStore::companiesChanged);
    m_store.reload(true);
    EXPECT_EQ(companies.count(), 0);
    m_settings.set(u"ownEmail"_s, u"me@acme.com"_s);
    m_store.reload(false);
    EXPECT_EQ(companies.count(), 1);
    EXPECT_EQ(m_store.company(u"acme.com"_s), std::nullopt);
}

TEST_F(MemoryStoreTest, whatCannotBeWrittenIsAFailureAndStays) {
    m_store.bootstrap();
    QFile::remove(m_folder.path(u"memory/promises.md"_s));
    QDir().mkpath(m_folder.path(u"memory/promises.md"_s));
    LibrarianOps ops;
    ops.promises = {promise(u"Me"_s, u"New"_s)};
    ops.ideas = {{u"Hook"_s, std::nullopt}};
    EXPECT_FALSE(wait(m_store.apply(ops, meeting())));
    EXPECT_EQ(m_store.ideas().size(), 1);
    EXPECT_TRUE(log().contains(u"promises.md can't be read and was left as it is."_s));
    EXPECT_TRUE(QDir(m_store.root()).entryList({u"*.md.*"_s}).isEmpty());
}

}  // namespace
}  // namespace lumbro::test
