#include "LumbroCore/Literals.h"
#include "ask/Highlight.h"
#include "ask/SearchText.h"
#include "ask/TranscriptScan.h"

#include <random>

#include <gtest/gtest.h>

using namespace lumbro;

namespace {

/// Texts of two letters, so that nearly all places look like the beginning of a match.
QByteArray letters(std::mt19937& random, int size) {
    QByteArray text(size, 'a');
    for (char& letter : text) {
        letter = random() % 3 == 0 ? 'b' : 'a';
    }
    return text;
}

QString repeated(QChar letter, int count) {
    return QString(count, letter);
}

}  // namespace

TEST(SearchText, findsWhatAPlainSearchFindsWhereverItStands) {
    std::mt19937 random(1);
    for (int round = 0; round < 3000; ++round) {
        const QByteArray text = letters(random, int(random() % 300));
        const QByteArray term = letters(random, 1 + int(random() % 9));
        const qsizetype from = qsizetype(random() % 40);
        const qsizetype expected = from > text.size() ? -1 : text.indexOf(term, from);
        ASSERT_EQ(searchText::Needle(term).find(text, from), expected)
            << text.toStdString() << ' ' << term.toStdString();
    }
}

TEST(SearchText, listsTheTextsThatHoldAllTerms) {
    searchText::TextList list;
    for (const auto& text : {u"Dana Kim"_s, u"dan a"_s, u""_s, u"Kim, DANA"_s, u"dana"_s}) {
        list.add(text);
    }
    const auto matching = [&](const QString& query) {
        searchText::Needles needles;
        for (const QString& term : highlight::terms(query)) {
            needles.emplace_back(term.toUtf8());
        }
        return list.matching(needles);
    };
    EXPECT_EQ(matching(u"kim dana"_s), (std::vector<qsizetype>{0, 3}));
    EXPECT_EQ(matching(u"dana"_s), (std::vector<qsizetype>{0, 3, 4}));
    EXPECT_TRUE(matching(u"nadan"_s).empty());
}

TEST(Highlight, splitsTheQueryOnWhiteSpaceInLowerCase) {
    EXPECT_EQ(highlight::terms(u"  Pricing\tDANA\u00a0Ünal \n"_s),
              (QStringList{u"pricing"_s, u"dana"_s, u"ünal"_s}));
    EXPECT_EQ(highlight::terms(u" \n"_s), QStringList());
    // The two ways to write a letter with its accent are one.
    EXPECT_EQ(highlight::terms(u"Cafe\u0301"_s), QStringList{u"café"_s});
}

TEST(Highlight, marksMatchesJoinedWhereTheyTouch) {
    using Places = std::vector<std::pair<qsizetype, qsizetype>>;
    EXPECT_EQ(highlight::matches(u"Ababab cab"_s, {u"ab"_s}), (Places{{0, 6}, {8, 2}}));
    EXPECT_EQ(highlight::matches(u"Pricing"_s, {u"icing"_s, u"pri"_s}), (Places{{0, 7}}));
    // One letter whose lower case is two.
    EXPECT_EQ(highlight::matches(u"İxy"_s, {u"xy"_s}), (Places{{1, 2}}));
    EXPECT_EQ(highlight::matches(u"abc"_s, {u"d"_s}), Places());
}

TEST(Highlight, showsShortTextsWholeAndOfLongOnesThePieceAroundTheFirstMatch) {
    const QString a100 = repeated(u'a', 100);
    const QString b100 = repeated(u'b', 100);
    const QString smile = u"😀"_s;
    const struct {
        QString text;
        QStringList terms;
        QString snippet;
    } rows[] = {
        {repeated(u'x', 150), {u"x"_s}, repeated(u'x', 150)},
        {repeated(u'x', 151), {u"x"_s}, repeated(u'x', 140) + u"…"_s},
        {repeated(u'x', 151), {u"y"_s}, repeated(u'x', 140) + u"…"_s},
        {repeated(u'a', 20) + u"Term"_s + repeated(u'b', 200),
         {u"term"_s},
         repeated(u'a', 20) + u"Term"_s + repeated(u'b', 116) + u"…"_s},
        {a100 + u"term"_s + b100,
         {u"none"_s, u"term"_s},
         u"…"_s + repeated(u'a', 50) + u"term"_s + repeated(u'b', 86) + u"…"_s},
        {a100 + u"term"_s + repeated(u'b', 86),
         {u"term"_s},
         u"…"_s + repeated(u'a', 50) + u"term"_s + repeated(u'b', 86)},
        // The earliest of all terms counts, not the first in the query.
        {a100 + u"x"_s + b100,
         {u"b"_s, u"x"_s},
         u"…"_s + repeated(u'a', 50) + u"x"_s + repeated(u'b', 89) + u"…"_s},
        {u"Ask [[people/dana|Dana]]\nand [[x]]"_s, {u"dana"_s}, u"Ask Dana and x"_s},
        // 150 characters once the link is plain.
        {repeated(u'x', 148) + u"[[some/long/target|ab]]"_s, {u"ab"_s}, repeated(u'x', 148) + u"ab"_s},
        // A character may be more than one unit, and its lower case of another length.
        {smile.repeated(150), {u"x"_s}, smile.repeated(150)},
        {smile.repeated(151), {u"x"_s}, smile.repeated(140) + u"…"_s},
        {u"İ"_s.repeated(100) + u"term"_s + b100,
         {u"term"_s},
         u"…"_s + u"İ"_s.repeated(50) + u"term"_s + repeated(u'b', 86) + u"…"_s},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(highlight::snippet(row.text, row.terms), row.snippet) << row.text.toStdString();
    }
}

