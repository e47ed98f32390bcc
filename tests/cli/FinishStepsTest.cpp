#include "LumbroCore/Literals.h"
#include "cli/services/FinishSteps.h"
#include "tests/support/TestClock.h"

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::cli;
using namespace std::chrono_literals;

TEST(FinishSteps, withoutATerminalALongWaitIsToldOfOnce) {
    testing::internal::CaptureStderr();
    test::TestClock clock;
    Output output;
    QString detail = u"0:40 to go"_s;
    FinishSteps steps(output, clock);
    steps.begin(u"Waiting…"_s, [&detail] { return detail; });
    clock.advance(1s);
    detail = u"0:38 to go"_s;
    clock.advance(20s);
    // Over soon, and with nothing to tell.
    steps.begin(u"Short…"_s, [] { return u"never told"_s; });
    clock.advance(1s);
    steps.begin(u"Quiet…"_s, [] { return QString(); });
    clock.advance(20s);
    steps.begin(u"Last…"_s, [] { return u"nor this"_s; });
    steps.end();
    clock.advance(20s);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Waiting…\n0:38 to go\nShort…\nQuiet…\nLast…\n");
    EXPECT_EQ(clock.timerCount(), 0U);
}
