// What is decided for every operation alike: the transport by the release, anew at each call.

#include "Platform/Loop/Queue.h"
#include "ServiceFixture.h"
#include "Services/Catalogue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace ServicesTests {

namespace {

using Platform::Queue;
namespace Catalogue = Quenmark::Catalogue;
using TestSupport::HttpReply;

class APerformedOperation : public ServiceFixture {
protected:
    /// The queues on which the handlers of calls at these releases ran; all calls are made before the first response.
    std::vector<Queue> queuesOfCallsAt(const std::vector<double>& releases) {
        std::vector<std::optional<Queue>> queues(releases.size());
        std::size_t calls = 0;
        for (std::size_t call = 0; call < releases.size(); ++call) {
            setRelease(releases[call]);
            server.enqueue(HttpReply::json("{}"));
            perform(Catalogue::getTopFileUpload, {}, [&, call](const auto&, std::int64_t status) {
                EXPECT_EQ(status, 0);
                queues[call] = Queue::current();
                ++calls;
            });
        }
        EXPECT_TRUE(runUntil([&] { return calls == releases.size(); }));
        std::vector<Queue> result;
        for (const auto& queue : queues)
            result.push_back(queue.value());
        return result;
    }
};

TEST_F(APerformedOperation, ChoosesTheTransportByTheReleaseAtEachCall) {
    const auto queues = queuesOfCallsAt({1137.9, 1138.0, 1343.0, 1342.9, 1138.6, 0.0, 2000.0});
    const std::vector<bool> onMainQueue{true, false, true, false, false, true, true};
    for (std::size_t call = 0; call < queues.size(); ++call)
        EXPECT_EQ(queues[call] == Queue::main(), onMainQueue[call]) << call;
}

TEST_F(APerformedOperation, GivesEachCallAQueueOfItsOwnOnOldReleases) {
    const auto queues = queuesOfCallsAt({1138.0, 1138.0, 1138.0});
    EXPECT_NE(queues[0], queues[1]);
    EXPECT_NE(queues[1], queues[2]);
    EXPECT_NE(queues[0], queues[2]);
}

TEST_F(APerformedOperation, MayBeCalledFromAnyThread) {
    server.setHandler([](const auto& request) { return HttpReply::json(R"({"FileName": )" + request.body + "}"); });
    const auto loopThread = std::this_thread::get_id();
    std::size_t responses = 0;
    std::size_t rawResponses = 0;
    std::thread caller([&] {
        for (int call = 0; call < 300; ++call) {
            Quenmark::GetTopFileUploadQuery query;
            query.toComputerId = std::to_string(call);
            perform(Catalogue::getTopFileUpload, query, [&](const auto& result, std::int64_t status) {
                EXPECT_EQ(status, 0);
                EXPECT_NE(result.value(), nullptr);
                EXPECT_EQ(std::this_thread::get_id(), loopThread);
                EXPECT_EQ(Queue::current(), Queue::main());
                ++responses;
            });
            if (call % 10 == 0)
                perform(Catalogue::getTopFileUploadWithStream, query,
                        [&](const auto&, const auto&, std::int64_t status) {
                            EXPECT_EQ(status, 0);
                            EXPECT_EQ(std::this_thread::get_id(), loopThread);
                            ++rawResponses;
                        });
        }
    });
    EXPECT_TRUE(runUntil([&] { return responses == 300 && rawResponses == 30; })) << responses << ' ' << rawResponses;
    caller.join();
    EXPECT_EQ(server.requests().size(), 330U);
}

TEST_F(APerformedOperation, ServesManyCallsAtOnce) {
    for (const double release : {release10_10, release10_7}) {
        setRelease(release);
        server.setHandler([](const auto& request) { return HttpReply::json(R"({"FileName": )" + request.body + "}"); });
        std::vector<std::string> names;
        for (int call = 0; call < 50; ++call) {
            Quenmark::GetTopFileUploadQuery query;
            query.toComputerId = std::to_string(call);
            perform(Catalogue::getTopFileUpload, query, [&names](auto result, std::int64_t) {
                names.emplace_back(result.value()->fileName->at("ToComputerID").as_string());
            });
        }
        ASSERT_TRUE(runUntil([&] { return names.size() == 50; }));
        std::sort(names.begin(), names.end());
        EXPECT_EQ(std::unique(names.begin(), names.end()), names.end());
    }
}

TEST_F(APerformedOperation, ReleasesTheHandlerAfterItsCall) {
    for (const double release : {release10_10, release10_7}) {
        setRelease(release);
        server.enqueue(HttpReply::json("{}"));
        auto held = std::make_shared<int>(0);
        const std::weak_ptr<int> watched = held;
        perform(Catalogue::getTopFileUpload, {}, [held](const auto&, std::int64_t) { ++*held; });
        held.reset();
        EXPECT_FALSE(watched.expired());
        ASSERT_TRUE(runUntil([&] { return watched.expired(); }));
    }
}

TEST_F(APerformedOperation, ReportsAResponseWhoseRecordsTakeTooMuchMemory) {
    for (const double release : {release10_10, release10_7}) {
        setRelease(release);
        std::string list = "{}";
        for (int element = 0; element < 500'000; ++element)
            list += ",{}";
        server.enqueue(HttpReply::json(R"({"FileToTransfer": [)" + list + "]}"));
        std::optional<Platform::Error> error;
        std::int64_t status = 0;
        perform(Catalogue::getSharedFilesTransferData, {}, [&](const auto& result, std::int64_t reported) {
            ASSERT_NE(result.error(), nullptr);
            error = *result.error();
            status = reported;
        });
        ASSERT_TRUE(runUntil([&] { return error.has_value(); }));
        EXPECT_EQ(status, 5);
        EXPECT_EQ(*error, (Platform::Error{"JSON", 3840, "the records of the response take more than 256 MiB"}));
    }
}

TEST_F(APerformedOperation, SurvivesAHandlerThatThrows) {
    for (const double release : {release10_10, release10_7}) {
        setRelease(release);
        log.clear();
        server.enqueue(HttpReply::json("{}"));
        perform(Catalogue::getTopFileUpload, {},
                [](const auto&, std::int64_t) { throw std::runtime_error("thrown by the handler"); });
        ASSERT_TRUE(runUntil([&] { return log.entries().size() == 3; }));
        EXPECT_TRUE(log.entries()[2].ends_with(": thrown by the handler")) << log.entries()[2];
        EXPECT_EQ(queuesOfCallsAt({release}).size(), 1U);
    }
}

} // namespace

} // namespace ServicesTests
