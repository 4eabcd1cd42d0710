#include "Platform/Files/Flusher.h"

#include "Platform/Files/Flush.h"
#include "Platform/Loop/Queue.h"
#include "Platform/Loop/RunLoop.h"
#include "Support/FailingCalls.h"

#include <gtest/gtest.h>

#include <pthread.h>
#include <sys/syscall.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <future>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <thread>
#include <utility>

namespace {

using Platform::Error;
using Platform::Flusher;
using Platform::Queue;
using Platform::RunLoop;

class AFlusher : public testing::Test {
protected:
    std::optional<RunLoop> runLoop{std::in_place};
};

TEST_F(AFlusher, WorksOnAnotherThreadAndEndsOnTheQueueThatItWasCalledOn) {
    const auto queue = Queue::serial("caller");
    std::thread::id worker;
    std::optional<Queue> endQueue;
    std::thread::id endThread;
    queue.async([&] {
        Flusher::perform(
            [&worker] {
                worker = std::this_thread::get_id();
                return std::nullopt;
            },
            [&](const auto& error) {
                EXPECT_EQ(error, std::nullopt);
                endQueue = Queue::current();
                endThread = std::this_thread::get_id();
            });
    });
    ASSERT_TRUE(runLoop->runUntil([&] { return endQueue.has_value(); }));
    EXPECT_EQ(*endQueue, queue);
    EXPECT_EQ(endThread, std::this_thread::get_id());
    EXPECT_NE(worker, std::thread::id());
    EXPECT_NE(worker, endThread);
}

TEST_F(AFlusher, HandsTheErrorOfTheWorkOn) {
    std::optional<Error> result;
    Flusher::perform([] { return Error{"d", 7, "t"}; }, [&](const auto& error) { result = error; });
    ASSERT_TRUE(runLoop->runUntil([&] { return result.has_value(); }));
    EXPECT_EQ(*result, (Error{"d", 7, "t"}));
}

TEST_F(AFlusher, TakesAnyExceptionForAFailureToFlush) {
    for (const bool isStandard : {true, false}) {
        std::optional<Error> result;
        Flusher::perform(
            [isStandard]() -> std::optional<Error> {
                if (isStandard)
                    throw std::runtime_error("none");
                throw 7;
            },
            [&](const auto& error) { result = error; });
        ASSERT_TRUE(runLoop->runUntil([&] { return result.has_value(); }));
        EXPECT_TRUE(Platform::Flush::hasFailed(result));
        EXPECT_EQ(result->code, ENOMEM);
    }
}

TEST_F(AFlusher, KeepsSignalsFromItsThreads) {
    bool done = false;
    bool isBlocked = false;
    Flusher::perform(
        [&isBlocked] {
            sigset_t mask{};
            pthread_sigmask(SIG_SETMASK, nullptr, &mask);
            isBlocked = sigismember(&mask, SIGTERM) == 1;
            return std::nullopt;
        },
        [&](const auto&) { done = true; });
    ASSERT_TRUE(runLoop->runUntil([&] { return done; }));
    EXPECT_TRUE(isBlocked);
    sigset_t mine{};
    pthread_sigmask(SIG_SETMASK, nullptr, &mine);
    EXPECT_EQ(sigismember(&mine, SIGTERM), 0);
}

TEST_F(AFlusher, UsesOneThreadForWorkThatComesOneAfterTheOther) {
    std::set<std::thread::id> threads;
    for (int round = 0; round < 3; ++round) {
        bool done = false;
        Flusher::perform(
            [&threads] {
                threads.insert(std::this_thread::get_id());
                return std::nullopt;
            },
            [&](const auto&) { done = true; });
        ASSERT_TRUE(runLoop->runUntil([&] { return done; }));
    }
    EXPECT_LE(threads.size(), 2U) << "a thread may still be on its way back";
}

/// Work that goes on until it is released.
class AFlusherAtWork : public AFlusher {
protected:
    void begin() {
        Flusher::perform(
            [this, released = wasReleased] {
                const int now = ++running;
                largest = std::max(largest.load(), now);
                released.wait();
                --running;
                return std::nullopt;
            },
            [this](const auto&) { ++ended; });
    }

    std::promise<void> release;
    std::shared_future<void> wasReleased = release.get_future().share();
    std::atomic<int> running = 0;
    std::atomic<int> largest = 0;
    int ended = 0;
};

TEST_F(AFlusherAtWork, WorksWithFourThreadsAndNoMore) {
    for (int count = 0; count < 6; ++count)
        begin();
    while (running != Flusher::maxThreads)
        std::this_thread::yield();
    EXPECT_EQ(ended, 0);
    release.set_value();
    ASSERT_TRUE(runLoop->runUntil([&] { return ended == 6; }));
    EXPECT_EQ(largest, 4);
}

TEST_F(AFlusherAtWork, DropsWhatWaitsWhenTheLoopEndsAndWaitsForWhatRuns) {
    for (int count = 0; count < Flusher::maxThreads; ++count)
        begin();
    while (running != Flusher::maxThreads)
        std::this_thread::yield();
    // What is dropped releases what runs.
    bool hasRun = false;
    std::shared_ptr<void> last(nullptr, [this](void*) { release.set_value(); });
    Flusher::perform(
        [&hasRun] {
            hasRun = true;
            return std::nullopt;
        },
        [last = std::exchange(last, nullptr)](const auto&) {});
    runLoop.reset();
    EXPECT_EQ(running, 0);
    EXPECT_FALSE(hasRun);
    EXPECT_EQ(ended, 0) << "there is no loop that could call";
}

TEST(AFlusherWithoutAThread, FailsAndTellsSoOnTheLoop) {
    std::optional<Error> result;
    TestSupport::runWithFailingCalls({SYS_clone, SYS_clone3}, EAGAIN, [&] {
        RunLoop loop;
        bool isInside = true;
        Flusher::perform([] { return std::nullopt; },
                         [&](const auto& error) {
                             EXPECT_FALSE(isInside) << "the end is never called in place";
                             result = error;
                         });
        isInside = false;
        loop.runUntil([&] { return result.has_value(); });
    });
    EXPECT_TRUE(Platform::Flush::hasFailed(result));
    EXPECT_EQ(result->code, EAGAIN);
}

} // namespace
