// How long a connection that nobody uses may serve again. The transport goes by the machine's clock, which this program
// can put forward.

#include "UrlLoadingFixture.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>

namespace {

time_t secondsAhead = 0;

} // namespace

// The C library's, for every library of this program.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const auto result = ::syscall(SYS_clock_gettime, clock, time);
    if (clock == CLOCK_MONOTONIC)
        time->tv_sec += secondsAhead;
    return static_cast<int>(result);
}

namespace Platform {
namespace {

using TestSupport::HttpReply;

class AnIdleConnection : public UrlLoadingTest {
protected:
    void SetUp() override {
        server.setHandler([](const auto&) { return HttpReply::ok("x"); });
    }
    void TearDown() override { secondsAhead = 0; }
};

TEST_F(AnIdleConnection, ServesAgainAfterTwoSecondsAndNotAfterThree) {
    EXPECT_EQ(load(post("/", "{}")).data, "x");
    secondsAhead += 2;
    EXPECT_EQ(load(post("/", "{}")).data, "x");
    secondsAhead += 2;
    EXPECT_EQ(load(post("/", "{}")).data, "x");
    EXPECT_EQ(server.acceptedConnections(), 1U);
    secondsAhead += 3;
    EXPECT_EQ(load(post("/", "{}")).data, "x");
    EXPECT_EQ(server.acceptedConnections(), 2U);
    EXPECT_TRUE(loop.runUntil([&] { return server.openConnections() == 1; }));
}

} // namespace
} // namespace Platform
