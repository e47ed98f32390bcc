#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"
#include "ask/SearchIndex.h"
#include "ask/SearchService.h"
#include "chats/formats/SessionLog.h"
#include "library/formats/TranscriptSegment.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <QFile>

#include <filesystem>

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::test;

namespace {

TranscriptSegment says(Speaker speaker, double start, const QString& text) {
    return {QUuid::createUuid(), speaker, start, text};
}

/// Some captures in a folder of their own, newest first.
class SearchTest : public ::testing::Test {
  protected:
    CaptureRecord add(const QString& id, const QString& title, CaptureKind kind = CaptureKind::meeting) {
        CaptureRecord record{m_folder.path(u"captures/"_s + id), {}};
        record.meta.title = title;
        record.meta.kind = kind;
        m_input.captures.append(record);
        m_folder.write(u"captures/"_s + id + u"/meta.json"_s, "{}");
        return record;
    }
    void write(const QString& id, const QString& name, const QByteArray& bytes) const {
        m_folder.write(u"captures/"_s + id + u'/' + name, bytes);
    }
    void speak(const QString& id, const TranscriptSegments& segments) const {
        write(id, u"transcript.json"_s, transcript::encode(segments));
    }
    SearchResults search(const QString& query) { return m_index.search(query, m_input).value(); }
    QStringList ids(const QString& query) {
        QStringList ids;
        for (const CaptureResult& result : search(query).captures) {
            ids += result.record.id();
        }
        return ids;
    }
    /// The hits of the first capture as "kind|label|snippet|score".
    QStringList hits(const QString& query) {
        QStringList rows;
        for (const SearchHit& hit : search(query).captures.value(0).hits) {
            rows += QStringList{rawValue(hit.kind), hit.label, hit.snippet, QString::number(hit.score)}.join(
                u'|');
        }
        return rows;
    }
    /// Bytes that this process has read from files so far.
    static qint64 bytesRead() {
        QFile file(u"/proc/thread-self/io"_s);
        return file.open(QIODevice::ReadOnly)
                   ? file.readAll().split('\n').value(0).split(' ').value(1).toLongLong()
                   : -1;
    }
    /// Whether a search reads files of `size` bytes, which is much more than reading the counters takes.
    bool searchReads(const QString& query, qint64 size) {
        const qint64 before = bytesRead();
        search(query);
        return bytesRead() - before >= size;
    }

    ScratchFolder m_folder;
    // Later than all files here: what changed just now is read again, since it may change once more unseen.
    TestClock m_clock{QDateTime::currentDateTime().addSecs(3600)};
    SearchIndex m_index{m_clock};
    SearchInput m_input;
};

}  // namespace

TEST_F(SearchTest, everyTermMustOccurButNotInOneLine) {
    add(u"a"_s, u"Weekly"_s);
    write(u"a"_s, u"notes.md"_s, "\nThe pricing\n\n");
    speak(u"a"_s, {says(Speaker::them, 65.9, u"Dana said so"_s)});
    add(u"b"_s, u"Pricing"_s);
    EXPECT_EQ(ids(u"PRICING dana"_s), QStringList{u"a"_s});
    EXPECT_EQ(hits(u"pricing dana"_s), (QStringList{u"notes|Your notes|The pricing|13"_s,
                                                    u"transcript|Them · 01:05|Dana said so|10"_s}));
    EXPECT_EQ(search(u"dana"_s).captures.first().hits.first().time, 65.9);
    EXPECT_TRUE(search(u" \t\n"_s).isEmpty());
    EXPECT_TRUE(ids(u"nobody"_s).isEmpty());
}

TEST_F(SearchTest, ranksTheTitleThenTheBestLineThenTheNumberOfLines) {
    add(u"newest"_s, u"x"_s);
    write(u"newest"_s, u"notes.md"_s, "budget");
    add(u"title"_s, u"Budget plan"_s);
    QByteArray lines;
    for (int i = 0; i < 11; ++i) {
        lines += "plan " + QByteArray::number(i) + "\n";
    }
    write(u"title"_s, u"screen.md"_s, lines);
    add(u"both"_s, u"y"_s);
    write(u"both"_s, u"notes.md"_s, "budget and plan\nbudget\nplan of the budget\nplan\n");
    const SearchResults results = search(u"budget plan"_s);
    ASSERT_EQ(results.captures.size(), 2);
    // Twelve lines, of which ten count.
    EXPECT_EQ(results.captures.at(0).record.id(), u"title"_s);
    EXPECT_EQ(results.captures.at(0).score, 60 + 20 + 10);
    EXPECT_EQ(results.captures.at(1).score, 23 + 4);
    EXPECT_EQ(results.captures.at(0).hits.size(), 3);
    // The best hits first, equal ones as they stand.
    EXPECT_EQ(hits(u"plan 10"_s),
              (QStringList{u"screen|Screenshot text|plan 10|20"_s, u"title|Title|Budget plan|10"_s,
                           u"screen|Screenshot text|plan 0|10"_s}));
    EXPECT_EQ(ids(u"budget"_s), (QStringList{u"title"_s, u"both"_s, u"newest"_s}));
}

