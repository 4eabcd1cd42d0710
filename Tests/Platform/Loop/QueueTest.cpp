#include "Platform/Loop/Queue.h"

#include "Platform/Loop/RunLoop.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

#include <malloc.h>

#include <algorithm>
#include <stdexcept>
#include <thread>

#ifdef HAS_ADDRESS_SANITIZER
// The package of GCC lacks the header that declares it (sanitizer/allocator_interface.h).
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace {

using namespace std::chrono_literals;
using Platform::Priority;
using Platform::Queue;
using Platform::RunLoop;
using Calls = std::vector<std::string>;

class AQueue : public testing::Test {
protected:
    RunLoop loop;
    Calls calls;
};

TEST_F(AQueue, RunsItsTasksInOrder) {
    const Queue queue = Queue::serial("q");
    std::vector<int> order;
    for (int number = 0; number < 1000; ++number)
        queue.async([&order, number] { order.push_back(number); });
    EXPECT_TRUE(order.empty());
    EXPECT_TRUE(loop.runUntil([&] { return order.size() == 1000; }));
    for (int number = 0; number < 1000; ++number)
        EXPECT_EQ(order[static_cast<std::size_t>(number)], number);
}

TEST_F(AQueue, RunsATaskOnlyAfterTheOneThatAddedIt) {
    Queue::main().async([&] {
        Queue::main().async([&] { calls.emplace_back("inner"); });
        calls.emplace_back("outer");
    });
    EXPECT_TRUE(loop.runUntil([&] { return calls.size() == 2; }));
    EXPECT_EQ(calls, (Calls{"outer", "inner"}));
}

TEST_F(AQueue, SharesTheLoopWithOthersInTheOrderOfAdding) {
    const Queue one = Queue::serial("one");
    const Queue two = Queue::serial("two");
    one.async([&] { calls.emplace_back("1"); });
    two.async([&] { calls.emplace_back("2"); });
    one.async([&] { calls.emplace_back("3"); });
    EXPECT_TRUE(loop.runUntil([&] { return calls.size() == 3; }));
    EXPECT_EQ(calls, (Calls{"1", "2", "3"}));
}

TEST_F(AQueue, IsTheCurrentOneWhileItsTaskRuns) {
    const Queue queue = Queue::serial("q");
    std::optional<Queue> during;
    EXPECT_EQ(Queue::current(), Queue::main());
    queue.async([&] { during = Queue::current(); });
    EXPECT_TRUE(loop.runUntil([&] { return during.has_value(); }));
    EXPECT_EQ(*during, queue);
    EXPECT_EQ(Queue::current(), Queue::main());
}

TEST_F(AQueue, IsTheCurrentOneAgainAfterATaskThatWaitedForAnother) {
    const Queue outer = Queue::serial("outer");
    const Queue inner = Queue::serial("inner");
    std::optional<Queue> during;
    std::optional<Queue> afterwards;
    outer.async([&] {
        inner.async([&] { during = Queue::current(); });
        EXPECT_TRUE(loop.runUntil([&] { return during.has_value(); }));
        afterwards = Queue::current();
    });
    EXPECT_TRUE(loop.runUntil([&] { return afterwards.has_value(); }));
    EXPECT_EQ(*during, inner);
    EXPECT_EQ(*afterwards, outer);
}

TEST_F(AQueue, IsTheMainOneOnOtherThreads) {
    bool isMain = false;
    bool done = false;
    Queue::serial("q").async([&] {
        std::thread([&] { isMain = Queue::current() == Queue::main(); }).join();
        done = true;
    });
    EXPECT_TRUE(loop.runUntil([&] { return done; }));
    EXPECT_TRUE(isMain);
}

TEST_F(AQueue, IsToldFromOthersByItsIdentity) {
    const Queue queue = Queue::serial("q");
    const Queue copy = queue;
    EXPECT_EQ(queue, copy);
    EXPECT_NE(queue, Queue::serial("q"));
    EXPECT_EQ(Queue::main(), Queue::main());
    EXPECT_EQ(Queue::global(Priority::Background), Queue::global(Priority::Background));
    EXPECT_NE(Queue::global(Priority::Background), Queue::global(Priority::Default));
    EXPECT_NE(Queue::main(), Queue::global(Priority::Default));
}

TEST_F(AQueue, HasALabel) {
    EXPECT_EQ(Queue::serial("transfers").label(), "transfers");
    EXPECT_EQ(Queue::main().label(), "main");
    EXPECT_EQ(Queue::global(Priority::Background).label(), "global.background");
}

TEST_F(AQueue, TakesTasksFromOtherThreadsInTheirOrder) {
    constexpr int threads = 4;
    constexpr int tasks = 2500;
    const Queue queue = Queue::serial("q");
    std::vector<std::vector<int>> seen(threads);
    std::vector<std::thread> workers;
    for (int thread = 0; thread < threads; ++thread)
        workers.emplace_back([&, thread] {
            for (int number = 0; number < tasks; ++number)
                queue.async([&seen, thread, number] { seen[static_cast<std::size_t>(thread)].push_back(number); });
        });
    const auto complete = [&] {
        return std::all_of(seen.begin(), seen.end(), [](const auto& one) { return one.size() == tasks; });
    };
    EXPECT_TRUE(loop.runUntil(complete));
    for (auto& worker : workers)
        worker.join();
    for (const auto& numbers : seen)
        EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
}

TEST_F(AQueue, WakesTheLoopFromAnotherThread) {
    bool done = false;
    std::thread worker;
    // The thread starts when the loop has nothing left to do but to wait.
    Queue::main().async([&] { worker = std::thread([&] { Queue::main().async([&] { done = true; }); }); });
    EXPECT_TRUE(loop.runUntil([&] { return done; }));
    worker.join();
}

TEST_F(AQueue, TakesTimersFromOtherThreads) {
    bool done = false;
    std::thread([&] { Queue::main().after(1ms, [&] { done = true; }); }).join();
    EXPECT_TRUE(loop.runUntil([&] { return done; }));
}

TEST_F(AQueue, LogsAnExceptionAndGoesOn) {
    TestSupport::LogCapture log;
    const Queue queue = Queue::serial("transfers");
    bool done = false;
    queue.async([] { throw std::runtime_error("out of paper"); });
    queue.async([] { throw 17; });
    Queue::main().async([] { throw std::logic_error("no"); });
    queue.async([&] { done = true; });
    EXPECT_TRUE(loop.runUntil([&] { return done; }));
    EXPECT_EQ(log.entries(), (std::vector<std::string>{"Uncaught exception on transfers: out of paper",
                                                       "Uncaught exception on transfers: not a std::exception",
                                                       "Uncaught exception on main: no"}));
    EXPECT_EQ(Queue::current(), Queue::main());
}

TEST_F(AQueue, TellsAProgramsHandlerOfExceptions) {
    TestSupport::LogCapture log;
    std::string reported;
    loop.setExceptionHandler([&](const std::exception& exception) { reported = exception.what(); });
    Queue::main().async([] { throw std::runtime_error("out of paper"); });
    EXPECT_TRUE(loop.runUntil([&] { return !reported.empty(); }));
    EXPECT_EQ(reported, "out of paper");
    EXPECT_EQ(log.entries().size(), 1U);
}

TEST_F(AQueue, KeepsItsTasksCapturesNoLongerThanTheTask) {
    const auto captured = std::make_shared<int>(1);
    bool done = false;
    Queue::main().async([&done, captured] { done = true; });
    EXPECT_EQ(captured.use_count(), 2);
    EXPECT_TRUE(loop.runUntil([&] { return done; }));
    EXPECT_EQ(captured.use_count(), 1);
}

/// How many bytes of the heap are in use.
std::size_t heapInUse() {
#ifdef HAS_ADDRESS_SANITIZER
    return __sanitizer_get_current_allocated_bytes();
#else
    const auto heap = ::mallinfo2();
    return heap.uordblks + heap.hblkhd;
#endif
}

TEST_F(AQueue, NeedsNoMoreMemoryForAMillionTasksThanForAThousand) {
    std::size_t left = 0;
    std::function<void()> next = [&] {
        if (--left > 0)
            Queue::main().async(next);
    };
    const auto run = [&](std::size_t count) {
        left = count;
        Queue::main().async(next);
        EXPECT_TRUE(loop.runUntil([&] { return left == 0; }, 200s));
        return heapInUse();
    };
    const std::size_t before = run(1000);
    EXPECT_LT(run(1'000'000), before + (64 << 10));
}

TEST_F(AQueue, GivesTheMemoryOfAMillionWaitingTasksBack) {
    const std::size_t before = heapInUse();
    int ran = 0;
    for (int task = 0; task < 1'000'000; ++task)
        Queue::main().async([&] { ++ran; });
    EXPECT_GT(heapInUse(), before + 16'000'000);
    EXPECT_TRUE(loop.runUntil([&] { return ran == 1'000'000; }, 200s));
    EXPECT_LT(heapInUse(), before + (64 << 10));
}

TEST(TheMainLoop, HasToBeThereForATask) {
    EXPECT_FALSE(RunLoop::exists());
    EXPECT_THROW(Queue::main().async([] {}), std::logic_error);
    EXPECT_EQ(Queue::current(), Queue::main());
}

} // namespace
