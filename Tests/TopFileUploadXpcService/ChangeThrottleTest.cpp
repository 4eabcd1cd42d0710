#include "TopFileUploadXpcService/ChangeThrottle.h"

#include "Platform/Loop/RunLoop.h"

#include <gtest/gtest.h>

#include <vector>

namespace Quenmark {

using std::chrono::milliseconds;
using std::chrono::seconds;

class AThrottle : public ::testing::Test {
protected:
    void advance(Platform::Duration by) {
        clock.advance(by);
        loop.runOnce(seconds(0));
    }

    Platform::ManualClock clock;
    Platform::RunLoop loop{clock};
    /// When the announcements came.
    std::vector<Platform::Duration> announced;
    ChangeThrottle throttle{milliseconds(250), [this] {
                                EXPECT_EQ(Platform::Queue::current(), Platform::Queue::main());
                                announced.push_back(clock.now());
                            }};
};

TEST_F(AThrottle, AnnouncesTheFirstChangeAtOnceButLater) {
    advance(seconds(5));
    throttle.changed();
    EXPECT_TRUE(announced.empty());
    advance({});
    EXPECT_EQ(announced, (std::vector<Platform::Duration>{seconds(5)}));
}

TEST_F(AThrottle, AnnouncesNothingWithoutAChange) {
    advance(seconds(5));
    throttle.changed();
    advance({});
    advance(seconds(5));
    EXPECT_EQ(announced.size(), 1U);
}

TEST_F(AThrottle, JoinsWhatChangesWithinTheInterval) {
    throttle.changed();
    advance({});
    for (int count = 0; count < 249; ++count) {
        throttle.changed();
        advance(milliseconds(1));
    }
    EXPECT_EQ(announced.size(), 1U);
    advance(milliseconds(1));
    EXPECT_EQ(announced, (std::vector<Platform::Duration>{seconds(0), milliseconds(250)}));
    advance(seconds(5));
    EXPECT_EQ(announced.size(), 2U);
}

TEST_F(AThrottle, AnnouncesAtMostFourTimesASecond) {
    for (int count = 0; count < 10'000; ++count) {
        throttle.changed();
        advance(milliseconds(1));
    }
    EXPECT_EQ(announced.size(), 40U);
}

TEST_F(AThrottle, AnnouncesAtOnceAgainAfterTheInterval) {
    throttle.changed();
    advance({});
    advance(milliseconds(400));
    throttle.changed();
    advance({});
    EXPECT_EQ(announced, (std::vector<Platform::Duration>{seconds(0), milliseconds(400)}));
}

} // namespace Quenmark