TEST_F(SearchTest, findsTheNotesBehindAnyNumberOfOtherLines) {
    TranscriptSegments segments;
    for (int i = 0; i < 30; ++i) {
        segments += says(Speaker::me, i * 60, u"plan %1"_s.arg(i));
    }
    add(u"a"_s, u"x"_s);
    speak(u"a"_s, segments);
    write(u"a"_s, u"notes.md"_s, "other\nplan one\nother\nplan two\n");
    write(u"a"_s, u"handoffs/notes.md"_s, "plan");
    EXPECT_EQ(hits(u"plan"_s),
              (QStringList{u"notes|Your notes|plan one|13"_s, u"notes|Your notes|plan two|13"_s,
                           u"transcript|Me · 00:00|plan 0|10"_s}));
    EXPECT_EQ(search(u"plan"_s).captures.first().score, 13 + 10);
    // Several terms go another way to the same end.
    EXPECT_EQ(hits(u"plan pla"_s).first(), u"notes|Your notes|plan one|23"_s);
    write(u"a"_s, u"notes.md"_s, "none");
    EXPECT_EQ(search(u"plan"_s).captures.first().score, 10 + 10);
}

TEST_F(SearchTest, putsTheNewerOfEqualCapturesFirst) {
    for (const auto& id : {u"3"_s, u"2"_s, u"1"_s}) {
        add(id, u"same"_s);
    }
    EXPECT_EQ(ids(u"same"_s), (QStringList{u"3"_s, u"2"_s, u"1"_s}));
    m_input.mostCaptures = 2;
    EXPECT_EQ(ids(u"same"_s), (QStringList{u"3"_s, u"2"_s}));
    EXPECT_EQ(search(u"same"_s).moreCaptures, 1);
}

TEST_F(SearchTest, looksIntoAllTextsOfACapture) {
    add(u"a"_s, u"Title"_s);
    speak(u"a"_s, {says(Speaker::me, 50, u"later"_s), says(Speaker::me, 0, u"two"_s),
                   says(Speaker::me, 44, u"parts"_s)});
    write(u"a"_s, u"handoffs/notes.md"_s, "# heading zz\n  # quote zz\n\ntext zz\r\n");
    write(u"a"_s, u"handoffs/own.md"_s, "zz");
    write(u"a"_s, u"handoffs/other.txt"_s, "zz");
    m_input.engineNames[u"notes"_s] = u"Meeting notes"_s;
    EXPECT_EQ(hits(u"zz"_s),
              (QStringList{u"handoff|Meeting notes hand-off|  # quote zz|10"_s,
                           u"handoff|Meeting notes hand-off|text zz|10"_s, u"handoff|own hand-off|zz|10"_s}));
    EXPECT_EQ(search(u"zz"_s).captures.first().hits.first().tab, LibraryTab::handoffs);
    // Paragraphs as the transcript shows them.
    EXPECT_EQ(hits(u"two parts"_s), QStringList{u"transcript|Me · 00:00|two parts|20"_s});
    EXPECT_EQ(hits(u"later"_s), QStringList{u"transcript|Me · 00:50|later|10"_s});
    // A term does not reach from one line into the next.
    EXPECT_TRUE(ids(u"partslater"_s).isEmpty());

    SessionEntry entry;
    entry.id = u"1"_s;
    entry.time = m_clock.now();
    entry.prompt = u"Fix the build"_s;
    entry.reply = u"Done"_s;
    add(u"s"_s, u"Chat"_s, CaptureKind::session);
    write(u"s"_s, u"session.json"_s, SessionLog::encode({entry}));
    EXPECT_EQ(hits(u"build done"_s), QStringList{u"transcript|Claude|Fix the build Done|20"_s});
    // The word of the kind finds captures without being a line of them.
    EXPECT_EQ(ids(u"session"_s), QStringList{u"s"_s});
    EXPECT_EQ(search(u"session"_s).captures.first().score, 0);
}

