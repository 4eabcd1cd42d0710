// How much of an upload was sent, as its caller is told.

#include "ConnectorReports.h"
#include "ServiceFixture.h"
#include "Services/RestConnector.h"
#include "Support/TemporaryDirectory.h"

#include <boost/json/object.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace ServicesTests {

namespace {

using TestSupport::HttpReply;
using Progress = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

/// The path as the web service writes it.
std::string windowsForm(std::string path) {
    std::replace(path.begin(), path.end(), '/', '\\');
    return path.substr(1);
}

/// The clock stands still unless the test moves it.
class TheProgressOfAnUpload : public ManualTimeFixture {
protected:
    /// Starts the upload of a file of that content.
    void upload(const std::string& content) {
        auto withProgress = context;
        withProgress.uploadProgress = [this](std::uint64_t sent, std::uint64_t total) {
            progress.emplace_back(sent, total);
            onMainQueue = onMainQueue && Platform::Queue::current() == Platform::Queue::main();
            EXPECT_TRUE(reports.all.empty()) << "progress behind the end";
        };
        std::make_shared<Quenmark::RestConnector>(withProgress)
            ->startAsyncUploadWithStreamRequest("Downloads.svc/UpdateFileRequestWithStream",
                                                {{"FilePath", windowsForm(folder.write("report.bin", content))}},
                                                nullptr, reports.handler());
    }
    [[nodiscard]] bool awaitReport() {
        return runUntil([&] { return !reports.all.empty(); });
    }

    TestSupport::TemporaryDirectory folder;
    Reports<boost::json::value> reports{log};
    Progress progress;
    bool onMainQueue = true;
};

TEST_F(TheProgressOfAnUpload, GrowsWhileTheFileIsSentAndEndsWithAllOfIt) {
    server.enqueue(HttpReply::json("{}"));
    upload(std::string(std::size_t(16) << 20, 'x'));
    ASSERT_TRUE(runUntil([&] {
        clock.advance(std::chrono::milliseconds(100));
        return !reports.all.empty();
    }));
    EXPECT_EQ(reports.all[0].status, 0U);
    ASSERT_GT(progress.size(), 2U);
    EXPECT_GT(progress.front().first, 0U);
    EXPECT_LT(progress.front().first, 16777216U);
    for (std::size_t i = 1; i < progress.size(); ++i)
        EXPECT_LT(progress[i - 1].first, progress[i].first);
    for (const auto& [sent, total] : progress)
        EXPECT_EQ(total, 16777216U);
    EXPECT_EQ(progress.back().first, 16777216U);
    EXPECT_TRUE(onMainQueue);
}

TEST_F(TheProgressOfAnUpload, IsToldOnceInATenthOfASecondAtMost) {
    server.enqueue(HttpReply::json("{}"));
    upload(std::string(std::size_t(1) << 20, 'x'));
    clock.advance(std::chrono::microseconds(99999));
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(progress, (Progress{{1048576, 1048576}}));
}

TEST_F(TheProgressOfAnUpload, IsNotToldAgainWhileNothingIsSent) {
    server.enqueue(HttpReply::silence());
    upload("content");
    ASSERT_TRUE(runUntil([&] { return server.requests().size() == 1; }));
    for (int tenths = 0; tenths < 5; ++tenths) {
        clock.advance(std::chrono::milliseconds(100));
        loop.runOnce({});
    }
    EXPECT_EQ(progress, (Progress{{7, 7}}));
    server.send(0, HttpReply::json("{}").bytes());
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(progress, (Progress{{7, 7}}));
}

TEST_F(TheProgressOfAnUpload, SaysNothingOfAnEmptyFile) {
    server.enqueue(HttpReply::json("{}"));
    upload("");
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 0U);
    EXPECT_EQ(progress, Progress{});
}

TEST_F(TheProgressOfAnUpload, DoesNotCallARefusedFileSent) {
    for (const auto& [status, expected] : {std::pair(399, Progress{{7, 7}}), std::pair(400, Progress{})}) {
        reports.all.clear();
        progress.clear();
        server.enqueue(HttpReply::status(status, "{}"));
        upload("content");
        ASSERT_TRUE(awaitReport());
        EXPECT_EQ(reports.all[0].status, 0U);
        EXPECT_EQ(progress, expected) << status;
    }
}

TEST_F(TheProgressOfAnUpload, EndsWithAnUploadThatFails) {
    server.enqueue(HttpReply::silence().thenReset());
    upload("content");
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 2U);
    clock.advance(std::chrono::seconds(1));
    loop.runOnce({});
    EXPECT_EQ(progress, Progress{});
}

TEST_F(TheProgressOfAnUpload, MayThrowAndTheUploadHasFinished) {
    server.enqueue(HttpReply::json("{}"));
    auto withProgress = context;
    int calls = 0;
    withProgress.uploadProgress = [&](std::uint64_t, std::uint64_t) {
        ++calls;
        throw std::runtime_error("a mistake of the caller");
    };
    std::make_shared<Quenmark::RestConnector>(withProgress)
        ->startAsyncUploadWithStreamRequest("Downloads.svc/UpdateFileRequestWithStream",
                                            {{"FilePath", windowsForm(folder.write("report.bin", "content"))}}, nullptr,
                                            reports.handler());
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 0U);
    EXPECT_EQ(calls, 1);
}

TEST_F(TheProgressOfAnUpload, MayEndTheUploadByRunningTheLoop) {
    server.enqueue(HttpReply::json("{}"));
    auto withProgress = context;
    int calls = 0;
    withProgress.uploadProgress = [&](std::uint64_t, std::uint64_t) {
        if (++calls == 1) {
            EXPECT_TRUE(awaitReport());
        }
    };
    std::make_shared<Quenmark::RestConnector>(withProgress)
        ->startAsyncUploadWithStreamRequest(
            "Downloads.svc/UpdateFileRequestWithStream",
            {{"FilePath", windowsForm(folder.write("report.bin", std::string(std::size_t(16) << 20, 'x')))}}, nullptr,
            reports.handler());
    ASSERT_TRUE(runUntil([&] {
        clock.advance(std::chrono::milliseconds(100));
        return calls > 0;
    }));
    EXPECT_EQ(reports.all.size(), 1U);
    EXPECT_EQ(calls, 2);
}

} // namespace

} // namespace ServicesTests
