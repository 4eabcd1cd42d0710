#include "Platform/Loop/RunLoop.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <array>
#include <thread>

namespace {

using namespace std::chrono_literals;
using Platform::Queue;
using Platform::RunLoop;
using Platform::Timer;

/// A program with a loop of its own, around poll(2), that runs the platform's work by its descriptor alone.
class AnEmbeddedLoop : public testing::Test {
protected:
    void SetUp() override { loop.processPending(); }

    bool isReadable(std::chrono::milliseconds limit) const {
        pollfd descriptor{loop.descriptor(), POLLIN, 0};
        return ::poll(&descriptor, 1, static_cast<int>(limit.count())) == 1;
    }
    /// Goes on only where the descriptor says so.
    bool pollUntil(const std::function<bool()>& condition) {
        const auto end = std::chrono::steady_clock::now() + 20s;
        while (!condition()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
            if (left <= 0ms || !isReadable(left))
                return false;
            loop.processPending();
        }
        return true;
    }

    RunLoop loop;
};

TEST_F(AnEmbeddedLoop, IsQuietWhileThereIsNothingToDo) {
    EXPECT_FALSE(isReadable(0ms));
}

TEST_F(AnEmbeddedLoop, RunsTasksAndIsQuietAfterwards) {
    int ran = 0;
    Queue::main().async([&] {
        ++ran;
        Queue::main().async([&] { ++ran; });
    });
    EXPECT_TRUE(isReadable(0ms));
    loop.processPending();
    EXPECT_EQ(ran, 2);
    EXPECT_FALSE(isReadable(0ms));
}

TEST_F(AnEmbeddedLoop, FiresTimers) {
    bool fired = false;
    Queue::main().after(3ms, [&] { fired = true; });
    loop.processPending();
    EXPECT_TRUE(pollUntil([&] { return fired; }));
    EXPECT_FALSE(isReadable(0ms));
}

TEST_F(AnEmbeddedLoop, FiresTimersThatTasksAndTimersMake) {
    int left = 5;
    std::function<void()> next = [&] {
        if (--left > 0)
            Queue::main().after(1ms, next);
    };
    Queue::main().async(next);
    EXPECT_TRUE(pollUntil([&] { return left == 0; }));
    EXPECT_FALSE(isReadable(0ms));
}

TEST_F(AnEmbeddedLoop, FiresALaterTimerAfterAnEarlierOneWasCancelled) {
    bool fired = false;
    Timer earlier = Queue::main().timer(1ms, [] { FAIL() << "a cancelled timer"; });
    Queue::main().after(3ms, [&] { fired = true; });
    loop.processPending();
    earlier.cancel();
    EXPECT_TRUE(pollUntil([&] { return fired; }));
}

TEST_F(AnEmbeddedLoop, ReportsWatchedDescriptors) {
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
    int calls = 0;
    const auto watch = loop.watch(pipe[0], EPOLLIN, [&](std::uint32_t) {
        char byte = 0;
        EXPECT_EQ(::read(pipe[0], &byte, 1), 1);
        Queue::main().async([&] { ++calls; });
    });
    EXPECT_FALSE(isReadable(0ms));
    ASSERT_EQ(::write(pipe[1], "ab", 2), 2);
    EXPECT_TRUE(pollUntil([&] { return calls == 2; }));
    EXPECT_FALSE(isReadable(0ms));
    ::close(pipe[0]);
    ::close(pipe[1]);
}

TEST_F(AnEmbeddedLoop, HandlesEveryDescriptorThatIsReadyInOnePass) {
    std::array<int, 2> first{-1, -1};
    std::array<int, 2> second{-1, -1};
    ASSERT_EQ(::pipe2(first.data(), O_CLOEXEC | O_NONBLOCK), 0);
    ASSERT_EQ(::pipe2(second.data(), O_CLOEXEC | O_NONBLOCK), 0);
    std::string handled;
    const auto take = [&handled](int descriptor) {
        char byte = '-';
        EXPECT_EQ(::read(descriptor, &byte, 1), 1);
        handled += byte;
    };
    {
        const auto watchOfFirst = loop.watch(first[0], EPOLLIN, [&](std::uint32_t) { take(first[0]); });
        const auto watchOfSecond = loop.watch(second[0], EPOLLIN, [&](std::uint32_t) { take(second[0]); });
        loop.processPending();
        EXPECT_EQ(::write(first[1], "a", 1), 1);
        EXPECT_EQ(::write(second[1], "b", 1), 1);
        loop.processPending();
        EXPECT_EQ(handled, "ab");
    }
    for (const int descriptor : {first[0], first[1], second[0], second[1]})
        ::close(descriptor);
}

TEST_F(AnEmbeddedLoop, IsWokenByOtherThreads) {
    int ran = 0;
    std::thread worker([&] {
        for (int task = 0; task < 100; ++task)
            Queue::main().async([&] { ++ran; });
        Queue::main().after(1ms, [&] { ++ran; });
    });
    EXPECT_TRUE(pollUntil([&] { return ran == 101; }));
    worker.join();
}

TEST_F(AnEmbeddedLoop, GivesControlBackThoughAQueueFeedsItself) {
    bool stop = false;
    std::function<void()> again = [&] {
        if (!stop)
            Queue::main().async(again);
    };
    again();
    loop.processPending();
    EXPECT_TRUE(isReadable(0ms));
    stop = true;
    loop.processPending();
    EXPECT_FALSE(isReadable(0ms));
}

TEST_F(AnEmbeddedLoop, GoesOnWhereAConditionLeftWork) {
    int ran = 0;
    bool fired = false;
    for (int task = 0; task < 1000; ++task)
        Queue::main().async([&] {
            if (++ran == 1000)
                Queue::main().after(1ms, [&] { fired = true; });
        });
    EXPECT_TRUE(loop.runUntil([&] { return ran > 0; }));
    EXPECT_LT(ran, 1000);
    EXPECT_TRUE(pollUntil([&] { return ran == 1000; }));
    EXPECT_TRUE(loop.runUntil([&] { return ran == 1000; }));
    EXPECT_TRUE(pollUntil([&] { return fired; }));
}

TEST_F(AnEmbeddedLoop, GoesOnThoughItWasStopped) {
    bool ran = false;
    loop.stop(1);
    Queue::main().async([&] { ran = true; });
    EXPECT_TRUE(pollUntil([&] { return ran; }));
    EXPECT_FALSE(isReadable(0ms));
}

} // namespace
