#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "ask/formats/AskThreadFile.h"

#include <QRandomGenerator>

#include <gtest/gtest.h>

using namespace lumbro;

namespace {

QDateTime at(const QString& iso) {
    return dates::fromIso(iso).value_or(QDateTime());
}

AskThread parsed(const QString& text) {
    return askThreadFile::read(text, u"/library/asks/2026-03-02-0914-x.md"_s, {});
}

QString golden(const QString& name) {
    return readTextFile(QStringLiteral(LUMBRO_SOURCE_DIR "/tests/ask/golden/") + name).value_or(QString());
}

}  // namespace

TEST(AskThreadFile, isWrittenAndReadByteForByte) {
    AskThread thread;
    thread.title = u"What did Dana say\n about the draft?"_s;
    thread.created = at(u"2026-03-02T08:14:05Z"_s);
    thread.scope = AskScope{AskScope::Kind::person, u"dana-kim"_s};
    thread.turns = {
        {.question = thread.title,
         .answer = u"She wants it by **Friday**.\n\n- [ ] Me — send it"_s,
         .sources = {},
         .date = at(u"2026-03-02T08:14:25Z"_s),
         .action = {},
         .engine = {},
         .rawSources = {u"captures/2026-03-01-0900-meeting/notes.md"_s, u"nobody.md"_s}},
        {.question = u"Follow-up"_s,
         .answer = u"**Subject:** The draft"_s,
         .sources = {},
         .date = at(u"2026-03-02T08:20:00Z"_s),
         .action = u"mail"_s,
         .engine = u"followup"_s,
         .rawSources = {}},
    };
    const QString expected = golden(u"thread.md"_s);
    EXPECT_EQ(QString::fromUtf8(askThreadFile::write(thread)), expected);
    const AskThread again = parsed(expected);
    EXPECT_EQ(again.turns, thread.turns);
    EXPECT_EQ(again.scope, thread.scope);
    EXPECT_EQ(again.created, thread.created);
    EXPECT_EQ(again.title, u"What did Dana say  about the draft?"_s);
    EXPECT_EQ(again.id, u"2026-03-02-0914-x"_s);
    EXPECT_EQ(again.updated(), at(u"2026-03-02T08:20:00Z"_s));
}

