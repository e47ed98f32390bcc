#include "LumbroCore/Clock.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>

using namespace lumbro;
using namespace std::chrono_literals;

TEST(Timer, stopsWithItsOwnerAndMayStartAgainFromItsAction) {
    test::TestClock clock;
    int fired = 0;
    {
        Timer repeating;
        repeating.start(clock, 2s, Clock::Repeat::always, [&] { ++fired; });
        clock.advance(5s);
        EXPECT_EQ(fired, 2);
    }
    clock.advance(10s);
    EXPECT_EQ(fired, 2);

    Timer once;
    once.start(clock, 1s, Clock::Repeat::once, [&] {
        ++fired;
        once.start(clock, 1s, Clock::Repeat::once, [&] { ++fired; });
    });
    clock.advance(5s);
    EXPECT_EQ(fired, 4);
    EXPECT_FALSE(once.isRunning());
}

TEST(SystemClock, aTimerThatStopsItselfIsSafeAndAFixedDateStandsStill) {
    SystemClock clock(QDateTime(QDate(2026, 3, 2), QTime(9, 14, 5)));
    int fired = 0;
    Timer timer;
    timer.start(clock, 1ms, Clock::Repeat::always, [&] {
        if (++fired == 2) {
            timer.stop();
        }
    });
    test::wait(clock.sleep(20ms));
    ASSERT_TRUE(test::eventually([&] { return fired == 2; }));
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(clock.now().time(), QTime(9, 14, 5));
}

TEST(SystemClock, theFixedDateIsInLocalTimeHoweverItIsWritten) {
    qputenv("LUMBRO_NOW", "2026-03-02T09:14:05+05:00");
    const QDateTime date = SystemClock::dateFromEnvironment();
    qunsetenv("LUMBRO_NOW");
    EXPECT_EQ(date.timeSpec(), Qt::LocalTime);
    EXPECT_EQ(date.toUTC().time(), QTime(4, 14, 5));
}