TEST_F(SearchTest, comparesLettersOfAllScripts) {
    add(u"a"_s, u"ÜNAL Öz"_s);
    add(u"b"_s, u"ПРИВЕТ МИР"_s);
    add(u"c"_s, u"cafe\u0301 — “Ça va”"_s);
    add(u"d"_s, u"İstanbul"_s);
    write(u"a"_s, u"notes.md"_s, "Straße 7×8\nΩMEGA");
    for (const auto& [query, id] : {std::pair{u"ünal"_s, u"a"_s},
                                    {u"привет"_s, u"b"_s},
                                    {u"CAFÉ"_s, u"c"_s},
                                    {u"ça"_s, u"c"_s},
                                    {u"i\u0307stan"_s, u"d"_s},
                                    {u"straße"_s, u"a"_s},
                                    {u"7×8"_s, u"a"_s},
                                    {u"ωmega"_s, u"a"_s}}) {
        EXPECT_EQ(ids(query), QStringList{id}) << query.toStdString();
    }
    EXPECT_EQ(hits(u"va"_s), QStringList{u"title|Title|café — “Ça va”|10"_s});
}

TEST_F(SearchTest, brokenAndStrangeFilesGiveNoLines) {
    add(u"a"_s, u"Title"_s);
    write(u"a"_s, u"transcript.json"_s, R"([{"text": "word"}])");
    write(u"a"_s, u"notes.md"_s, "word \xff");
    write(u"a"_s, u"screen.md/x"_s, "word");
    write(u"a"_s, u"handoffs"_s, "word");
    EXPECT_TRUE(ids(u"word"_s).isEmpty());
    // A folder that went after the list was taken.
    m_input.captures.append({m_folder.path(u"captures/gone"_s), {}});
    EXPECT_EQ(ids(u"title"_s), QStringList{u"a"_s});
}

TEST_F(SearchTest, readsNothingAgainUntilAFileChanges) {
    constexpr qint64 large = 200'000;
    add(u"a"_s, u"Title"_s);
    write(u"a"_s, u"notes.md"_s, QByteArray(large, 'x') + "\nold\n");
    write(u"a"_s, u"handoffs/notes.md"_s, "first");
    add(u"b"_s, u"Other"_s);
    EXPECT_TRUE(searchReads(u"old"_s, large));
    EXPECT_FALSE(searchReads(u"old"_s, large));
    EXPECT_FALSE(searchReads(u"other"_s, large));
    EXPECT_EQ(ids(u"old"_s), QStringList{u"a"_s});

    const struct {
        const char* what;
        std::function<void()> change;
        QString term;
    } rows[] = {
        {"replaced",
         [&] { writeFileAtomically(m_folder.path(u"captures/a/notes.md"_s), "replaced").value(); },
         u"replaced"_s},
        {"written in place", [&] { write(u"a"_s, u"notes.md"_s, "in-place"); }, u"in-place"_s},
        {"same size",
         [&] {
             write(u"a"_s, u"notes.md"_s, "in-plaCe2");
             write(u"a"_s, u"notes.md"_s, "in-other");
         },
         u"in-other"_s},
        {"new file", [&] { write(u"a"_s, u"screen.md"_s, "screen"); }, u"screen"_s},
        {"result in place", [&] { write(u"a"_s, u"handoffs/notes.md"_s, "second"); }, u"second"_s},
        {"new result", [&] { write(u"a"_s, u"handoffs/more.md"_s, "third"); }, u"third"_s},
        {"first result", [&] { write(u"b"_s, u"handoffs/notes.md"_s, "fourth"); }, u"fourth"_s},
        {"that result", [&] { write(u"b"_s, u"handoffs/notes.md"_s, "fifth"); }, u"fifth"_s},
        {"old date",
         [&] {
             write(u"b"_s, u"notes.md"_s, "sixth");
             std::filesystem::last_write_time(m_folder.path(u"captures/b/notes.md"_s).toStdString(), {});
         },
         u"sixth"_s},
    };
    for (const auto& row : rows) {
        EXPECT_TRUE(ids(row.term).isEmpty()) << row.what;
        row.change();
        EXPECT_EQ(ids(row.term).size(), 1) << row.what;
        EXPECT_EQ(ids(row.term).size(), 1) << row.what;
    }
    QFile::remove(m_folder.path(u"captures/b/notes.md"_s));
    EXPECT_TRUE(ids(u"sixth"_s).isEmpty());
    m_input.captures[1].meta.title = u"Renamed"_s;
    EXPECT_EQ(ids(u"renamed"_s), QStringList{u"b"_s});
}

