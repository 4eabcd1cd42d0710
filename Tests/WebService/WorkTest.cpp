// Work that is done in slices.

#include "WebService/Common/Work.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace webservice {

namespace {

constexpr std::chrono::seconds noTime{0};
constexpr std::chrono::hours longTime{1};

Work<int> doubled(int number) {
    co_await pause();
    co_return 2 * number;
}

Work<> collect(std::vector<int>& results, int count) {
    for (int i = 0; i < count; ++i)
        results.push_back(co_await doubled(i));
}

Work<int> failing() {
    co_await pause();
    throw std::runtime_error("broken");
}

Work<std::string> recovering() {
    try {
        co_await failing();
    } catch (const std::runtime_error& error) {
        co_return error.what();
    }
    co_return "";
}

} // namespace

TEST(WorkInSlices, GoesOnWhereItPaused) {
    std::vector<int> results;
    Job<> job(collect(results, 3));
    std::vector<std::size_t> progress;
    while (!job.run(noTime))
        progress.push_back(results.size());
    EXPECT_EQ(progress, std::vector<std::size_t>({0, 1, 2}));
    EXPECT_EQ(results, std::vector<int>({0, 2, 4}));
}

TEST(WorkInSlices, DoesNotPauseBeforeItsSliceIsOver) {
    std::vector<int> results;
    Job<> job(collect(results, 3));
    EXPECT_TRUE(job.run(longTime));
    EXPECT_EQ(results.size(), 3U);
}

TEST(WorkInSlices, HandsExceptionsToWhoeverAwaitsIt) {
    EXPECT_EQ(runToEnd(recovering()), "broken");
    Job<int> job(failing());
    EXPECT_FALSE(job.run(noTime));
    EXPECT_TRUE(job.run(noTime));
    EXPECT_THROW(job.take(), std::runtime_error);
}

TEST(WorkInSlices, MayBeAbandonedAtAPause) {
    std::vector<int> results;
    {
        Job<> job(collect(results, 3));
        EXPECT_FALSE(job.run(noTime));
    }
    EXPECT_TRUE(results.empty());
}

TEST(WorkInSlices, NeedsNoStackForThePiecesThatFollowOneAnother) {
    std::vector<int> results;
    runToEnd(collect(results, 300'000));
    EXPECT_EQ(results.back(), 599'998);
}

} // namespace webservice