TEST(Highlight, labelsSpeechWithMinutesThatDoNotWrap) {
    EXPECT_EQ(highlight::speechLabel(Speaker::me, 252.9), u"Me · 04:12"_s);
    EXPECT_EQ(highlight::speechLabel(Speaker::them, 6003), u"Them · 100:03"_s);
    EXPECT_EQ(highlight::speechLabel(Speaker::me, -1), u"Me · 00:00"_s);
}

TEST(TranscriptScan, readsAsTheFullReaderOrLeavesItToThat) {
    const QByteArray id = R"("id": "5F3B1C9E-0D57-4F0B-9A58-6F2F6B3F3F10")";
    const auto segment = [&](const QByteArray& start, const QByteArray& text) {
        return "{" + id + ", \"speaker\": \"Them\", \"start\": " + start + ", \"text\": \"" + text + "\"}";
    };
    const struct {
        QByteArray bytes;
        bool isPlain;
    } rows[] = {
        {"[]", true},
        {" [ ] \n", true},
        {"[" + segment("0", "a") + "]", true},
        {"[" + segment("12.35", "Größe — “x”") + "," + segment("0.1", "") + "]\n", true},
        {"[" + segment("99999999.123456", "a") + "]", true},
        {"[" + segment("1", R"(a \"b\" \\ \/ \n\t\b\f\r)") + "]", true},
        {"[" + segment("1", R"(\u00e9\ud83d\ude00\u0000x)") + "]", true},
        {"[" + segment("1", R"(\ud83d)") + "]", false},
        {"[" + segment("1", R"(\ude00x)") + "]", false},
        {"[" + segment("1", R"(\u12)") + "]", false},
        {"[" + segment("1", R"(\x)") + "]", false},
        {"[" + segment("1", "a\nb") + "]", false},
        {"[" + segment("1", "\xff") + "]", false},
        {"[" + segment("1", "\xef\xbb\xbf") + "]", false},
        {"[" + segment("-1", "a") + "]", false},
        {"[" + segment("1e3", "a") + "]", false},
        {"[" + segment("01", "a") + "]", false},
        {"[" + segment("1.", "a") + "]", false},
        {"[" + segment("1234567890.1234567", "a") + "]", false},
        {"[" + segment("\"1\"", "a") + "]", false},
        {"[" + segment("1", "a") + ",]", false},
        {"[" + segment("1", "a"), false},
        {"[" + segment("1", "a") + "] x", false},
        {"[" + segment("1", "a\\") + "]", false},
        {"{}", false},
        {"", false},
        {"[" + segment("1", "a").replace("Them", "They") + "]", false},
        {"[" + segment("1", "a").replace("5F3B", "5G3B") + "]", false},
        {"[" + segment("1", "a").replace("5F3B1C9E", "{5F3B1C9") + "]", false},
        {"[" + segment("1", "a").replace("speaker", "Speaker") + "]", false},
        {"[" + segment("1", "a").replace("\"id\"", "\"x\": 1, \"id\"") + "]", false},
        {"[{\"speaker\": \"Me\", " + id + R"(, "start": 1, "text": "a"}])", false},
        {R"([{"id": "00000000-0000-0000-0000-000000000000", "speaker": "Me", "start": 1, "text": "a"}])",
         false},
    };
    TranscriptScan scan;
    for (const auto& row : rows) {
        ASSERT_EQ(scan.read(row.bytes), row.isPlain) << row.bytes.toStdString();
        const auto whole = transcript::decodeWhole(row.bytes);
        if (!row.isPlain) {
            continue;
        }
        ASSERT_TRUE(whole) << row.bytes.toStdString();
        ASSERT_EQ(std::ssize(scan.segments()), whole->size()) << row.bytes.toStdString();
        for (qsizetype i = 0; i < whole->size(); ++i) {
            const TranscriptScan::Segment& read = scan.segments()[size_t(i)];
            EXPECT_EQ(read.speaker, whole->at(i).speaker);
            EXPECT_EQ(read.start, whole->at(i).start) << row.bytes.toStdString();
            EXPECT_EQ(QString::fromUtf8(read.text), whole->at(i).text);
        }
    }
}

TEST(TranscriptScan, neverTakesWhatTheFullReaderRefuses) {
    QByteArray good = transcript::encode({{QUuid::createUuid(), Speaker::me, 1.5, u"so \"Grüße\"\n"_s},
                                          {QUuid::createUuid(), Speaker::them, 20, u"yes"_s}});
    std::mt19937 random(2);
    TranscriptScan scan;
    ASSERT_TRUE(scan.read(good));
    for (int round = 0; round < 4000; ++round) {
        QByteArray bytes = good;
        const auto at = qsizetype(random() % quint32(bytes.size()));
        bytes[at] = random() % 2 == 0 ? "\"\\{}[],:0ue."[random() % 12] : char(random());
        if (scan.read(bytes)) {
            const auto whole = transcript::decodeWhole(bytes);
            ASSERT_TRUE(whole) << bytes.toStdString();
            ASSERT_EQ(QString::fromUtf8(scan.segments().front().text), whole->first().text)
                << bytes.toStdString();
        }
    }
}
