// What a loop says of itself: its turns, its thread, its errors, and the descriptors that it opens.

#include "Platform/Loop/Queue.h"
#include "Platform/Loop/RunLoop.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Platform::Queue;
using Platform::RunLoop;

/// What the function's exception says.
std::string saidBy(const std::function<void()>& function) {
    try {
        function();
    } catch (const std::logic_error& error) {
        return error.what();
    }
    return "nothing";
}

std::set<int> openDescriptorNumbers() {
    std::set<int> numbers;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        numbers.insert(std::stoi(entry.path().filename().string()));
    return numbers;
}

TEST(TheLoopOfAProcess, IsOneAndKnowsItsThread) {
    EXPECT_EQ(saidBy([] { RunLoop::main(); }), "this process has no run loop");
    EXPECT_FALSE(RunLoop::isCurrentThread());
    EXPECT_EQ(RunLoop::currentTurn(), std::nullopt);
    const RunLoop loop;
    EXPECT_EQ(saidBy([] { const RunLoop second; }), "this process has a run loop already");
    EXPECT_TRUE(RunLoop::isCurrentThread());
    std::thread([] {
        EXPECT_TRUE(RunLoop::exists());
        EXPECT_FALSE(RunLoop::isCurrentThread());
        EXPECT_EQ(RunLoop::currentTurn(), std::nullopt);
    }).join();
}

TEST(TheLoopOfAProcess, HandsItsDescriptorsToNoProgramThatIsStarted) {
    const auto before = openDescriptorNumbers();
    RunLoop loop;
    loop.runOnce(0s);
    std::size_t opened = 0;
    for (const int number : openDescriptorNumbers()) {
        const int flags = ::fcntl(number, F_GETFD);
        if (before.contains(number) || flags < 0)
            continue;
        EXPECT_EQ(flags, FD_CLOEXEC) << number;
        ++opened;
    }
    EXPECT_GE(opened, 2U);
}

TEST(ATurnOfALoop, HasANumberOfItsOwnThatItsTasksShare) {
    RunLoop loop;
    EXPECT_EQ(RunLoop::currentTurn(), std::nullopt);
    std::vector<std::optional<std::uint64_t>> turns;
    const auto note = [&] { turns.push_back(RunLoop::currentTurn()); };
    Queue::main().async(note);
    Queue::serial("other").async([&] {
        note();
        Queue::main().async(note);
    });
    loop.runOnce(0s);
    EXPECT_EQ(RunLoop::currentTurn(), std::nullopt);
    ASSERT_EQ(turns.size(), 3U);
    EXPECT_TRUE(turns[0]);
    EXPECT_EQ(turns[0], turns[1]);
    EXPECT_EQ(turns[1], turns[2]);
    Queue::main().async(note);
    loop.runOnce(0s);
    ASSERT_EQ(turns.size(), 4U);
    EXPECT_GT(turns[3], turns[0]);
}

TEST(ATurnOfALoop, IsAnotherOneAfterATaskHasWaited) {
    RunLoop loop;
    std::optional<std::uint64_t> before;
    std::optional<std::uint64_t> after;
    bool met = false;
    Queue::main().async([&] {
        before = RunLoop::currentTurn();
        Queue::main().async([&] { met = true; });
        loop.runUntil([&] { return met; });
        loop.runOnce(0s);
        after = RunLoop::currentTurn();
    });
    loop.runOnce(0s);
    ASSERT_TRUE(before && after);
    EXPECT_GT(*after, *before);
}

TEST(AnExceptionInALoop, IsLoggedAsAnErrorWhateverItIs) {
    const TestSupport::LogCapture log;
    RunLoop loop;
    int handled = 0;
    loop.setExceptionHandler([&](const std::exception&) { ++handled; });
    Queue::main().async([] { throw 42; }); // NOLINT(hicpp-exception-baseclass): the worst that a task may do
    Queue::serial("mine").async([] { throw std::runtime_error("no good"); });
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    std::unique_ptr<Platform::DescriptorWatch> watch = loop.watch(ends[1], EPOLLOUT, [&](auto) {
        watch.reset();
        throw std::runtime_error("worse");
    });
    ASSERT_TRUE(loop.runUntil([&] { return log.entries().size() == 3; }));
    EXPECT_EQ(log.entries(), (std::vector<std::string>{"Uncaught exception on main: not a std::exception",
                                                       "Uncaught exception on mine: no good",
                                                       "Uncaught exception on a descriptor: worse"}));
    for (const auto& entry : log.entries())
        EXPECT_EQ(log.priorityOf(entry), Platform::Log::Priority::Error);
    EXPECT_EQ(handled, 2);
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(ATimerOfALoop, IsDueAtItsDeadlineAndNotBefore) {
    Platform::ManualClock clock;
    RunLoop loop(clock);
    clock.advance(5s);
    EXPECT_EQ(loop.now(), Platform::Duration(5s));
    EXPECT_EQ(&loop.clock(), &clock);
    bool fired = false;
    const auto timer = Queue::main().timer(1s, [&] { fired = true; });
    clock.advance(1s - 1ns);
    loop.runOnce(0s);
    EXPECT_FALSE(fired);
    clock.advance(1ns);
    loop.runOnce(0s);
    EXPECT_TRUE(fired);
    bool late = false;
    const auto overdue = Queue::main().timer(-5s, [&] { late = true; });
    EXPECT_TRUE(overdue.isScheduled());
    loop.runOnce(0s);
    EXPECT_TRUE(late);
    EXPECT_FALSE(overdue.isScheduled());
}

TEST(ALoopThatWaits, IsWokenByAnotherThreadThoughItHasADistantTimer) {
    RunLoop loop;
    const auto distant = Queue::main().timer(1h, [] {});
    std::atomic<bool> done = false;
    std::thread other([&] { Queue::main().async([&] { done = true; }); });
    EXPECT_TRUE(loop.runUntil([&] { return done.load(); }));
    other.join();
}

} // namespace
