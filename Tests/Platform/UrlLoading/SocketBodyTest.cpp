// A body that is received from its connection directly: how much is asked for, what ends it, and when the kernel is
// asked to gather.

#include "Platform/UrlLoading/SocketBody.h"

#include "WatchLimit.h"

#include <climits>
#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

/// What `recv` gives for one socket, call by call: a number of bytes, or the negative number of an error; "would block"
/// when nothing is left.
struct ScriptedSocket {
    int descriptor = -1;
    std::deque<ssize_t> results;
    std::vector<std::size_t> sizes;
    std::vector<int> flags;
};
ScriptedSocket scripted;

} // namespace

// The C library's, for every library of this program.
extern "C" ssize_t recv(int socket, void* space, size_t size, int flags) {
    if (socket != scripted.descriptor)
        return ::syscall(SYS_recvfrom, socket, space, size, flags, nullptr, nullptr);
    scripted.sizes.push_back(size);
    scripted.flags.push_back(flags);
    const ssize_t result = scripted.results.empty() ? -EAGAIN : scripted.results.front();
    if (!scripted.results.empty())
        scripted.results.pop_front();
    if (result >= 0) {
        std::memset(space, 'x', static_cast<std::size_t>(result));
        return result;
    }
    errno = static_cast<int>(-result);
    return -1;
}

namespace Platform {
namespace {

using namespace std::chrono_literals;

constexpr ssize_t muchAtOnce = 262144;

class ASocketBody : public testing::Test {
protected:
    void TearDown() override {
        scripted = {};
        watchesLeft = INT_MAX;
    }

    /// Its socket is readable until `drain` is called; what is received is as `scripted` says.
    void begin(std::uint64_t length) {
        std::array<int, 2> ends{};
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
        peer.reset(ends[1]);
        ASSERT_EQ(::send(peer.get(), "x", 1, 0), 1);
        observed.reset(::dup(ends[0]));
        scripted = {ends[0], {}, {}, {}};
        changes = 0;
        body = std::make_unique<SocketBody>(FileDescriptor(ends[0]), length, pieces, [this] { ++changes; });
    }
    void drain() const {
        char byte = 0;
        ASSERT_EQ(::recv(observed.get(), &byte, 1, MSG_DONTWAIT), 1);
    }
    /// Lets these results be received, the last of which brings a change; what came is taken.
    void receive(std::deque<ssize_t> results) {
        const int before = changes;
        scripted.results = std::move(results);
        ASSERT_TRUE(loop.runUntil([&] { return changes > before; }));
        pieces.clear();
    }
    /// How many calls of `recv` there were.
    static std::size_t calls() { return scripted.sizes.size(); }
    void expectNoCalls() {
        const std::size_t before = calls();
        for (int turn = 0; turn < 10; ++turn)
            loop.runOnce(Duration::zero());
        EXPECT_EQ(calls(), before);
    }
    /// How many bytes the kernel gathers.
    int gathered() const {
        int count = 0;
        socklen_t length = sizeof count;
        EXPECT_EQ(::getsockopt(observed.get(), SOL_SOCKET, SO_RCVLOWAT, &count, &length), 0);
        return count;
    }
    /// What the kernel tells of each timer with an interval (proc(5), /proc/[pid]/fdinfo); the loop's own has none.
    static std::vector<std::string> periodicTimers() {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fdinfo")) {
            std::ostringstream told;
            told << std::ifstream(entry.path()).rdbuf();
            if (told.str().find("it_interval: (0, 0)") == std::string::npos &&
                told.str().find("it_interval") != std::string::npos)
                found.push_back(told.str());
        }
        return found;
    }

