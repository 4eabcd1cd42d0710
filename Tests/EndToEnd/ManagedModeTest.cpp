// What managed mode promises, by the real service: it begins by itself, has one engine, and places every item.

#include "EndToEnd/ManagedServiceFixture.h"
#include "Support/Namespaces.h"

#include <sched.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>

namespace Quenmark {

namespace fs = std::filesystem;
using TestSupport::BusPeer;
using TestSupport::HttpReply;
using TestSupport::HttpRequest;

class AManagedService : public ManagedServiceFixture {
protected:
    using Time = std::chrono::steady_clock::time_point;

    /// Says whether each of two calls, by two peers, has a request of its own while the server is silent. Needs a
    /// service whose engines have not polled yet, but for the one that begins by itself.
    bool hasAnEngineForEachCaller() {
        server.setHandler([](const HttpRequest&) { return HttpReply::silence(); });
        BusPeer first;
        BusPeer second;
        for (auto* peer : {&first, &second}) {
            askToStart(*peer);
            ping(*peer);
        }
        return pollUntil([&] { return count(pollTarget) == 2; });
    }
    void writeDeployment(const std::string& host, const std::string& mode) {
        home.setDeployment(R"({"serviceHost":")" + host + R"(","appKitVersionNumber":)" +
                           std::to_string(GetParam().release) + R"(,"mode":")" + mode + "\"}");
    }
};

TEST_P(AManagedService, BeginsWithoutACall) {
    send("a.txt", "content");
    ServiceProcess service(data.path());
    launch(service.host());
    ASSERT_TRUE(pollUntil([&] { return contentOf(placed("a.txt")) == "content"; }));
    EXPECT_TRUE(pollUntil([&] { return pendingItems(service) == 0; }));
}

TEST_P(AManagedService, HasOneChainOfPassesForAllItsCallers) {
    std::vector<Time> polls;
    server.setHandler([&](const HttpRequest&) {
        polls.push_back(std::chrono::steady_clock::now());
        return HttpReply::json(nothing);
    });
    launch(server.host());
    std::vector<std::unique_ptr<BusPeer>> peers;
    for (int call = 0; call < 5; ++call)
        askToStart(*peers.emplace_back(std::make_unique<BusPeer>()));
    for (const auto& peer : peers)
        ping(*peer);
    // Every call was taken: one more poll may follow at once, and then one every two seconds.
    const auto before = polls.size();
    ASSERT_TRUE(pollUntil([&] { return polls.size() >= before + 4; }));
    EXPECT_LE(before, 6U) << "a poll for the start and one for each call at most";
    for (auto next = before + 2; next < before + 4; ++next)
        EXPECT_GE(polls[next] - polls[next - 1], std::chrono::milliseconds(1900));
}

TEST_P(AManagedService, ReplacesAnOlderFileAndMakesAnEmptyOne) {
    home.write("Quenmark/a.txt", "a longer old content");
    send("a.txt", "new");
    send("empty.txt", "");
    ServiceProcess service(data.path());
    launch(service.host());
    ASSERT_TRUE(pollUntil([&] { return contentOf(placed("a.txt")) == "new"; }));
    ASSERT_TRUE(pollUntil([&] { return contentOf(placed("empty.txt")) == ""; }));
    ASSERT_TRUE(pollUntil([&] { return pendingItems(service) == 0; }));
    EXPECT_FALSE(exists(temporary("a.txt")));
    EXPECT_FALSE(exists(temporary("empty.txt")));
}

TEST_P(AManagedService, MakesTheFoldersThatAreMissing) {
    offer(R"(\\A\\B\\c.txt)", "\\A\\B\\c.txt");
    launch(server.host());
    ASSERT_TRUE(pollUntil([&] { return count(acknowledgeTarget) == 1; }));
    EXPECT_EQ(contentOf(placed("A/B/c.txt")), wholeContent);
}

