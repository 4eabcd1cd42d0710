#include "Platform/Loop/RunLoop.h"

#include "Support/LogCapture.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <system_error>

namespace {

using namespace std::chrono_literals;
using Platform::DescriptorWatch;
using Platform::Queue;
using Platform::RunLoop;
using Calls = std::vector<std::string>;

/// A pipe whose reading end does not wait.
class Pipe {
public:
    Pipe() { EXPECT_EQ(::pipe2(ends_.data(), O_CLOEXEC | O_NONBLOCK), 0); }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        ::close(ends_[0]);
        closeWriter();
    }
    int reader() const { return ends_[0]; }
    int writer() const { return ends_[1]; }
    void write(char byte) const { EXPECT_EQ(::write(ends_[1], &byte, 1), 1); }
    char read() const {
        char byte = '-';
        EXPECT_EQ(::read(ends_[0], &byte, 1), 1);
        return byte;
    }
    void closeWriter() {
        if (ends_[1] >= 0)
            ::close(ends_[1]);
        ends_[1] = -1;
    }

private:
    std::array<int, 2> ends_{-1, -1};
};

class ARunLoop : public testing::Test {
protected:
    RunLoop loop;
};

TEST_F(ARunLoop, IsTheMainOneWhileItLives) {
    EXPECT_TRUE(RunLoop::exists());
    EXPECT_EQ(&RunLoop::main(), &loop);
}

/// How often this thread has waited so far.
long waits() {
    rusage usage{};
    EXPECT_EQ(::getrusage(RUSAGE_THREAD, &usage), 0);
    return usage.ru_nvcsw;
}

TEST_F(ARunLoop, DoesNotWaitForATimerThatIsDueAlready) {
    constexpr int timers = 200;
    int fired = 0;
    std::function<void()> next = [&] {
        if (++fired < timers)
            Queue::main().after(0s, next);
    };
    next();
    const long before = waits();
    EXPECT_TRUE(loop.runUntil([&] { return fired == timers; }));
    EXPECT_LT(waits() - before, timers / 2);
}

TEST_F(ARunLoop, WaitsInATurnWithoutWork) {
    loop.runOnce(1ms); // what the start of a loop leaves to do
    const auto start = std::chrono::steady_clock::now();
    loop.runOnce(20ms);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 20ms);
}

TEST_F(ARunLoop, DoesNotWaitInATurnThatRanATask) {
    bool ran = false;
    Queue::main().async([&] { ran = true; });
    const auto start = std::chrono::steady_clock::now();
    loop.runOnce(60s);
    EXPECT_TRUE(ran);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
}

TEST_F(ARunLoop, IsTheOnlyOne) {
    EXPECT_THROW(RunLoop(), std::logic_error);
    EXPECT_EQ(&RunLoop::main(), &loop);
}

TEST(NoRunLoop, IsThereBeforeAndAfterOne) {
    EXPECT_FALSE(RunLoop::exists());
    EXPECT_THROW(RunLoop::main(), std::logic_error);
    { const RunLoop loop; }
    EXPECT_FALSE(RunLoop::exists());
    EXPECT_THROW(RunLoop::main(), std::logic_error);
}

TEST_F(ARunLoop, RunsUntilItIsStoppedAndGivesTheStatus) {
    Calls calls;
    Queue::main().async([&] { calls.emplace_back("1"); });
    Queue::main().async([&] { loop.stop(69); });
    Queue::main().async([&] { calls.emplace_back("later"); });
    EXPECT_EQ(loop.run(), 69);
    EXPECT_EQ(calls, Calls{"1"});
    Queue::main().async([&] { loop.stop(0); });
    EXPECT_EQ(loop.run(), 0);
    EXPECT_EQ(calls, (Calls{"1", "later"}));
}

TEST_F(ARunLoop, DoesNotRunWhereItWasStoppedBefore) {
    bool ran = false;
    Queue::main().async([&] { ran = true; });
    loop.stop(3);
    EXPECT_EQ(loop.run(), 3);
    EXPECT_FALSE(ran);
}

TEST_F(ARunLoop, TurnsForAConditionThoughItWasStopped) {
    bool ran = false;
    loop.stop(3);
    Queue::main().async([&] { ran = true; });
    EXPECT_TRUE(loop.runUntil([&] { return ran; }));
    EXPECT_EQ(loop.run(), 3);
}

