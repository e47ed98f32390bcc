#include "cli/Table.h"

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::cli;

TEST(Table, measuresWhatATerminalShows) {
    EXPECT_EQ(displayWidth(u"abc"_s), 3);
    EXPECT_EQ(displayWidth(u"日本"_s), 4);
    EXPECT_EQ(displayWidth(u"e\u0301"_s), 1);
    EXPECT_EQ(displayWidth(u"\x1b[31mred\x1b[0m"_s), 3);
    EXPECT_EQ(displayWidth(u"😀"_s), 2);
}

TEST(Table, cutsOnlyWhatIsTooLongAndKeepsColoursWhole) {
    EXPECT_EQ(fitted(u"abcdef"_s, 6), u"abcdef"_s);
    EXPECT_EQ(fitted(u"abcdef"_s, 4), u"abc…"_s);
    EXPECT_EQ(fitted(u"日本語"_s, 4), u"日…"_s);
    EXPECT_EQ(fitted(u"\x1b[31mabcdef\x1b[0m"_s, 4), u"\x1b[31mabc…\x1b[0m"_s);
}

TEST(Table, alignsColumnsAndLeavesEmptyOnesOut) {
    const Output output;
    const QString text = table(output, {{u"NAME"_s}, {u"GONE"_s}, {u"SIZE"_s, true}},
                               {{u"a"_s, {}, u"1"_s}, {u"long one"_s, {}, u"22"_s}});
    EXPECT_EQ(text, u"NAME      SIZE\na            1\nlong one    22\n"_s);
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
    EXPECT_EQ(Output::cleanLines(u"a\r\nb"_s), u"a\nb"_s);
}
