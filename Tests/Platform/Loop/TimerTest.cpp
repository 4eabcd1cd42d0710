#include "Platform/Loop/Queue.h"
#include "Platform/Loop/RunLoop.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <numeric>

namespace {

using namespace std::chrono_literals;
using Platform::ManualClock;
using Platform::Queue;
using Platform::RunLoop;
using Platform::Timer;
using Calls = std::vector<std::string>;

/// Timers on a clock that the test moves, so that hours cost it nothing.
class ATimer : public testing::Test {
protected:
    Platform::Task note(std::string what) {
        return [this, what = std::move(what)] { calls.push_back(what); };
    }
    /// Runs everything that is due.
    void runAll() {
        bool done = false;
        Queue::main().async([&] { done = true; });
        EXPECT_TRUE(loop.runUntil([&] { return done; }));
    }
    void advance(Platform::Duration by) {
        clock.advance(by);
        runAll();
    }

    ManualClock clock;
    RunLoop loop{clock};
    Calls calls;
};

TEST_F(ATimer, FiresWhenItsTimeHasCome) {
    Queue::main().after(2s, note("fired"));
    advance(2s - 1ns);
    EXPECT_EQ(calls, Calls{});
    advance(1ns);
    EXPECT_EQ(calls, Calls{"fired"});
    advance(24h);
    EXPECT_EQ(calls, Calls{"fired"});
}

TEST_F(ATimer, RunsOnItsQueue) {
    const Queue queue = Queue::serial("q");
    std::optional<Queue> ranOn;
    queue.after(1s, [&] { ranOn = Queue::current(); });
    advance(1s);
    EXPECT_EQ(ranOn, queue);
}

TEST_F(ATimer, FiresInTheOrderOfDeadlinesWhateverTheOrderOfMaking) {
    Queue::main().after(3s, note("3"));
    Queue::main().after(1s, note("1"));
    Queue::main().after(2s, note("2"));
    advance(1h);
    EXPECT_EQ(calls, (Calls{"1", "2", "3"}));
}

TEST_F(ATimer, FiresInTheOrderOfMakingWhereDeadlinesAreEqual) {
    std::vector<int> order;
    for (int number = 0; number < 100; ++number)
        Queue::main().after(1s, [&order, number] { order.push_back(number); });
    advance(1s);
    std::vector<int> expected(100);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
}

TEST_F(ATimer, FiresNeverBeforeTheCallReturns) {
    Queue::main().after(0s, note("zero"));
    Queue::main().after(-5s, note("negative"));
    EXPECT_EQ(calls, Calls{});
    runAll();
    EXPECT_EQ(calls, (Calls{"zero", "negative"}));
}

TEST_F(ATimer, MayLieBeyondTheEndOfTime) {
    clock.advance(1h);
    const Timer timer = Queue::main().timer(Platform::Duration::max(), note("never"));
    advance(24h * 365);
    EXPECT_EQ(calls, Calls{});
    EXPECT_TRUE(timer.isScheduled());
}

TEST_F(ATimer, IsScheduledUntilItFires) {
    const Timer timer = Queue::main().timer(1s, note("fired"));
    EXPECT_TRUE(timer.isScheduled());
    advance(1s);
    EXPECT_FALSE(timer.isScheduled());
    EXPECT_EQ(calls, Calls{"fired"});
}

TEST_F(ATimer, StaysSilentOnceItIsCancelled) {
    Timer timer = Queue::main().timer(1s, note("fired"));
    timer.cancel();
    EXPECT_FALSE(timer.isScheduled());
    timer.cancel();
    advance(1h);
    EXPECT_EQ(calls, Calls{});
}

TEST_F(ATimer, StaysSilentOnceItIsGone) {
    { const Timer timer = Queue::main().timer(1s, note("fired")); }
    advance(1h);
    EXPECT_EQ(calls, Calls{});
}

TEST_F(ATimer, StaysSilentOnceAnotherTakesItsPlace) {
    Timer timer = Queue::main().timer(1s, note("first"));
    timer = Queue::main().timer(2s, note("second"));
    advance(1h);
    EXPECT_EQ(calls, Calls{"second"});
}

TEST_F(ATimer, GoesOnWhereItIsMovedTo) {
    Timer timer = Queue::main().timer(1s, note("fired"));
    Timer moved = std::move(timer);
    timer.cancel(); // NOLINT(bugprone-use-after-move): an empty timer has nothing to cancel.
    EXPECT_TRUE(moved.isScheduled());
    advance(1s);
    EXPECT_EQ(calls, Calls{"fired"});
}

TEST_F(ATimer, IsCancelledByATaskThatIsDueAtTheSameTime) {
    Timer second;
    Queue::main().after(1s, [&] {
        second.cancel();
        calls.emplace_back("first");
    });
    second = Queue::main().timer(1s, note("second"));
    advance(1h);
    EXPECT_EQ(calls, Calls{"first"});
    EXPECT_FALSE(second.isScheduled());
}

TEST_F(ATimer, IsCancelledByATaskAfterItsTimeHasCome) {
    Timer timer = Queue::main().timer(1s, note("fired"));
    Queue::main().async([&] { timer.cancel(); });
    advance(1h);
    EXPECT_EQ(calls, Calls{});
}

TEST_F(ATimer, CanBeMadeAndCancelledByATimersTask) {
    Timer inner;
    Queue::main().after(1s, [&] { inner = Queue::main().timer(1s, note("inner")); });
    Queue::main().after(2s, [&] { inner.cancel(); });
    advance(1s);
    EXPECT_TRUE(inner.isScheduled());
    advance(1s);
    EXPECT_FALSE(inner.isScheduled());
    EXPECT_EQ(calls, Calls{});
}

TEST_F(ATimer, MayEndItselfInItsOwnTask) {
    std::unique_ptr<Timer> timer;
    timer = std::make_unique<Timer>(Queue::main().timer(1s, [&] {
        timer.reset();
        calls.emplace_back("fired");
    }));
    advance(1s);
    EXPECT_EQ(calls, Calls{"fired"});
}

TEST_F(ATimer, LetsGoOfWhatItCapturedOnceItIsCancelled) {
    const auto captured = std::make_shared<int>(1);
    Timer timer = Queue::main().timer(1s, [captured] {});
    EXPECT_EQ(captured.use_count(), 2);
    timer.cancel();
    EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(ATimer, RepeatsATwoSecondStepAsOftenAsTimePasses) {
    int passes = 0;
    std::function<void()> pass = [&] {
        ++passes;
        Queue::global(Platform::Priority::Background).after(2s, pass);
    };
    pass();
    for (int step = 0; step < 1000; ++step)
        advance(2s);
    EXPECT_EQ(passes, 1001);
}

TEST(ATimerOfALoopThatIsGone, StaysSilentAndCanBeCancelled) {
    ManualClock clock;
    auto loop = std::make_unique<RunLoop>(clock);
    const auto captured = std::make_shared<int>(1);
    Timer timer = Queue::main().timer(1s, [captured] {});
    Timer due = Queue::main().timer(0s, [captured] {});
    // A full turn's tasks in front keep the second timer waiting, due as it is.
    for (int task = 0; task < 256; ++task)
        Queue::main().async([] {});
    loop->runOnce(0s);
    EXPECT_EQ(captured.use_count(), 3);
    loop.reset();
    EXPECT_EQ(captured.use_count(), 1);
    EXPECT_FALSE(timer.isScheduled());
    EXPECT_FALSE(due.isScheduled());
    timer.cancel();
    due.cancel();
}

TEST(ATimerOfTheSystemClock, FiresAfterItsDelayInRealTime) {
    RunLoop loop;
    const auto start = loop.now();
    bool done = false;
    Queue::main().after(3ms, [&] { done = true; });
    EXPECT_TRUE(loop.runUntil([&] { return done; }));
    EXPECT_GE(loop.now() - start, 3ms);
}

TEST(ATimerOfTheSystemClock, FiresThoughAnEarlierOneWasCancelled) {
    RunLoop loop;
    bool done = false;
    Timer earlier = Queue::main().timer(1ms, [] {});
    Queue::main().after(2ms, [&] { done = true; });
    loop.runOnce(0ms);
    earlier.cancel();
    EXPECT_TRUE(loop.runUntil([&] { return done; }));
}

TEST(TheSystemClock, KnowsHowLongTheMachineWasSuspended) {
    const auto read = [](clockid_t clock) {
        timespec time{};
        EXPECT_EQ(::clock_gettime(clock, &time), 0);
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    };
    const auto bootBefore = read(CLOCK_BOOTTIME);
    const auto monotonicBefore = read(CLOCK_MONOTONIC);
    const Platform::Duration suspended = Platform::SystemClock().suspended();
    EXPECT_GE(suspended, bootBefore - read(CLOCK_MONOTONIC));
    EXPECT_LE(suspended, read(CLOCK_BOOTTIME) - monotonicBefore);
}

} // namespace