TEST_F(ARunLoop, SaysWhetherTheConditionHeldInTime) {
    EXPECT_TRUE(loop.runUntil([] { return true; }, 0s));
    EXPECT_FALSE(loop.runUntil([] { return false; }, 0s));
    EXPECT_FALSE(loop.runUntil([] { return false; }, 2ms));
}

TEST_F(ARunLoop, LooksAtTheConditionBeforeItWaitsForMore) {
    const auto start = std::chrono::steady_clock::now();
    int step = 0;
    Queue::main().async([&] {
        step = 1;
        Queue::main().after(1ms, [&] { step = 2; });
    });
    EXPECT_TRUE(loop.runUntil([&] { return step == 2; }, 60s));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
}

TEST_F(ARunLoop, LeavesTasksForLaterOnceTheConditionHolds) {
    int ran = 0;
    for (int task = 0; task < 1000; ++task)
        Queue::main().async([&] { ++ran; });
    EXPECT_TRUE(loop.runUntil([&] { return ran > 0; }));
    EXPECT_LT(ran, 1000);
    EXPECT_TRUE(loop.runUntil([&] { return ran == 1000; }));
}

TEST_F(ARunLoop, CanWaitInsideATask) {
    Calls calls;
    Queue::main().async([&] {
        bool inner = false;
        Queue::main().async([&] { inner = true; });
        EXPECT_TRUE(loop.runUntil([&] { return inner; }));
        calls.emplace_back("outer");
    });
    EXPECT_TRUE(loop.runUntil([&] { return !calls.empty(); }));
}

TEST_F(ARunLoop, ReportsADescriptorUntilTheWatchEnds) {
    const Pipe pipe;
    std::string got;
    auto watch = loop.watch(pipe.reader(), EPOLLIN, [&](std::uint32_t events) {
        EXPECT_EQ(events, static_cast<std::uint32_t>(EPOLLIN));
        EXPECT_EQ(Queue::current(), Queue::main());
        got += pipe.read();
    });
    pipe.write('a');
    EXPECT_TRUE(loop.runUntil([&] { return got == "a"; }));
    pipe.write('b');
    EXPECT_TRUE(loop.runUntil([&] { return got == "ab"; }));
    watch.reset();
    pipe.write('c');
    loop.runOnce(0s);
    loop.runOnce(0s);
    EXPECT_EQ(got, "ab");
}

TEST_F(ARunLoop, ReportsTheEventsThatAreAwaited) {
    Pipe pipe;
    std::uint32_t seen = 0;
    const auto watch = loop.watch(pipe.writer(), 0, [&](std::uint32_t events) { seen = events; });
    loop.runOnce(0s);
    EXPECT_EQ(seen, 0U);
    watch->setEvents(EPOLLOUT);
    EXPECT_TRUE(loop.runUntil([&] { return seen != 0; }));
    EXPECT_EQ(seen, static_cast<std::uint32_t>(EPOLLOUT));
}

TEST_F(ARunLoop, ReportsAnEndThatNobodyAwaits) {
    Pipe pipe;
    std::uint32_t seen = 0;
    std::unique_ptr<DescriptorWatch> watch;
    watch = loop.watch(pipe.reader(), 0, [&](std::uint32_t events) {
        seen = events;
        watch.reset();
    });
    pipe.closeWriter();
    EXPECT_TRUE(loop.runUntil([&] { return seen != 0; }));
    EXPECT_EQ(seen, static_cast<std::uint32_t>(EPOLLHUP));
}

TEST_F(ARunLoop, LetsAHandlerEndItsWatchAndOthers) {
    const Pipe first;
    const Pipe second;
    std::unique_ptr<DescriptorWatch> one;
    std::unique_ptr<DescriptorWatch> two;
    int calls = 0;
    const auto endBoth = [&, guard = std::make_shared<int>(7)](std::uint32_t) {
        one.reset();
        two.reset();
        // What the handler captured is there until it returns.
        calls += *guard;
    };
    one = loop.watch(first.reader(), EPOLLIN, endBoth);
    two = loop.watch(second.reader(), EPOLLIN, endBoth);
    first.write('a');
    second.write('b');
    EXPECT_TRUE(loop.runUntil([&] { return calls > 0; }));
    loop.runOnce(0s);
    loop.runOnce(0s);
    EXPECT_EQ(calls, 7);
}