TEST_P(AManagedService, NeverMakesTheFolderThatHoldsTheQuenmarkFolder) {
    send("a.txt", "content");
    const std::string disk = home.path("disk");
    setPreferences("7", disk);
    ServiceProcess service(data.path());
    launch(service.host());
    ASSERT_TRUE(bus->waitForLog("not writable: " + disk + " (\\a.txt, HTTP 200); the next attempt follows in "));
    EXPECT_FALSE(exists(disk));
    EXPECT_EQ(pendingItems(service), 1);
    fs::create_directories(disk);
    EXPECT_TRUE(pollUntil([&] { return contentOf(disk + "/Quenmark/a.txt") == "content"; }));
    EXPECT_TRUE(pollUntil([&] { return pendingItems(service) == 0; }));
}

TEST_P(AManagedService, RefusesANameThatLeavesTheFolder) {
    server.setHandler([&](const HttpRequest& request) {
        if (request.target == pollTarget)
            return HttpReply::json(item(count(pollTarget) == 1 ? R"(\\..\\a.txt)" : R"(\\a.txt)"));
        return request.target == streamTarget ? HttpReply::ok(wholeContent, streamHeaders("\\..\\a.txt"))
                                              : HttpReply::json(confirmed);
    });
    launch(server.host());
    ASSERT_TRUE(bus->waitForLog("name leaves the folder (\\..\\a.txt); the next attempt follows in 2 s"));
    EXPECT_EQ(count(streamTarget), 0U);
    ASSERT_TRUE(bus->waitForLog("name leaves the folder (\\a.txt, HTTP 200); the next attempt follows in 4 s"));
    EXPECT_EQ(count(streamTarget), 1U);
    EXPECT_FALSE(exists(home.path("a.txt")) || exists(home.temporary().path("a.txt")));
    EXPECT_FALSE(exists(placed("a.txt")) || exists(temporary("a.txt")));
    EXPECT_EQ(count(acknowledgeTarget), 0U);
    offer(R"(\\a.txt)", "\\a.txt");
    ASSERT_TRUE(pollUntil([&] { return count(acknowledgeTarget) == 1; }));
    EXPECT_EQ(contentOf(placed("a.txt")), wholeContent);
}

TEST_P(AManagedService, DiscardsThePartialFileOfAnotherItem) {
    server.setHandler([&](const HttpRequest& request) {
        if (request.target == pollTarget)
            return HttpReply::json(itemWith(count(pollTarget) == 1 ? "11" : "12"));
        if (request.target != streamTarget)
            return HttpReply::json(confirmed);
        auto headers = streamHeaders("\\a.txt");
        if (count(streamTarget) > 1)
            return HttpReply::ok("another", headers);
        headers[3].second = "11";
        const auto whole = HttpReply::ok("0123456789", headers);
        return whole.cutAfter(whole.bytes().size() - 6).thenClose();
    });
    launch(server.host());
    ASSERT_TRUE(pollUntil([&] { return count(acknowledgeTarget) == 1; }));
    EXPECT_EQ(offsets(), (std::vector<std::size_t>{0, 0}));
    EXPECT_EQ(contentOf(placed("a.txt")), "another");
}

