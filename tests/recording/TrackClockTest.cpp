#include "recording/TrackClock.h"

#include <cmath>

#include <gtest/gtest.h>

namespace lumbro {
namespace {

constexpr AudioFormat format{16000, 1};

/// A device that delivers pieces of 20 ms; each sample holds the time at which it was heard.
class Device {
  public:
    Device(std::shared_ptr<TrackTimeline> timeline, double& now)
        : m_now(now),
          m_clock(
              std::move(timeline),
              [&now] {
                  return std::chrono::duration_cast<std::chrono::nanoseconds>(
                      std::chrono::duration<double>(now));
              },
              [this](const AudioBuffer& buffer) {
                  track.insert(track.end(), buffer.samples.begin(), buffer.samples.end());
              }) {}

    /// Hears from `from` to `to` on the clock; `delay` is how much later each piece comes.
    void hear(double from, double to, double delay = 0, double rate = 16000) {
        while (from + 1e-9 < to) {
            piece(from, rate);
            from += 0.02 * 16000 / rate;
            m_now = std::max(m_now, from + delay);
            send();
        }
    }
    /// One piece that begins at `from`, not sent yet.
    void piece(double from, double rate = 16000) {
        for (int i = 0; i < 320; ++i) {
            m_piece.push_back(static_cast<float>(from + i / rate));
        }
    }
    void send() {
        m_clock.ingest({format, m_piece});
        m_piece.clear();
    }
    void finish() { m_clock.finish(); }
    double seconds() const { return static_cast<double>(track.size()) / format.rate; }
    /// The largest difference between a sample's place in the track and the time it was heard at.
    double worstShift(double zero) const {
        double worst = 0;
        for (size_t i = 0; i < track.size(); ++i) {
            if (track[i] != 0) {
                const double place = zero + static_cast<double>(i) / format.rate;
                worst = std::max(worst, std::abs(place - static_cast<double>(track[i])));
            }
        }
        return worst;
    }

    std::vector<float> track;

  private:
    double& m_now;
    std::vector<float> m_piece;
    TrackClock m_clock;
};

class TrackClockTest : public ::testing::Test {
  protected:
    double now = 100;
    std::shared_ptr<TrackTimeline> timeline = std::make_shared<TrackTimeline>();
    Device me{timeline, now};
    Device them{timeline, now};
};

TEST_F(TrackClockTest, theLaterTrackBeginsWithSilence) {
    me.hear(100, 101);
    them.hear(101.5, 102.5);
    me.finish();
    them.finish();
    EXPECT_NEAR(me.seconds(), 1.0, 0.001);
    EXPECT_NEAR(them.seconds(), 2.5, 0.001);
    EXPECT_LT(them.worstShift(100), 0.001);
}

TEST_F(TrackClockTest, whatAStartUpBurstDeliversLateIsNotTakenForLate) {
    // Three seconds wait in the device and come at once, then it goes on in time.
    for (int i = 0; i < 150; ++i) {
        me.piece(100 + i * 0.02);
        now = 103;
        me.send();
    }
    me.hear(103, 105);
    them.hear(105, 106);
    me.finish();
    them.finish();
    EXPECT_LT(me.worstShift(100), 0.02);
    EXPECT_LT(them.worstShift(100), 0.02);
}

TEST_F(TrackClockTest, aGapBecomesSilenceOfItsLength) {
    me.hear(100, 102);
    me.hear(105.5, 107);
    me.finish();
    EXPECT_NEAR(me.seconds(), 7.0, 0.01);
    EXPECT_LT(me.worstShift(100), 0.01);
}

TEST_F(TrackClockTest, aStallThatLosesNothingAddsNothing) {
    me.hear(100, 102);
    now = 103;
    for (int i = 0; i < 50; ++i) {
        me.piece(102 + i * 0.02);
        me.send();
    }
    me.hear(103, 104);
    me.finish();
    EXPECT_NEAR(me.seconds(), 4.0, 0.001);
    EXPECT_LT(me.worstShift(100), 0.001);
}

TEST_F(TrackClockTest, whatIsHeldAtTheEndIsNotLost) {
    me.hear(100, 100.1);
    me.finish();
    EXPECT_NEAR(me.seconds(), 0.1, 1e-6);
    me.hear(100.1, 101);
    me.hear(103, 103.1);
    me.finish();
    EXPECT_NEAR(me.seconds(), 3.1, 0.001);
}

TEST_F(TrackClockTest, anHourWithADriftingDeviceAndLostDevicesStaysTrue) {
    // Single precision tells a time of this size to 0.3 ms.
    double time = 100;
    for (int part = 0; part < 6; ++part) {
        const double rate = part % 2 == 0 ? 16000 * (1 + 300e-6) : 16000 * (1 - 300e-6);
        me.hear(time, time + 590, 0.01, rate);
        time += 600;
    }
    me.finish();
    EXPECT_LT(me.worstShift(100), 0.1);
}

TEST_F(TrackClockTest, smallGapsAddUpToNothing) {
    double time = 100;
    for (int i = 0; i < 100; ++i) {
        me.hear(time, time + 2);
        time += 2.05;
    }
    me.finish();
    EXPECT_LT(me.worstShift(100), 0.1);
}

}  // namespace
}  // namespace lumbro