TEST_F(ARunLoop, LogsAnExceptionOfAHandlerAndGoesOn) {
    TestSupport::LogCapture log;
    const Pipe pipe;
    int calls = 0;
    const auto watch = loop.watch(pipe.reader(), EPOLLIN, [&](std::uint32_t) {
        pipe.read();
        if (++calls == 1)
            throw std::runtime_error("bad byte");
    });
    pipe.write('a');
    pipe.write('b');
    EXPECT_TRUE(loop.runUntil([&] { return calls == 2; }));
    EXPECT_EQ(log.entries(), Calls{"Uncaught exception on a descriptor: bad byte"});
}

TEST_F(ARunLoop, RefusesADescriptorThatCannotBeWatched) {
    EXPECT_THROW((void)loop.watch(-1, EPOLLIN, [](std::uint32_t) {}), std::system_error);
    const int file = ::open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
    ASSERT_GE(file, 0);
    EXPECT_THROW((void)loop.watch(file, EPOLLIN, [](std::uint32_t) {}), std::system_error);
    ::close(file);
}

TEST_F(ARunLoop, LooksAtDescriptorsThoughAQueueFeedsItself) {
    const Pipe pipe;
    bool notified = false;
    const auto watch = loop.watch(pipe.reader(), EPOLLIN, [&](std::uint32_t) { notified = true; });
    std::function<void()> again = [&] { Queue::main().async(again); };
    again();
    pipe.write('a');
    EXPECT_TRUE(loop.runUntil([&] { return notified; }));
}

TEST_F(ARunLoop, GivesWatchesTheirTurnBesideEachOther) {
    const Pipe first;
    const Pipe second;
    int ones = 0;
    int twos = 0;
    const auto one = loop.watch(first.reader(), EPOLLIN, [&](std::uint32_t) { ++ones; });
    const auto two = loop.watch(second.reader(), EPOLLIN, [&](std::uint32_t) { ++twos; });
    first.write('a');
    second.write('b');
    EXPECT_TRUE(loop.runUntil([&] { return ones >= 10 && twos >= 10; }));
}

struct Attached {
    explicit Attached(RunLoop& owner) : loop(owner) {}
    Attached(const Attached&) = delete;
    Attached& operator=(const Attached&) = delete;
    ~Attached() {
        if (ended != nullptr)
            *ended = true;
        // Nothing comes of this, and nothing breaks.
        Queue::main().async([] { FAIL() << "a task of a loop that was ending"; });
    }
    RunLoop& loop;
    bool* ended = nullptr;
};

TEST(TheAttachmentOfALoop, IsOneAndEndsWithIt) {
    bool ended = false;
    {
        RunLoop loop;
        auto& attached = loop.attachment<Attached>();
        EXPECT_EQ(&attached.loop, &loop);
        EXPECT_EQ(&loop.attachment<Attached>(), &attached);
        attached.ended = &ended;
        EXPECT_FALSE(ended);
    }
    EXPECT_TRUE(ended);
}

/// Adds another of itself when it is dropped, as an object does that cleans up on a queue.
struct AddsMoreWhenDropped {
    explicit AddsMoreWhenDropped(int times) : left(times) {}
    AddsMoreWhenDropped(const AddsMoreWhenDropped&) = delete;
    AddsMoreWhenDropped& operator=(const AddsMoreWhenDropped&) = delete;
    ~AddsMoreWhenDropped() {
        if (left == 0)
            return;
        auto next = std::make_shared<AddsMoreWhenDropped>(left - 1);
        Queue::main().async([next] { FAIL() << "a task of a loop that was ending"; });
        Queue::main().after(0s, [next] { FAIL() << "a timer of a loop that was ending"; });
    }
    int left;
};

TEST(ALoopThatEnds, DropsWhatHasNotRun) {
    const auto captured = std::make_shared<int>(1);
    {
        RunLoop loop;
        Queue::main().async([captured] { FAIL() << "a task of a loop that never ran"; });
        Queue::serial("q").after(0s, [captured] { FAIL() << "a timer of a loop that never ran"; });
        Queue::main().async([dropped = std::make_shared<AddsMoreWhenDropped>(3), captured] {});
        EXPECT_EQ(captured.use_count(), 4);
    }
    EXPECT_EQ(captured.use_count(), 1);
}

TEST(ALoopThatEnds, ClosesItsDescriptors) {
    const int lowest = ::dup(0);
    ::close(lowest);
    for (int time = 0; time < 100; ++time) {
        RunLoop loop;
        Queue::main().after(0s, [] {});
        loop.runOnce(0s);
    }
    const int again = ::dup(0);
    EXPECT_EQ(again, lowest);
    ::close(again);
}

} // namespace
