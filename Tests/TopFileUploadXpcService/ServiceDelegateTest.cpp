// Which engine a connection's calls reach, on a clock that the test moves.

#include "TopFileUploadXpcService/ServiceDelegate.h"

#include "Support/BusPeer.h"
#include "Support/PrivateBus.h"
#include "TopFileUploadXpcService/EngineFixture.h"
#include "TopFileUploadXpcService/ServiceNames.h"

namespace Quenmark {

using std::chrono::seconds;
using TestSupport::BusPeer;
using TestSupport::HttpReply;

class AnAcceptedConnection : public EngineFixture {
protected:
    AnAcceptedConnection() {
        server.setHandler([](const auto&) { return HttpReply::silence(); });
        listener.setDelegate(&delegate);
        listener.resume();
    }

    static BusPeer::Target target(const char* interface, const char* method) {
        return {ServiceNames::address.name, ServiceNames::address.objectPath, interface, method};
    }
    void call(BusPeer& peer) {
        ASSERT_TRUE(peer.waitForOwner(ServiceNames::address.name));
        EXPECT_EQ(peer.call(target("Velkarin.Quenmark.TopFileUploadXpcServiceProtocol", "GetTopFileUpload")),
                  BusPeer::Reply{});
    }
    /// Sends the response of a poll, so that its engine's gate opens.
    void respond(std::size_t poll) {
        const auto responses = log.count("response {\n    \"ReturnStatus\" = \"1\";\n}");
        server.send(server.requests().at(poll).connection, HttpReply::json(nothing).bytes());
        ASSERT_TRUE(runUntil([&] { return log.count("response {\n    \"ReturnStatus\" = \"1\";\n}") > responses; }));
    }
    /// A second later, after the passes that are due by then.
    void aSecondLater() {
        clock.advance(seconds(1));
        for (int turn = 0; turn < 3; ++turn)
            loop.runOnce(seconds(0));
    }

    TestSupport::PrivateBus bus;
    ServiceDelegate delegate{context};
    Platform::Ipc::Listener listener{ServiceNames::address, ServiceNames::exportedInterface};
};

TEST_F(AnAcceptedConnection, HasOneEngineForAllItsCalls) {
    BusPeer peer;
    call(peer);
    ASSERT_TRUE(waitFor(pollTarget, 1));
    aSecondLater();
    call(peer);
    ASSERT_TRUE(waitFor(pollTarget, 2));
    respond(1);
    // The first call's next pass finds the gate that the second call's poll has opened.
    aSecondLater();
    EXPECT_EQ(questions(), 3U);
    EXPECT_TRUE(waitFor(pollTarget, 3));
}

TEST_F(AnAcceptedConnection, HasAnEngineApartFromOthers) {
    BusPeer first;
    BusPeer second;
    call(first);
    ASSERT_TRUE(waitFor(pollTarget, 1));
    aSecondLater();
    call(second);
    ASSERT_TRUE(waitFor(pollTarget, 2));
    respond(1);
    // The first one's gate is closed for as long as its poll is pending.
    aSecondLater();
    EXPECT_EQ(questions(), 2U);
    aSecondLater();
    EXPECT_EQ(questions(), 3U);
    EXPECT_TRUE(waitFor(pollTarget, 3));
}

TEST_F(AnAcceptedConnection, LeavesItsEngineIdleUntilItCalls) {
    BusPeer peer;
    ASSERT_TRUE(peer.waitForOwner(ServiceNames::address.name));
    EXPECT_EQ(peer.call(target("org.freedesktop.DBus.Peer", "Ping")), BusPeer::Reply{});
    EXPECT_EQ(peer.call(target("Velkarin.Quenmark.TopFileUploadXpcServiceProtocol", "Other"))->errorName,
              "org.freedesktop.DBus.Error.UnknownMethod");
    for (int count = 0; count < 5; ++count)
        aSecondLater();
    EXPECT_EQ(questions(), 0U);
    EXPECT_TRUE(log.entries().empty());
    call(peer);
    EXPECT_EQ(questions(), 1U);
}

class AnObservedConnection : public AnAcceptedConnection {
protected:
    AnObservedConnection() { listener.setDelegate(&observed); }

    std::vector<std::string> observedPeers;
    ServiceDelegate observed{context, [this](const std::string& peer) {
                                 observedPeers.push_back(peer);
                                 return std::make_unique<EngineObserver>();
                             }};
};

TEST_F(AnObservedConnection, HasAnEngineWhoseObserverKnowsThePeer) {
    BusPeer peer;
    call(peer);
    call(peer);
    EXPECT_EQ(observedPeers, (std::vector<std::string>{peer.uniqueName()}));
}

} // namespace Quenmark