TEST_F(SearchTest, seesChangesThatTheFolderIsNotToldOf) {
    add(u"a"_s, u"Title"_s);
    m_folder.write(u"elsewhere/notes.md"_s, "one");
    m_folder.write(u"elsewhere/results/notes.md"_s, "two");
    ASSERT_TRUE(QFile::link(m_folder.path(u"elsewhere/notes.md"_s), m_folder.path(u"captures/a/notes.md"_s)));
    std::filesystem::create_hard_link(m_folder.path(u"elsewhere/results/notes.md"_s).toStdString(),
                                      m_folder.path(u"captures/a/screen.md"_s).toStdString());
    for (const auto& word : {u"three"_s, u"four"_s}) {
        search(u"x"_s);
        search(u"x"_s);
        m_folder.write(u"elsewhere/notes.md"_s, word.toUtf8());
        m_folder.write(u"elsewhere/results/notes.md"_s, word.toUtf8() + "-linked");
        EXPECT_EQ(hits(word).size(), 2);
    }
    // A whole library put in the place of another.
    QFile::remove(m_folder.path(u"captures/a/notes.md"_s));
    QFile::remove(m_folder.path(u"captures/a/screen.md"_s));
    search(u"x"_s);
    search(u"x"_s);
    QDir(m_folder.path()).rename(u"captures"_s, u"before"_s);
    m_folder.write(u"captures/a/notes.md"_s, "restored");
    EXPECT_EQ(ids(u"restored"_s), QStringList{u"a"_s});
}

TEST_F(SearchTest, anOvertakenSearchGivesNothingAndKeepsWhatItRead) {
    add(u"a"_s, u"Title"_s);
    std::stop_source source;
    source.request_stop();
    EXPECT_EQ(m_index.search(u"title"_s, m_input, source.get_token()), std::nullopt);
    EXPECT_EQ(ids(u"title"_s), QStringList{u"a"_s});
}

TEST_F(SearchTest, aNewerQueryOvertakesTheOneUnderWay) {
    for (int i = 0; i < 300; ++i) {
        add(QString::number(i), u"Title %1"_s.arg(i));
    }
    auto service = std::make_unique<SearchService>(m_clock);
    auto first = service->search(u"title"_s, m_input);
    auto second = service->search(u"299"_s, m_input);
    EXPECT_EQ(wait(std::move(first)), std::nullopt);
    const auto results = wait(std::move(second));
    ASSERT_TRUE(results);
    EXPECT_EQ(results->captures.size(), 1);
    // The service may go before its searches do.
    auto third = service->search(u"title"_s, m_input);
    service.reset();
    EXPECT_EQ(wait(std::move(third)), std::nullopt);
}

TEST_F(SearchTest, findsPeoplePromisesIdeasAndThreads) {
    MemoryEntity dana;
    dana.id = u"dana-kim"_s;
    dana.name = u"Dana Kim"_s;
    dana.subtitle = u"CTO · Acme"_s;
    dana.emails = {u"dk@acme.com"_s};
    m_input.people = {{}, dana};
    m_input.projects = {dana, {}};
    PromiseItem promise;
    promise.text = u"send the [[projects/deck|Deck]]"_s;
    promise.owner = u"[[people/dana-kim|Dana Kim]]"_s;
    promise.recipient = u"Me"_s;
    m_input.promises = {promise};
    IdeaItem idea;
    idea.hook = u"A deck"_s;
    idea.angle = u"for Dana"_s;
    m_input.ideas = {idea};
    AskThread thread;
    thread.id = u"t"_s;
    AskTurn turn;
    turn.question = u"What now?"_s;
    turn.answer = QString(100, u'a') + u"dana has the deck"_s + QString(100, u'b');
    thread.turns = {turn};
    m_input.threads = {thread};

    const SearchResults results = search(u"DANA deck"_s);
    EXPECT_EQ(results.promises, m_input.promises);
    EXPECT_EQ(results.ideas, m_input.ideas);
    ASSERT_EQ(results.asks.size(), 1);
    EXPECT_EQ(results.asks.first().snippet,
              u"…"_s + QString(50, u'a') + u"dana has the deck"_s + QString(73, u'b') + u"…"_s);
    EXPECT_TRUE(results.people.isEmpty());
    EXPECT_EQ(search(u"kim acme.com"_s).people, QList<MemoryEntity>{dana});
    EXPECT_EQ(search(u"kim cto"_s).projects, QList<MemoryEntity>{dana});
    // The target of a link is not what people see.
    EXPECT_TRUE(search(u"people/"_s).promises.isEmpty());

    m_input.promises[0].text = u"call back"_s;
    EXPECT_TRUE(search(u"deck dana"_s).promises.isEmpty());
    EXPECT_EQ(search(u"call back"_s).promises.size(), 1);
}
