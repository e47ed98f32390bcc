#include "LumbroCore/Literals.h"
#include "recording/CallApps.h"
#include "recording/EchoFilter.h"

#include <gtest/gtest.h>

namespace lumbro {
namespace {

TranscriptSegment said(Speaker speaker, double start, const QString& text) {
    return {.speaker = speaker, .start = start, .text = text};
}

struct Row {
    const char* rule;
    TranscriptSegments heard;
    TranscriptSegment line;
    bool isEcho;
};

TEST(EchoFilter, dropsOnlyWhatTheFarSideJustSaid) {
    const auto me = Speaker::me;
    const auto them = Speaker::them;
    const QString words = u"ship the beta Friday"_s;
    const QList<Row> rows{
        {"same words shortly after", {said(them, 10, words)}, said(me, 13, words), true},
        {"same words shortly before", {said(them, 13, words)}, said(me, 10, words), true},
        {"just within 8 s", {said(them, 10, words)}, said(me, 17.99, words), true},
        {"8 s after", {said(them, 10, words)}, said(me, 18, words), false},
        {"two different words", {said(them, 10, u"yes yes no"_s)}, said(me, 10, u"yes yes no"_s), false},
        {"case and signs do not count",
         {said(them, 1, u"ship-the BETA, Friday!"_s)},
         said(me, 1, words),
         true},
        {"digits are no words", {said(them, 1, u"1 2 3 4"_s)}, said(me, 1, u"1 2 3 4"_s), false},
        {"3 of 5 words is not enough",
         {said(them, 1, u"one two three"_s)},
         said(me, 1, u"one two three four five"_s),
         false},
        {"2 of 3 words is enough", {said(them, 1, u"one two"_s)}, said(me, 1, u"one two three"_s), true},
        {"own earlier words", {said(me, 10, words)}, said(me, 13, words), false},
        {"an older line stands behind the newest",
         {said(them, 10, words), said(them, 14, u"something else entirely"_s)},
         said(me, 15, words),
         true},
        {"a line older than 20 s ends the search",
         {said(them, 30, words), said(them, 9, u"old news"_s)},
         said(me, 31, words),
         false},
        {"exactly 20 s does not",
         {said(them, 30, words), said(them, 11, u"old news"_s)},
         said(me, 31, words),
         true},
        {"letters of any script",
         {said(them, 1, u"мы выпускаем бету"_s)},
         said(me, 2, u"Мы выпускаем бету."_s),
         true},
        {"accents belong to their letters",
         {said(them, 1, u"e\u0301te\u0301 pe\u0301"_s)},
         said(me, 2, u"e\u0301te\u0301 pe\u0301"_s),
         false},
        {"in whichever form they come",
         {said(them, 1, u"été passé là"_s)},
         said(me, 2, u"e\u0301te\u0301 passe\u0301 la\u0300"_s),
         true},
        {"so do vowel signs", {said(them, 1, u"हिन्दी में"_s)}, said(me, 2, u"हिन्दी में"_s), false},
        {"nothing heard", {}, said(me, 1, words), false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(echoFilter::isEcho(row.line, row.heard), row.isEcho) << row.rule;
    }
}

TEST(CallApps, knowBrowsersByTheirPrefix) {
    EXPECT_TRUE(callApps::isBrowser(u"com.google.Chrome.canary"));
    EXPECT_TRUE(callApps::isBrowser(u"org.mozilla.firefox"));
    EXPECT_FALSE(callApps::isBrowser(u"us.zoom.xos"));
    EXPECT_FALSE(callApps::isBrowser(u""));
}

}  // namespace
}  // namespace lumbro
