#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"

#include <gtest/gtest.h>

using namespace lumbro;

TEST(Text, slugsKeepLettersAndDigitsOfAnyScript) {
    const std::pair<const char*, const char*> rows[] = {
        {"Dana Kim", "dana-kim"},
        {"  --Q3: plan!! (v2) ", "q3-plan-v2"},
        {"Élodie Müller", "élodie-müller"},
        {"E\u0301lodie Mu\u0308ller", "\u00e9lodie-m\u00fcller"},
        {"../../etc/passwd", "etc-passwd"},
        {"!!!", ""},
        {"", ""},
    };
    for (const auto& [text, slug] : rows) {
        EXPECT_EQ(slugified(QString::fromUtf8(text)), QString::fromUtf8(slug)) << text;
    }
}

TEST(Text, aWordHoldsALetterOrDigit) {
    const std::pair<const char*, int> rows[] = {
        {"", 0}, {" \n\t", 0}, {"a — b", 2}, {"4pm - ok", 2}, {"don't stop", 2}, {"... !", 0}, {"日本 語", 2},
    };
    for (const auto& [text, count] : rows) {
        EXPECT_EQ(wordCount(QString::fromUtf8(text)), count) << text;
    }
}

TEST(Text, aCutLeavesWholeCharacters) {
    const QString family = u"👨‍👩‍👧"_s;
    const std::tuple<QString, qsizetype, QString, QString> rows[] = {
        {u"abc"_s, 3, u"abc"_s, u"abc"_s},
        {u"abcd"_s, 3, u"abc"_s, u"bcd"_s},
        {u""_s, 3, u""_s, u""_s},
        {u"😀x😀😀"_s, 2, u"😀x"_s, u"😀😀"_s},
        {u"e\u0301e\u0301e"_s, 2, u"e\u0301e\u0301"_s, u"e\u0301e"_s},
        {family + family, 1, family, family},
    };
    for (const auto& [text, count, first, last] : rows) {
        EXPECT_EQ(firstCharacters(text, count), first) << qPrintable(text);
        EXPECT_EQ(lastCharacters(text, count), last) << qPrintable(text);
    }
}

TEST(Dates, isoIsWhatQtWrites) {
    for (const qint64 moment : {0LL, -1LL, 999LL, 951'782'399'999LL, 951'782'400'000LL, -62'135'596'800'000LL,
                                -62'135'596'800'001LL, 253'402'300'799'999LL, 253'402'300'800'000LL}) {
        const QDateTime date = QDateTime::fromMSecsSinceEpoch(moment, Qt::UTC);
        EXPECT_EQ(dates::iso(date), date.toString(Qt::ISODate)) << moment;
        EXPECT_EQ(dates::iso(date.toOffsetFromUtc(3600)), date.toString(Qt::ISODate)) << moment;
    }
    EXPECT_EQ(dates::iso(QDateTime()), u""_s);
}

TEST(Dates, isoIsUtcWithSecondsAndReadsOffsets) {
    const QDateTime date(QDate(2026, 3, 2), QTime(14, 30, 5), Qt::UTC);
    EXPECT_EQ(dates::iso(date), u"2026-03-02T14:30:05Z"_s);
    EXPECT_EQ(dates::fromIso(u"2026-03-02T15:30:05+01:00"), date);
    EXPECT_EQ(dates::fromIso(u"2026-03-02T14:30:05.000Z"), date);
    EXPECT_EQ(dates::fromIso(u"yesterday"), std::nullopt);
}