/// A poll that finds nothing is in between, so that each failure is the first in a row.
TEST_P(AManagedService, BringsAnItemFromAServerThatBreaksOffAtEveryStage) {
    send("a.txt", wholeContent);
    const ServiceProcess service(data.path());
    const std::size_t header = downloadHeaderSize(service);
    const std::string nothingPending = R"({"kind":"body","text":"{\"ReturnStatus\":\"1\"}"})";
    planFaults(service,
               {fault(pollOperation, R"({"kind":"reset","afterBytes":0})"), fault(pollOperation, nothingPending, 1),
                fault(streamOperation, R"({"kind":"close","afterBytes":)" + std::to_string(header + 7) + "}"),
                fault(pollOperation, nothingPending, 3),
                fault(acknowledgeOperation, R"({"kind":"reset","afterBytes":21})")});
    launch(service.host());
    // Four are broken or empty, one offers the rest of the item, and after its acknowledgement there is none.
    ASSERT_TRUE(pollUntil([&] { return std::ranges::count(sentBytes(service, pollOperation), ' ') >= 6; }));
    EXPECT_EQ(contentOf(placed("a.txt")), wholeContent);
    EXPECT_FALSE(exists(temporary("a.txt")));
    EXPECT_EQ(pendingItems(service), 0);
    // What the test itself received, seven bytes of eleven, and four; that length has a digit less.
    EXPECT_EQ(sentBytes(service, streamOperation), std::to_string(header + 11) + ' ' + std::to_string(header + 7) +
                                                       ' ' + std::to_string(header - 1 + 4) + ' ');
    EXPECT_EQ(sentBytes(service, acknowledgeOperation), "21 ");
}

TEST_P(AManagedService, RepeatsALostAcknowledgementWithoutADownload) {
    server.enqueue(acknowledgeTarget, HttpReply::raw("").thenReset());
    offer(R"(\\a.txt)", "\\a.txt");
    launch(server.host());
    ASSERT_TRUE(pollUntil([&] { return confirmations == 1; }));
    EXPECT_EQ(count(acknowledgeTarget), 2U);
    EXPECT_EQ(count(streamTarget), 1U);
    EXPECT_EQ(contentOf(placed("a.txt")), wholeContent);
}

TEST_P(AManagedService, RepeatsALostAcknowledgementAlsoWhenItWasKilled) {
    server.enqueue(acknowledgeTarget, HttpReply::silence());
    offer(R"(\\a.txt)", "\\a.txt");
    launch(server.host());
    ASSERT_TRUE(pollUntil([&] { return count(acknowledgeTarget) == 1; }));
    killService();
    server.reset(last(acknowledgeTarget).connection);
    EXPECT_EQ(contentOf(placed("a.txt")), wholeContent);
    BusPeer peer;
    ping(peer);
    ASSERT_TRUE(pollUntil([&] { return confirmations == 1; }));
    EXPECT_EQ(count(acknowledgeTarget), 2U);
    EXPECT_EQ(count(streamTarget), 1U);
    EXPECT_EQ(contentOf(placed("a.txt")), wholeContent);
}

TEST_P(AManagedService, ContinuesADownloadWhenItWasKilled) {
    send("a.txt", wholeContent);
    const ServiceProcess service(data.path());
    const std::size_t header = downloadHeaderSize(service);
    planFaults(service, {fault(streamOperation,
                               R"({"kind":"stall","seconds":3600,"afterBytes":)" + std::to_string(header + 7) + "}")});
    launch(service.host());
    ASSERT_TRUE(pollUntil([&] { return contentOf(temporary("a.txt")) == "the con"; }));
    killService();
    BusPeer peer;
    ping(peer);
    ASSERT_TRUE(pollUntil([&] { return pendingItems(service) == 0; }));
    EXPECT_EQ(contentOf(placed("a.txt")), wholeContent);
    EXPECT_EQ(sentBytes(service, streamOperation), std::to_string(header + 11) + ' ' + std::to_string(header + 7) +
                                                       ' ' + std::to_string(header - 1 + 4) + ' ');
}

TEST_P(AManagedService, BringsManyItemsOneRightAfterTheOther) {
    constexpr int items = 30;
    for (int item = 0; item < items; ++item)
        send("item" + std::to_string(item), "content of " + std::to_string(item));
    ServiceProcess service(data.path());
    const auto begin = std::chrono::steady_clock::now();
    launch(service.host());
    ASSERT_TRUE(pollUntil([&] { return pendingItems(service) == 0; }));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2 * items) / 2)
        << "two seconds between them would take twice as long";
    for (int item = 0; item < items; ++item)
        EXPECT_EQ(contentOf(placed("item" + std::to_string(item))), "content of " + std::to_string(item));
}

