// Who asks the service to start, how often, and what becomes of it when they leave.

#include "EndToEnd/RealServiceFixture.h"

#include <systemd/sd-bus.h>

#include <cstdlib>
#include <stdexcept>

namespace Quenmark {

using TestSupport::BusPeer;
using TestSupport::HttpReply;

class APeer : public RealServiceFixture {
protected:
    /// Starts the service with a call of each of two peers, whose polls get a response only when both have come; says
    /// whether each of two engines asks once more then. One alone would close its gate with the third question.
    bool startsTwoEngines(BusPeer& first, BusPeer& second) {
        askToStart(first);
        askToStart(second);
        if (!pollUntil([&] { return count(pollTarget) == 2; }))
            return false;
        const auto requests = server.requests();
        for (const auto& request : requests)
            server.send(request.connection, HttpReply::json(nothing).bytes());
        return pollUntil([&] { return count(pollTarget) == 4; });
    }
};

/// A peer of the front end that takes messages.
class AMessagingPeer : public APeer {};

/// The largest message, less its header (D-Bus Specification, "Message Format"). Where memory is checked, a smaller
/// one: realloc(3) then copies the whole message for each piece of it that arrives, which takes minutes with the
/// largest.
std::size_t largestText() {
#ifdef HAS_ADDRESS_SANITIZER
    constexpr bool isSanitized = true;
#else
    constexpr bool isSanitized = false;
#endif
    const bool isChecked = isSanitized || std::getenv("QUENMARK_UNDER_VALGRIND") != nullptr;
    return isChecked ? std::size_t{8} << 20 : (std::size_t{128} << 20) - 1024;
}

TEST_P(APeer, ThatLeavesAfterItsCallHasStartedTheEngineForGood) {
    deploy(server.host());
    {
        BusPeer peer;
        askToStart(peer);
        ASSERT_TRUE(pollUntil([&] { return count(pollTarget) == 1; }));
    }
    EXPECT_TRUE(pollUntil([&] { return count(pollTarget) == 3; }));
}

TEST_P(APeer, ThatCallsTwiceIsHeardTwice) {
    // A gate that a call has opened, and a pass closed, stays closed while the server is silent: every question beyond
    // the first is the work of another call.
    server.setHandler([](const auto&) { return HttpReply::silence(); });
    deploy(server.host());
    BusPeer peer;
    askToStart(peer);
    ASSERT_TRUE(pollUntil([&] { return count(pollTarget) == 1; }));
    askToStart(peer);
    EXPECT_TRUE(pollUntil([&] { return count(pollTarget) == 2; }));
}

TEST_P(APeer, HasAnEngineOfItsOwn) {
    server.setHandler([](const auto&) { return HttpReply::silence(); });
    deploy(server.host());
    BusPeer first;
    BusPeer second;
    EXPECT_TRUE(startsTwoEngines(first, second));
}

TEST_P(APeer, IsServedAfterAnotherHasSentAsMuchAsTheBusTakes) {
    deploy(server.host());
    BusPeer verbose;
    const std::string longest(largestText(), 'x');
    const auto reply =
        verbose.call({busName, "/Velkarin/Quenmark/TopFileUploadXpcService", "org.example.Unknown", "Message"},
                     [&](sd_bus_message* message) {
                         if (sd_bus_message_append(message, "v", "s", longest.c_str()) < 0)
                             throw std::runtime_error("the message cannot be filled");
                     });
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->errorName, "org.freedesktop.DBus.Error.UnknownMethod");
    const auto process = serviceProcess();
    BusPeer innocent;
    askToStart(innocent);
    EXPECT_TRUE(pollUntil([&] { return count(pollTarget) == 1; }));
    EXPECT_EQ(serviceProcess(), process);
}

TEST_P(AMessagingPeer, StartsAnEngineWithEachMessage) {
    server.setHandler([](const auto&) { return HttpReply::silence(); });
    deploy(server.host());
    BusPeer peer;
    EXPECT_TRUE(startsTwoEngines(peer, peer));
}

TEST_P(AMessagingPeer, StartsNoEngineWithAMessageForTheLog) {
    server.setHandler([](const auto&) { return HttpReply::silence(); });
    deploy(server.host());
    BusPeer peer;
    peer.send({busName, "/Velkarin/Quenmark/TopFileUploadXpcService", "Velkarin.Quenmark.XPC", "Message"},
              [](sd_bus_message* message) {
                  if (sd_bus_message_append(message, "v", "a{sv}", 1, "XPCDebugLog", "s", "a line for the log") < 0)
                      throw std::runtime_error("the message cannot be filled");
              });
    EXPECT_TRUE(bus->waitForLog("LOG: a line for the log")) << bus->log();
    // An engine of that message would have asked before those of the next two.
    askToStart(peer);
    ASSERT_TRUE(pollUntil([&] { return count(pollTarget) >= 1; }));
    askToStart(peer);
    ASSERT_TRUE(pollUntil([&] { return count(pollTarget) >= 2; }));
    EXPECT_EQ(count(pollTarget), 2U);
}

INSTANTIATE_TEST_SUITE_P(Wrapper, AMessagingPeer, ::testing::Values(wrapper),
                         [](const auto& suite) { return suite.param.name; });
INSTANTIATE_TEST_SUITE_P(Variations, APeer, ::testing::Values(modern, between, wrapper),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
