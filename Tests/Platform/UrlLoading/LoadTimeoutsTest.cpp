// The two timeouts of a load, apart from any load.

#include "Platform/UrlLoading/LoadTimeouts.h"

#include "Platform/Loop/RunLoop.h"

#include <gtest/gtest.h>

#include <limits>

namespace Platform {
namespace {

using namespace std::chrono_literals;
using Seconds = std::chrono::duration<double>;

class Timeouts : public testing::Test {
protected:
    void make(Seconds idle, Seconds total) {
        expired = 0;
        timeouts = std::make_unique<LoadTimeouts>(idle, total, [this] { ++expired; });
    }
    /// Expects `expired` to be called after that time, and not a millisecond earlier.
    void expectExpiryAfter(Duration time) {
        advance(time - 1ms);
        EXPECT_EQ(expired, 0);
        advance(1ms);
        EXPECT_EQ(expired, 1);
    }
    void advance(Duration time) {
        clock.advance(time);
        for (int turn = 0; turn < 4; ++turn)
            loop.runOnce(Duration::zero());
    }

    ManualClock clock;
    RunLoop loop{clock};
    int expired = 0;
    std::unique_ptr<LoadTimeouts> timeouts;
};

TEST_F(Timeouts, StartAtTheFirstProgress) {
    make(10s, 100s);
    advance(200s);
    EXPECT_EQ(expired, 0);
    timeouts->noteProgress();
    expectExpiryAfter(10s);
}

TEST_F(Timeouts, AreTheShorterOfTheTwo) {
    make(10s, 25s);
    timeouts->noteProgress();
    for (int count = 0; count < 3; ++count) {
        advance(8s);
        timeouts->noteProgress();
    }
    expectExpiryAfter(1s);
}

TEST_F(Timeouts, GoByTheLastProgress) {
    make(10s, 1000s);
    timeouts->noteProgress();
    advance(9s);
    timeouts->noteProgress();
    expectExpiryAfter(10s);
}

TEST_F(Timeouts, StandStillWhileTheyAreSuspended) {
    make(10s, 15s);
    EXPECT_FALSE(timeouts->areSuspended());
    timeouts->noteProgress();
    advance(4s);
    timeouts->suspend();
    EXPECT_TRUE(timeouts->areSuspended());
    advance(1h);
    timeouts->resume();
    EXPECT_FALSE(timeouts->areSuspended());
    advance(5s);
    timeouts->noteProgress();
    // Of the whole time, nine seconds have passed.
    expectExpiryAfter(6s);
}

TEST_F(Timeouts, DoNotStartByProgressWhileTheyAreSuspended) {
    make(10s, 1000s);
    timeouts->suspend();
    advance(5s);
    timeouts->noteProgress();
    advance(1h);
    EXPECT_EQ(expired, 0);
    timeouts->resume();
    expectExpiryAfter(10s);
}

TEST_F(Timeouts, MayBeSuspendedBeforeTheyStart) {
    make(10s, 20s);
    timeouts->suspend();
    advance(5s);
    timeouts->resume();
    advance(1h);
    EXPECT_EQ(expired, 0);
    timeouts->noteProgress();
    expectExpiryAfter(10s);
}

TEST_F(Timeouts, EndWhenTheyAreStopped) {
    make(10s, 20s);
    timeouts->noteProgress();
    timeouts->stop();
    advance(1h);
    timeouts->suspend();
    timeouts->resume();
    advance(1h);
    EXPECT_EQ(expired, 0);
}

TEST_F(Timeouts, OfNoTimeOrLessExpireAtOnce) {
    for (const Seconds none : {Seconds(0s), Seconds(-5s), -Seconds::max()}) {
        for (const bool isIdle : {true, false}) {
            make(isIdle ? none : Seconds(10s), isIdle ? Seconds(10s) : none);
            timeouts->noteProgress();
            advance(Duration::zero());
            EXPECT_EQ(expired, 1) << none.count();
        }
    }
}

TEST_F(Timeouts, OfACenturyNeverExpire) {
    constexpr std::chrono::hours century(24 * 365 * 100);
    for (const Seconds never : {Seconds(century), Seconds::max(), Seconds(std::numeric_limits<double>::quiet_NaN())}) {
        make(never, never);
        timeouts->noteProgress();
        EXPECT_EQ(expired, 0);
    }
    advance(century + 24h);
    EXPECT_EQ(expired, 0);
    make(century - 1h, century);
    timeouts->noteProgress();
    expectExpiryAfter(century - 1h);
    // Later than any time that a clock can tell.
    make(century - 1h, century - 1h);
    timeouts->noteProgress();
    advance(24h);
    EXPECT_EQ(expired, 0);
}

} // namespace
} // namespace Platform
