// quenmark stop: whom it ends, how long it waits, and what it refuses.

#include "Platform/Files/Files.h"
#include "Platform/Loop/Signals.h"
#include "StatusPeer.h"
#include "Support/PrivateBus.h"
#include "ToolFixture.h"
#include "Tools/ServiceStop.h"

#include <csignal>
#include <optional>

namespace ToolTest {

using Platform::Ipc::PeerIdentity;
using Tools::reasonNotToEnd;
using Tools::ServiceStop;

namespace {

PeerIdentity identity(std::uint32_t user, std::uint32_t process) {
    return {user, PeerIdentity::unset, process, PeerIdentity::unset};
}

class AStop : public AQuenmarkTool {
protected:
    std::optional<TestSupport::PrivateBus> bus;
};

/// The stop itself, on a clock of the test's own.
class AServiceStop : public testing::Test {
protected:
    /// How it ended: "ran" or "did not run", or the failure's status and text.
    std::string outcome() {
        loop.runUntil([&] { return !outcomes.empty(); });
        if (outcomes.size() != 1)
            return std::to_string(outcomes.size()) + " outcomes";
        const auto& failure = outcomes[0].failure;
        if (failure)
            return std::to_string(static_cast<int>(failure->status())) + " " + failure->what();
        return outcomes[0].hasRun ? "ran" : "did not run";
    }

    Platform::ManualClock clock;
    Platform::RunLoop loop{clock};
    TestSupport::PrivateBus bus;
    std::vector<ServiceStop::Outcome> outcomes;
    ServiceStop stop{[this](const ServiceStop::Outcome& outcome) { outcomes.push_back(outcome); }};
};

} // namespace

TEST(TheServicesProcess, IsEndedWhereItIsThisUsersOnThisMachine) {
    EXPECT_EQ(reasonNotToEnd(identity(1000, 20), identity(1000, 10), 10), std::nullopt);
    EXPECT_EQ(reasonNotToEnd(identity(0, 20), identity(0, 10), 10), std::nullopt);
    EXPECT_EQ(reasonNotToEnd(identity(1000, 20), identity(0, 10), 10), "it belongs to user 1000");
    EXPECT_EQ(reasonNotToEnd(identity(1000, 20), identity(1000, 11), 10),
              "the session bus is that of another machine or container");
    EXPECT_EQ(reasonNotToEnd(identity(1000, 20), identity(1000, PeerIdentity::unset), 10),
              "the session bus is that of another machine or container");
    EXPECT_EQ(reasonNotToEnd(identity(1000, PeerIdentity::unset), identity(1000, 10), 10),
              "the session bus does not tell its process");
    EXPECT_EQ(reasonNotToEnd(identity(PeerIdentity::unset, 20), identity(1000, 10), 10),
              "the session bus does not tell its process");
}

TEST_F(AServiceStop, WaitsUntilTheNameIsFree) {
    StatusPeer service;
    int signals = 0;
    const Platform::SignalWatch watch(SIGTERM, [&] { ++signals; });
    stop.start();
    ASSERT_TRUE(loop.runUntil([&] { return signals == 1; }));
    clock.advance(std::chrono::milliseconds(29'999));
    loop.processPending();
    EXPECT_TRUE(outcomes.empty());
    service.leave();
    EXPECT_EQ(outcome(), "ran");
    EXPECT_EQ(signals, 1);
}

TEST_F(AServiceStop, EndsWhereTheServiceDoesNotEndIn30Seconds) {
    StatusPeer service;
    int signals = 0;
    const Platform::SignalWatch watch(SIGTERM, [&] { ++signals; });
    stop.start();
    ASSERT_TRUE(loop.runUntil([&] { return signals == 1; }));
    clock.advance(std::chrono::seconds(30));
    EXPECT_EQ(outcome(), "75 the service cannot be ended: it has not ended in time");
    service.leave();
    TestSupport::BusPeer().ownerOf("org.freedesktop.DBus");
    EXPECT_EQ(outcomes.size(), 1U);
}

TEST_F(AServiceStop, EndsWhereTheBusDoesNotAnswerIn30Seconds) {
    stop.start();
    clock.advance(std::chrono::seconds(30));
    loop.processPending();
    EXPECT_EQ(outcome(), "75 the service cannot be ended: the session bus does not answer in time");
}

TEST_F(AServiceStop, EndsWhereAnotherProcessTakesTheNameOver) {
    StatusPeer service;
    StatusPeer successor; // It is next in the queue of those that want the name.
    const Platform::SignalWatch watch(SIGTERM, [&] { service.leave(); });
    stop.start();
    EXPECT_EQ(outcome(), "75 the service cannot be ended: another process has its name now");
}

TEST_F(AServiceStop, SaysThatNothingRan) {
    stop.start();
    EXPECT_EQ(outcome(), "did not run");
}

TEST_F(AServiceStop, EndsWithItsBus) {
    StatusPeer service;
    const Platform::SignalWatch watch(SIGTERM, [&] { bus.kill(); });
    stop.start();
    EXPECT_EQ(outcome(), "69 the service cannot be ended: the session bus is lost");
}

TEST_F(AStop, EndsTheService) {
    bus.emplace();
    StatusPeer service;
    bool isAsked = false;
    const Platform::SignalWatch watch(SIGTERM, [&] {
        isAsked = true;
        service.leave();
    });
    const auto result = run({"stop"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "");
    EXPECT_TRUE(isAsked);
}

TEST_F(AStop, IsNoErrorWhereNothingRuns) {
    const auto mark = folder.path("launched");
    bus.emplace(std::vector<TestSupport::PrivateBus::Service>{
        {"Velkarin.Quenmark.TopFileUploadXpcService", "/bin/touch " + mark}});
    const auto result = run({"stop"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "quenmark: the service does not run\n");
    EXPECT_FALSE(Platform::Files::exists(mark)) << "it is not launched to be ended";
}

TEST_F(AStop, EndsWith69WhereThereIsNoBus) {
    const auto result = run({"stop"});
    EXPECT_EQ(result.status, 69);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors,
              "quenmark: the service cannot be ended: there is no session bus (No such file or directory)\n");
}

TEST_F(AStop, EndsNothingOnTheBusOfAnotherContainer) {
    bus.emplace();
    StatusPeer service;
    int signals = 0;
    const Platform::SignalWatch watch(SIGTERM, [&] { ++signals; });
    const auto result =
        TestSupport::runCommand({"unshare", "--pid", "--fork", "--kill-child", QUENMARK_PROGRAM, "stop"});
    EXPECT_EQ(result.status, 69);
    EXPECT_EQ(result.errors,
              "quenmark: the service cannot be ended: the session bus is that of another machine or container\n");
    EXPECT_EQ(signals, 0);
}

} // namespace ToolTest