TEST_P(AManagedService, IsACompatibleOneWhereItsModeIsNone) {
    deploy(server.host());
    writeDeployment(server.host(), "Managed");
    BusPeer peer;
    ping(peer);
    EXPECT_TRUE(hasAnEngineForEachCaller());
    EXPECT_TRUE(bus->waitForLog(R"(deployment.json: "mode" is not "compatible" or "managed" and counts as absent: )"
                                "Managed"));
}

TEST_P(AManagedService, StaysOneUntilItIsStartedAgain) {
    server.setHandler([](const HttpRequest&) { return HttpReply::silence(); });
    launch(server.host());
    ASSERT_TRUE(pollUntil([&] { return count(pollTarget) == 1; }));
    writeDeployment(server.host(), "compatible");
    const auto connection = last(pollTarget).connection;
    for (int call = 0; call < 2; ++call) {
        BusPeer peer;
        askToStart(peer);
        ping(peer);
    }
    server.send(connection, HttpReply::json(nothing).bytes());
    ASSERT_TRUE(pollUntil([&] { return count(pollTarget) > 1; }));
    EXPECT_EQ(count(pollTarget), 2U) << "both calls asked the one engine";
    killService();
    server.forgetRequests();
    BusPeer peer;
    ping(peer);
    EXPECT_TRUE(hasAnEngineForEachCaller()) << "and none that began by itself";
}

TEST_P(AManagedService, FollowsTheHostThatItsSettingsNameAfterOneThatIsNotFound) {
    send("a.txt", "content");
    ServiceProcess service(data.path());
    launch("nowhere.invalid:80");
    ASSERT_TRUE(pollUntil([&] {
        return bus->log().find("transport -1003 (The host name was not found") != std::string::npos ||
               bus->log().find("connection not availble") != std::string::npos;
    }));
    writeDeployment(service.host(), "managed");
    EXPECT_TRUE(pollUntil([&] { return contentOf(placed("a.txt")) == "content"; }));
    EXPECT_TRUE(pollUntil([&] { return pendingItems(service) == 0; }));
}

INSTANTIATE_TEST_SUITE_P(Variations, AManagedService, ::testing::Values(managedModern, managedBetween, managedWrapper),
                         [](const auto& suite) { return suite.param.name; });

class AMachineWithoutNetwork : public ::testing::TestWithParam<Variation> {
protected:
    /// A service in a network namespace of its own.
    class Inside : public ManagedServiceFixture {
    public:
        Inside() { TestSupport::ip("link set lo up"); }
        void fetchAcrossAnInterruption() {
            launch(server.host());
            // No request is under way, which would wait for its timeout.
            ASSERT_TRUE(pollUntil(
                [&] { return count(pollTarget) >= 2 && server.unsentBytes(last(pollTarget).connection) == 0; }));
            TestSupport::ip("link set lo down");
            ASSERT_TRUE(bus->waitForLog("connection not availble........"));
            offer(R"(\\a.txt)", "\\a.txt");
            TestSupport::ip("link set lo up");
            ASSERT_TRUE(pollUntil([&] { return confirmations == 1; }));
            EXPECT_EQ(contentOf(placed("a.txt")), wholeContent);
            EXPECT_EQ(count(streamTarget), 1U);
        }

    private:
        void TestBody() override {}
    };
};

TEST_P(AMachineWithoutNetwork, FetchesWhenItIsBack) {
    EXPECT_TRUE(TestSupport::succeedsInNamespaces(CLONE_NEWNET, [] {
        Inside().fetchAcrossAnInterruption();
        return !HasFailure();
    }));
}

INSTANTIATE_TEST_SUITE_P(Variations, AMachineWithoutNetwork,
                         ::testing::Values(managedModern, managedBetween, managedWrapper),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
