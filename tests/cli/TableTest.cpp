#include "cli/Table.h"

#include <algorithm>

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::cli;

TEST(Table, measuresWhatATerminalShows) {
    EXPECT_EQ(displayWidth(u"abc"_s), 3);
    EXPECT_EQ(displayWidth(u"日本"_s), 4);
    EXPECT_EQ(displayWidth(u"e\u0301"_s), 1);
    EXPECT_EQ(displayWidth(u"\x1b[31mred\x1b[0m"_s), 3);
    EXPECT_EQ(displayWidth(u"😀"_s), 2);
    EXPECT_EQ(displayWidth(u"👩‍👩‍👧🇳🇴👍🏽❤️"_s), 8);
    EXPECT_EQ(displayWidth(u"各⭐ü\u00ad"_s), 5);
    EXPECT_EQ(displayWidth(u"한"_s.normalized(QString::NormalizationForm_D)), 2);
}

TEST(Table, cutsOnlyWhatIsTooLongAndKeepsColoursWhole) {
    EXPECT_EQ(fitted(u"abcdef"_s, 6), u"abcdef"_s);
    EXPECT_EQ(fitted(u"abcdef"_s, 4), u"abc…"_s);
    EXPECT_EQ(fitted(u"日本語"_s, 4), u"日…"_s);
    EXPECT_EQ(fitted(u"x👩‍👩‍👧y"_s, 3), u"x…"_s);
    EXPECT_EQ(fitted(u"e\u0301e\u0301e\u0301"_s, 2), u"e\u0301…"_s);
    EXPECT_EQ(fitted(u"ab"_s, 1), u"…"_s);
    EXPECT_EQ(fitted(u"\x1b[31mabcdef\x1b[0m"_s, 4), u"\x1b[31mabc…\x1b[0m"_s);
    EXPECT_EQ(fitted(u"\x1b[1ma\x1b[0mbcd\x1b[1me\x1b[0m"_s, 4), u"\x1b[1ma\x1b[0mbc…"_s);
}

TEST(Table, cutsWhatTakesNoColumnButFillsTheScreen) {
    const QString marks = u"\u0301"_s.repeated(5000);
    EXPECT_LT(fitted(u'e' + marks, 5).size(), 100);
    EXPECT_TRUE(fitted(u'e' + marks + u"bc"_s, 3).endsWith(u"bc"));
    EXPECT_LT(fitted(u"\u200b"_s.repeated(5000), 5).size(), 100);
    EXPECT_TRUE(fitted(u"\x1b[1m"_s + u'e' + marks + u"\x1b[0m"_s, 5).endsWith(u"\x1b[0m"));
    EXPECT_TRUE(fitted(u"x"_s + u"\U000e0100"_s.repeated(5000), 1).toUtf8().size() < 100);
    EXPECT_FALSE(fitted(u"e"_s + u"\u0301\U000e0100"_s.repeated(50), 1).back().isHighSurrogate());
}

TEST(Table, alignsColumnsAndLeavesEmptyOnesOut) {
    const Output output;
    const QString text = table(output, {{u"NAME"_s}, {u"GONE"_s}, {u"SIZE"_s, true}},
                               {{u"a"_s, {}, u"1"_s}, {u"long one"_s, {}, u"22"_s}});
    EXPECT_EQ(text, u"NAME      SIZE\na            1\nlong one    22\n"_s);
}

TEST(Table, cutsTheWidestColumnsUntilALineFits) {
    const Output output;
    const QList<Column> columns{
        {u"ID"_s}, {u"TITLE"_s, false, true}, {u"ABOUT"_s, false, true}, {u"N"_s, true}};
    const auto widths = [&](const QStringList& row, int width) {
        const QStringList lines = table(output, columns, {row}, width).split(u'\n');
        EXPECT_LE(displayWidth(lines.at(1)), std::max(width, 27));
        QList<int> all;
        for (const QString& cell : lines.at(1).split(u"  "_s, Qt::SkipEmptyParts)) {
            all += displayWidth(cell.trimmed());
        }
        return all;
    };
    const QString id(20, u'i');
    const QString number = u"1234567"_s;
    EXPECT_EQ(widths({id, QString(500, u't'), u"short"_s, number}, 80), (QList{20, 42, 5, 7}));
    EXPECT_EQ(widths({id, QString(500, u't'), QString(400, u'a'), number}, 80), (QList{20, 23, 24, 7}));
    EXPECT_EQ(widths({id, QString(30, u't'), QString(20, u'a'), number}, 80), (QList{20, 27, 20, 7}));
    EXPECT_EQ(widths({id, QString(500, u'日'), u"short"_s, number}, 80), (QList{20, 41, 5, 7}));
    EXPECT_EQ(widths({QString(90, u'i'), QString(90, u't'), u"short"_s, number}, 80), (QList{50, 12, 5, 7}));
    EXPECT_EQ(widths({QString(90, u'i'), QString(90, u't'), u"short"_s, number}, 30), (QList{6, 6, 5, 7}));
    EXPECT_EQ(widths({QString(90, u'i'), QString(90, u't'), u"short"_s, number}, 3), (QList{4, 4, 4, 7}));
    EXPECT_EQ(widths({id, QString(500, u't'), {}, number}, output.width()), (QList{20, 500, 7}));
}

TEST(Table, saysSizesAndTimesForPeople) {
    EXPECT_EQ(bytesText(999), u"999 bytes"_s);
    EXPECT_EQ(bytesText(1'500'000), u"1.5 MB"_s);
    EXPECT_EQ(bytesText(999'999), u"1.0 MB"_s);
    EXPECT_EQ(durationText(59), u"59 s"_s);
    EXPECT_EQ(durationText(3900), u"1 h 05 min"_s);
    EXPECT_EQ(counted(1, u"word"_s, u"words"_s), u"1 word"_s);
    EXPECT_EQ(counted(5210, u"word"_s, u"words"_s), u"5,210 words"_s);
}

TEST(Output, takesControlCharactersOutOfTitles) {
    EXPECT_EQ(Output::clean(u"a\x1b[2Jb\nc\u009b"_s), u"a[2Jb c"_s);
    EXPECT_EQ(Output::clean(u"a\u202egnp.exe\u2066\u05d0"_s), u"agnp.exe\u05d0"_s);
    EXPECT_EQ(Output::cleanLines(u"a\r\nb"_s), u"a\nb"_s);
}