    RunLoop loop;
    PieceBuffer pieces;
    FileDescriptor peer;
    FileDescriptor observed;
    int changes = 0;
    std::unique_ptr<SocketBody> body;
};

TEST_F(ASocketBody, IsCompleteWithItsLastByteAndAsksForNoMore) {
    begin(10);
    EXPECT_FALSE(body->isComplete());
    scripted.results = {4};
    ASSERT_TRUE(loop.runUntil([&] { return changes == 1; }));
    EXPECT_EQ(pieces.view(), "xxxx");
    EXPECT_FALSE(body->isComplete());
    scripted.results = {6};
    ASSERT_TRUE(loop.runUntil([&] { return changes == 2; }));
    EXPECT_EQ(pieces.view(), "xxxxxxxxxx");
    EXPECT_TRUE(body->isComplete());
    EXPECT_FALSE(body->isBroken());
    EXPECT_EQ(body->error(), 0);
    EXPECT_EQ(scripted.sizes.front(), 10U);
    EXPECT_EQ(scripted.sizes.back(), 6U);
    for (const int flags : scripted.flags)
        EXPECT_EQ(flags, MSG_DONTWAIT);
    body->continueReading();
    expectNoCalls();
    EXPECT_EQ(changes, 2);
}

TEST_F(ASocketBody, GoesOnAfterACallThatWasInterruptedOrFoundNothing) {
    begin(10);
    receive({-EINTR, -EAGAIN, 3});
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(calls(), 3U);
    EXPECT_FALSE(body->isBroken());
}

TEST_F(ASocketBody, IsBrokenWhereItsConnectionEndsAndTellsWhy) {
    for (const int error : {0, ECONNRESET, EPIPE}) {
        begin(10);
        receive({3});
        receive({-error});
        EXPECT_FALSE(body->isComplete());
        EXPECT_TRUE(body->isBroken());
        EXPECT_EQ(body->error(), error);
        body->continueReading();
        expectNoCalls();
    }
}

TEST_F(ASocketBody, WaitsWhileItsPieceIsFull) {
    pieces.setCapacity(8);
    begin(20);
    scripted.results = {8, 5};
    ASSERT_TRUE(loop.runUntil([&] { return changes == 1; }));
    EXPECT_EQ(scripted.sizes.front(), 8U);
    expectNoCalls();
    body->continueReading();
    expectNoCalls();
    pieces.clear();
    expectNoCalls();
    body->continueReading();
    ASSERT_TRUE(loop.runUntil([&] { return changes == 2; }));
    EXPECT_EQ(pieces.view(), "xxxxx");
}

TEST_F(ASocketBody, IsReceivedWhereThereIsRoomForOneByte) {
    pieces.setCapacity(8);
    ASSERT_TRUE(pieces.append("1234567"));
    begin(20);
    scripted.results = {1};
    ASSERT_TRUE(loop.runUntil([&] { return changes == 1; }));
    EXPECT_EQ(scripted.sizes.front(), 1U);
    EXPECT_EQ(pieces.view(), "1234567x");
}

TEST_F(ASocketBody, HasTheKernelGatherOnceACallHasBroughtMuch) {
    begin(100 << 20);
    receive({muchAtOnce - 1});
    EXPECT_EQ(gathered(), 1);
    EXPECT_TRUE(periodicTimers().empty());
    receive({muchAtOnce});
    EXPECT_EQ(gathered(), 262144);
    receive({muchAtOnce});
    const auto timers = periodicTimers();
    ASSERT_EQ(timers.size(), 1U);
    EXPECT_NE(timers.front().find("it_interval: (0, 50000000)"), std::string::npos) << timers.front();
    // O_CLOEXEC, O_NONBLOCK and O_RDWR.
    EXPECT_NE(timers.front().find("flags:\t02004002"), std::string::npos) << timers.front();
}

TEST_F(ASocketBody, IsNotGatheredWhereLessThanThatIsLeft) {
    begin(3 * muchAtOnce);
    receive({muchAtOnce});
    receive({muchAtOnce});
    EXPECT_EQ(gathered(), 262144);
    receive({1});
    EXPECT_EQ(gathered(), 1);
    EXPECT_TRUE(periodicTimers().empty());
    begin(2 * muchAtOnce - 1);
    receive({muchAtOnce});
    EXPECT_EQ(gathered(), 1);
}

TEST_F(ASocketBody, IsReceivedAsItArrivesOnceNothingHasComeInATwentiethOfASecond) {
    begin(100 << 20);
    const auto start = std::chrono::steady_clock::now();
    receive({muchAtOnce});
    drain();
    scripted.results = {7};
    ASSERT_TRUE(loop.runUntil([&] { return changes == 2; }));
    // The timer fires once for the bytes that came before.
    EXPECT_GE(std::chrono::steady_clock::now() - start, 100ms);
    EXPECT_EQ(gathered(), 1);
    EXPECT_TRUE(periodicTimers().empty());
    EXPECT_EQ(pieces.view(), "xxxxxxx");
}

TEST_F(ASocketBody, ThatBreaksWhileItIsGatheredIsNotReadAgain) {
    begin(100 << 20);
    receive({muchAtOnce});
    receive({0});
    EXPECT_TRUE(body->isBroken());
    const std::size_t before = calls();
    ASSERT_TRUE(loop.runUntil([&] { return gathered() == 1; }));
    EXPECT_EQ(calls(), before);
    EXPECT_EQ(changes, 2);
}

TEST_F(ASocketBody, IsReceivedAsItArrivesWhereDescriptorsOrWatchesRunOut) {
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &usual), 0);
    begin(100 << 20);
    const FileDescriptor next(::dup(0));
    const rlimit scarce{static_cast<rlim_t>(next.get()), usual.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &scarce), 0);
    receive({muchAtOnce});
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &usual), 0);
    EXPECT_EQ(gathered(), 1);
    watchesLeft = 0;
    receive({muchAtOnce});
    watchesLeft = INT_MAX;
    EXPECT_EQ(gathered(), 1);
    EXPECT_TRUE(periodicTimers().empty());
    receive({5});
    EXPECT_EQ(changes, 3);
    EXPECT_FALSE(body->isBroken());
}

} // namespace
} // namespace Platform