TEST(AskThreadFile, readsWhatPeopleMadeOfIt) {
    struct Row {
        const char* name;
        QString text;
        QString title;
        QStringList turns;
    };
    // Each turn as "question|answer|date|engine|action|raw sources".
    const Row rows[] = {
        {"empty", u""_s, u"Untitled"_s, {}},
        {"no block at the top",
         u"### Me · 2026-03-02T09:14:05Z\nHi\n### Lumbro\nHo\n"_s,
         u"Hi"_s,
         {u"Hi|Ho|2026-03-02T09:14:05Z|||"_s}},
        {"the older label",
         u"### Me · 2026-03-02T09:14:05Z\nHi\n### Quillet\nHo"_s,
         u"Hi"_s,
         {u"Hi|Ho|2026-03-02T09:14:05Z|||"_s}},
        {"a bad date takes the one before",
         u"### Me · x\nA\n### Lumbro\na\n### Me · 2026-03-02T09:14:05Z\nB\n### Lumbro\nb\n"
         u"### Me · /digest · soon\nC\n### Lumbro\nc"_s,
         u"A"_s,
         {u"A|a|0001-01-01T00:00:00Z|||"_s, u"B|b|2026-03-02T09:14:05Z|||"_s,
          u"C|c|2026-03-02T09:14:05Z|digest||"_s}},
        {"a turn without an answer is dropped",
         u"### Me · 2026-03-02T09:14:05Z\nA\n### Me · 2026-03-02T09:15:05Z\nB\n### Lumbro\nb\n"
         u"### Me · 2026-03-02T09:16:05Z\nC"_s,
         u"B"_s,
         {u"B|b|2026-03-02T09:15:05Z|||"_s}},
        {"marked lines of the answer",
         u"---\ntitle: T\n---\n### Me · /a · /b · 2026-03-02T09:14:05Z\nQ\nACTION: x\n### "
         u"Lumbro\nA\naction:\n"
         u"**Action: Mail.**\nsources: a\nSOURCES: b, c"_s,
         u"T"_s,
         {u"Q\nACTION: x|A\naction:|2026-03-02T09:14:05Z|a|mail|b, c"_s}},
        {"escaped lines",
         u"### Me · 2026-03-02T09:14:05Z\n\\### Me\n\\SOURCES: a\n\\# x\n### Lumbro\n\\### Quillet\n"
         u"\\\\ACTION: b\n\\c\nSOURCES: d"_s,
         u"### Me\n\\SOURCES: a\n\\# x"_s,
         {u"### Me\n\\SOURCES: a\n\\# x|### Quillet\n\\ACTION: b\n\\c|2026-03-02T09:14:05Z|||d"_s}},
        {"a question with a header of its own",
         u"### Me · 2026-03-02T09:14:05Z\nQ\n### Medium\nR\n### Lumbro\nA"_s,
         u"R"_s,
         {u"R|A|2026-03-02T09:14:05Z|||"_s}},
        {"line ends of another system",
         u"---\r\ntitle: T\r\n---\r\n### Me · 2026-03-02T09:14:05Z\r\nQ\r\n\r\n### Lumbro\r\nA\r\nB\r\n"_s,
         u"T"_s,
         {u"Q|A\nB|2026-03-02T09:14:05Z|||"_s}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const AskThread thread = parsed(row.text);
        QStringList turns;
        for (const AskTurn& turn : thread.turns) {
            turns += QStringList{turn.question,
                                 turn.answer,
                                 dates::iso(turn.date),
                                 turn.engine.value_or(QString()),
                                 turn.action.value_or(QString()),
                                 turn.rawSources.join(u", "_s)}
                         .join(u'|');
        }
        EXPECT_EQ(turns, row.turns) << qPrintable(turns.join(u"\n--\n"_s));
        EXPECT_EQ(thread.title, row.title);
    }
    EXPECT_EQ(dates::iso(parsed({}).created), u"0001-01-01T00:00:00Z"_s);
    EXPECT_FALSE(parsed(u"---\nscope: planet:mars\n---\n"_s).scope);
}

TEST(AskThreadFile, anyTextIsReadAndWrittenWithoutGrowing) {
    const QStringList pieces{
        u"### Me"_s, u" · "_s,   u"### Lumbro"_s, u"\n"_s,        u"SOURCES: a"_s,
        u"---"_s,    u"title"_s, u": x"_s,        u"ACTION: m"_s, u"\u2028"_s,
        u"/e"_s,     u"·"_s,     u" "_s,          u"\u0000"_s,    u"2026-03-02T09:14:05Z"_s};
    QRandomGenerator random(7);
    for (int i = 0; i < 2000; ++i) {
        QString text;
        for (int n = random.bounded(24); n > 0; --n) {
            text += pieces.at(random.bounded(pieces.size()));
        }
        const AskThread once = parsed(QString::fromUtf8(askThreadFile::write(parsed(text))));
        const AskThread twice = parsed(QString::fromUtf8(askThreadFile::write(once)));
        ASSERT_EQ(twice.turns, once.turns) << qPrintable(text);
    }
}

TEST(AskThreadFile, givesBackWhatWasSaid) {
    const QStringList pieces{u"### Me"_s,
                             u"### Medium, \u2028"_s,
                             u"### Lumbro"_s,
                             u"### Quillet"_s,
                             u"SOURCES: a"_s,
                             u"sources:"_s,
                             u"**Action: x"_s,
                             u"ACTION:"_s,
                             u"\\"_s,
                             u"---"_s,
                             u"\n"_s,
                             u"\u0085\v"_s,
                             u" "_s,
                             u"*` "_s,
                             u"title: x # y"_s,
                             u"\ufeff😀"_s,
                             u"# \""_s,
                             u"```"_s};
    QRandomGenerator random(11);
    const auto said = [&] {
        QString text;
        for (int n = random.bounded(16); n > 0; --n) {
            text += pieces.at(random.bounded(pieces.size())) + (random.bounded(2) == 0 ? u"\n"_s : QString());
        }
        return text.trimmed();
    };
    for (int i = 0; i < 3000; ++i) {
        AskThread thread;
        thread.created = at(u"2026-03-02T08:14:05Z"_s);
        for (int n = 0; n < 3; ++n) {
            AskTurn turn;
            turn.question = said();
            turn.answer = said();
            turn.date = thread.created.addSecs(n);
            turn.action = n == 1 ? std::optional(u"mail"_s) : std::nullopt;
            turn.rawSources = n == 2 ? QStringList{u"a"_s, u"b"_s} : QStringList();
            thread.turns += turn;
        }
        thread.title = thread.turns.first().question;
        QByteArray bytes = askThreadFile::write(thread);
        ASSERT_EQ(parsed(QString::fromUtf8(bytes)).turns, thread.turns) << bytes.constData();
        bytes = askThreadFile::appended(bytes, {}, {thread.turns.last()});
        ASSERT_EQ(parsed(QString::fromUtf8(bytes)).turns, thread.turns + QList{thread.turns.last()});
    }
}

TEST(AskThreadFile, theTitleKeepsWhatItsBlockWouldTakeAway) {
    for (const QString& title : {u"What of issue #12?"_s, u"\"Ship it\" said who?"_s, u"'"_s, u"#12"_s,
                                 u"What \"is\" # this?\nmore"_s, u"a # b\n\n### Me\n\"c\""_s}) {
        AskThread thread;
        thread.title = title;
        AskTurn turn;
        turn.question = title;
        thread.turns = {turn};
        const QString oneLine = QString(title).replace(u'\n', u' ');
        EXPECT_EQ(parsed(QString::fromUtf8(askThreadFile::write(thread))).title, oneLine);
    }
    EXPECT_EQ(parsed(u"---\ntitle: Mine # b\n---\n\n# Mine # b\n\nA note.\n"_s).title, u"Mine # b"_s);
    EXPECT_EQ(parsed(u"---\ntitle: Mine # b\n---\n\n# Mine\n"_s).title, u"Mine"_s);
    EXPECT_EQ(parsed(u"---\ntitle: \"Mine\" # renamed\n---\n\n# Before\n"_s).title, u"Mine"_s);
    EXPECT_EQ(parsed(u"---\ntitle: Mine\n---\n### Me\nQ\n### Lumbro\n# Mine # A\n"_s).title, u"Mine"_s);
}

TEST(AskThread, aLongQuestionMakesAShortTitleAndName) {
    EXPECT_EQ(AskThread::titleFor(QString(70, u'a')), QString(70, u'a'));
    EXPECT_EQ(AskThread::titleFor(QString(71, u'a')), QString(67, u'a') + u'…');
    // A flag is one character of four units.
    EXPECT_EQ(AskThread::titleFor(u"🇳🇴"_s.repeated(70)), u"🇳🇴"_s.repeated(70));
    EXPECT_EQ(AskThread::titleFor(u"🇳🇴"_s.repeated(71)), u"🇳🇴"_s.repeated(67) + u'…');
    const QDateTime now(QDate(2026, 3, 2), QTime(9, 14));
    EXPECT_EQ(AskThread::nameFor(u"What's next, Ada?"_s, now), u"2026-03-02-0914-what-s-next-ada"_s);
    EXPECT_EQ(AskThread::nameFor(QString(80, u'ü'), now), u"2026-03-02-0914-"_s + QString(40, u'ü'));
}
