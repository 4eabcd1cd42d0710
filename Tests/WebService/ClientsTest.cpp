// Which clients a server drops when it runs short of places or memory, and which have taken too long.

#include "WebService/Http/Clients.h"

#include <gtest/gtest.h>

namespace webservice::test {

namespace {

using namespace std::chrono_literals;
using Phase = Client::Phase;

class SomeClient : public Client {
public:
    using Client::Client;
    bool wasExpired = false;
    bool wasDropped = false;

private:
    void expire() override { wasExpired = true; }
    void disconnect() override { wasDropped = true; }
};

class AServersClients : public ::testing::Test {
protected:
    SomeClient& add(Phase phase) {
        all.push_back(std::make_unique<SomeClient>(clients));
        all.back()->enter(phase);
        return *all.back();
    }

    Client::Clock::time_point now{1h};
    Limits limits{.maxConnections = 3,
                  .maxMemory = 1000,
                  .keepAliveTimeout = 90s,
                  .headerTimeout = 10s,
                  .idleTimeout = 60s,
                  .lingerTimeout = 20s};
    std::shared_ptr<Clients> clients = std::make_shared<Clients>(limits, [this] { return now; });
    std::vector<std::unique_ptr<SomeClient>> all;
};

} // namespace

TEST_F(AServersClients, AreDisconnectedForAnotherOnlyWhenAllSlotsAreUsed) {
    add(Phase::Idle);
    add(Phase::Idle);
    now += 1h;
    EXPECT_TRUE(clients->ensureSlot());
    EXPECT_EQ(clients->count(), 2U);
    add(Phase::Idle);
    EXPECT_TRUE(clients->ensureSlot());
    EXPECT_EQ(clients->count(), 2U);
}

TEST_F(AServersClients, AreDisconnectedInTheOrderOfTheirIdleTime) {
    add(Phase::Idle).transferred(0);
    now += 1s;
    SomeClient& second = add(Phase::Idle);
    SomeClient& sendingHeaders = add(Phase::Headers);
    all[0]->enter(Phase::Idle);
    now += 2s;
    all[0]->enter(Phase::Idle);
    now += 1s;
    EXPECT_TRUE(clients->disconnectSlowest());
    EXPECT_TRUE(second.wasDropped);
    EXPECT_TRUE(clients->disconnectSlowest());
    EXPECT_TRUE(all[0]->wasDropped);
    EXPECT_TRUE(clients->disconnectSlowest());
    EXPECT_TRUE(sendingHeaders.wasDropped);
    EXPECT_FALSE(clients->disconnectSlowest());
    EXPECT_EQ(clients->count(), 0U);
}

TEST_F(AServersClients, AreNotDisconnectedWithinASecondOrWhileTheyWaitForTheServer) {
    SomeClient& working = add(Phase::Working);
    now += 1h;
    SomeClient& fresh = add(Phase::Idle);
    now += 999ms;
    EXPECT_FALSE(clients->disconnectSlowest());
    now += 1ms;
    EXPECT_TRUE(clients->disconnectSlowest());
    EXPECT_TRUE(fresh.wasDropped);
    EXPECT_FALSE(clients->disconnectSlowest());
    EXPECT_FALSE(working.wasDropped);
}

TEST_F(AServersClients, AreDisconnectedWhenTheyAreTheSlowest) {
    SomeClient& fast = add(Phase::Response);
    SomeClient& slow = add(Phase::Body);
    SomeClient& burst = add(Phase::Response);
    burst.transferred(1'000'000'000); // which is no credit for later
    for (int second = 0; second < 5; ++second) {
        now += 1s;
        fast.transferred(8192);
        slow.transferred(8000);
    }
    EXPECT_TRUE(clients->disconnectSlowest());
    EXPECT_TRUE(burst.wasDropped);
    EXPECT_FALSE(clients->disconnectSlowest());
    for (int second = 0; second < 40; ++second) {
        now += 1s;
        fast.transferred(8192);
        slow.transferred(8000);
    }
    EXPECT_TRUE(clients->disconnectSlowest());
    EXPECT_TRUE(slow.wasDropped);
    EXPECT_FALSE(fast.wasDropped);
}

TEST_F(AServersClients, AreDisconnectedWhenTheyHoldTooMuchMemoryTogether) {
    SomeClient& small = add(Phase::Body);
    SomeClient& large = add(Phase::Body);
    small.setMemory(100);
    large.setMemory(600);
    now += 1s;
    SomeClient& third = add(Phase::Body);
    third.setMemory(300);
    EXPECT_FALSE(large.wasDropped);
    third.setMemory(301);
    EXPECT_TRUE(large.wasDropped);
    EXPECT_FALSE(small.wasDropped);
    third.setMemory(900);
    EXPECT_FALSE(small.wasDropped);
    third.setMemory(901);
    EXPECT_TRUE(small.wasDropped);
    third.setMemory(5000); // alone
    EXPECT_FALSE(third.wasDropped);
    large.setMemory(5000); // which has no share any more
    third.setMemory(0);
    add(Phase::Body).setMemory(1000);
    EXPECT_FALSE(third.wasDropped);
}

TEST_F(AServersClients, AreNotDisconnectedForTheirMemoryBeforeAnybodyHasWaitedForThem) {
    SomeClient& first = add(Phase::Body);
    first.setMemory(900);
    SomeClient& second = add(Phase::Body);
    second.setMemory(901);
    EXPECT_FALSE(first.wasDropped);
    now += 1ms;
    second.setMemory(902);
    EXPECT_TRUE(first.wasDropped);
}

TEST_F(AServersClients, ReleaseTheirMemoryWhenTheyEnd) {
    add(Phase::Body).setMemory(900);
    all.clear();
    SomeClient& first = add(Phase::Body);
    first.setMemory(500);
    now += 1s;
    add(Phase::Body).setMemory(500);
    EXPECT_FALSE(first.wasDropped);
}

TEST_F(AServersClients, AreServedAsFarAsTheMemoryAllows) {
    limits.maxMemory = 50'000;
    clients = std::make_shared<Clients>(limits, [this] { return now; });
    SomeClient& first = add(Phase::Body);
    first.setMemory(90'000);
    EXPECT_TRUE(first.hasMemoryToWork()); // alone
    first.enter(Phase::Working);
    SomeClient& large = add(Phase::Body);
    SomeClient& small = add(Phase::Body);
    large.setMemory(16'385);
    small.setMemory(16'384);
    EXPECT_FALSE(large.hasMemoryToWork());
    EXPECT_TRUE(small.hasMemoryToWork());
    first.setMemory(33'615);
    EXPECT_TRUE(large.hasMemoryToWork());
}

TEST_F(AServersClients, ExpireByTheTimeoutOfTheirPhase) {
    struct Case {
        Phase phase;
        std::chrono::milliseconds time;
    };
    for (const auto& [phase, time] : {Case{Phase::Idle, 90s}, Case{Phase::Headers, 10s}, Case{Phase::Body, 60s},
                                      Case{Phase::Response, 60s}, Case{Phase::Lingering, 2s}}) {
        SomeClient& client = add(phase);
        now += time;
        clients->expire();
        EXPECT_FALSE(client.wasExpired) << static_cast<int>(phase);
        now += 1ms;
        clients->expire();
        EXPECT_TRUE(client.wasExpired && client.hasExpired()) << static_cast<int>(phase);
        client.enter(phase);
        EXPECT_FALSE(client.hasExpired());
        all.clear();
    }
    SomeClient& working = add(Phase::Working);
    now += 1000h;
    clients->expire();
    EXPECT_FALSE(working.wasExpired);
}

TEST_F(AServersClients, ExpireInHeadersAndWhileLingeringWhateverTheySend) {
    SomeClient& sendingHeaders = add(Phase::Headers);
    SomeClient& body = add(Phase::Body);
    SomeClient& lingering = add(Phase::Lingering);
    for (int second = 1; second <= 25; ++second) {
        now += 1s;
        for (const auto& client : all)
            client->transferred(1);
        clients->expire();
        EXPECT_EQ(sendingHeaders.wasExpired, second > 10);
        EXPECT_EQ(lingering.wasExpired, second > 20);
        EXPECT_FALSE(body.wasExpired);
    }
}

TEST_F(AServersClients, AreWaitedForBelowEightKibibytesASecond) {
    SomeClient& first = add(Phase::Response);
    now += 10s;
    first.transferred(std::size_t{9} * 8192 + 1); // for a little more than nine of these seconds
    EXPECT_FALSE(clients->disconnectSlowest());
    first.enter(Phase::Response);
    now += 10s;
    first.transferred(std::size_t{9} * 8192);
    EXPECT_TRUE(clients->disconnectSlowest());
    EXPECT_TRUE(first.wasDropped);
}

TEST(TheLimitsOfAServer, AreTheDocumentedOnes) {
    const Limits limits;
    EXPECT_EQ(limits.maxConnections, 20'000U);
    EXPECT_EQ(limits.maxMemory, 134'217'728U);
    EXPECT_EQ(limits.keepAliveTimeout, 90s);
    EXPECT_EQ(limits.headerTimeout, 10s);
    EXPECT_EQ(limits.idleTimeout, 90s);
    EXPECT_EQ(limits.lingerTimeout, 10s);
    EXPECT_EQ(limits.maxDrain, 268'435'456U);
}

} // namespace webservice::test
