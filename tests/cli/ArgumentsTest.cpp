#include "cli/Arguments.h"

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::cli;

namespace {

constexpr OptionInfo options[] = {
    {"focus", "TEXT", ""},
    {"limit", "N", "", 'n', true},
    {"fast", "", ""},
};
constexpr CommandInfo command{"try", "", "", 1, 2, options, "", ""};

Result<Arguments> parse(const QString& line) {
    return Arguments::parse(command, line.split(u' ', Qt::SkipEmptyParts));
}

}  // namespace

TEST(Arguments, takesOptionsAnywhereAndInBothForms) {
    for (const QString& line : {u"a --focus x --limit 3 --fast b"_s, u"--focus=x a b --limit=3 --fast"_s,
                                u"-n 3 --fast --focus x -- a b"_s}) {
        const auto arguments = parse(line);
        ASSERT_TRUE(arguments) << qPrintable(line);
        EXPECT_EQ(arguments->positionals(), QStringList({u"a"_s, u"b"_s})) << qPrintable(line);
        EXPECT_EQ(arguments->value("focus"), u"x"_s);
        EXPECT_EQ(arguments->number("limit"), 3);
        EXPECT_TRUE(arguments->has("fast"));
        EXPECT_FALSE(arguments->wantsJson());
    }
}

TEST(Arguments, keepsWhatLooksLikeAnOptionWhereItIsAValue) {
    EXPECT_EQ(parse(u"a --focus --fast"_s)->value("focus"), u"--fast"_s);
    EXPECT_EQ(parse(u"-- --fast"_s)->at(0), u"--fast"_s);
    EXPECT_EQ(parse(u"-"_s)->at(0), u"-"_s);
    EXPECT_EQ(parse(u"a -5"_s)->at(1), u"-5"_s);
    EXPECT_EQ(parse(u"a --focus=x=y"_s)->value("focus"), u"x=y"_s);
}

TEST(Arguments, refusesWhatTheCommandDoesNotKnow) {
    for (const QString& line : {u"a --other"_s, u"a -x"_s, u"a --limit"_s, u"a --limit x"_s,
                                u"a --limit -1"_s, u"a --fast=yes"_s, u""_s, u"a b c"_s}) {
        EXPECT_FALSE(parse(line)) << qPrintable(line);
    }
}

TEST(CommandTable, findsTheLongestName) {
    EXPECT_EQ(findCommand({u"engines"_s, u"show"_s, u"notes"_s}).command->name, "engines show");
    EXPECT_EQ(findCommand({u"engines"_s, u"--json"_s}).words, 1);
    EXPECT_EQ(findCommand({u"engine"_s}).command, nullptr);
    EXPECT_EQ(findCommand({}).command, nullptr);
}
