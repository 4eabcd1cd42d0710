// Who asks the service to start, how often, and what becomes of it when they leave.

#include "EndToEnd/RealServiceFixture.h"

#include <systemd/sd-bus.h>

#include <stdexcept>

namespace Quenmark {

using TestSupport::BusPeer;
using TestSupport::HttpReply;

class APeer : public RealServiceFixture {};

#ifdef __SANITIZE_ADDRESS__
// realloc(3) copies the whole message for each piece of it that arrives, which takes minutes with the largest.
constexpr std::size_t largestText = std::size_t{8} << 20;
#else
// The largest message, less its head (D-Bus Specification, "Message Format").
constexpr std::size_t largestText = (std::size_t{128} << 20) - 1024;
#endif

TEST_P(APeer, ThatLeavesAfterItsCallHasStartedTheEngineForGood) {
    deploy(server_.host());
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
    server_.setHandler([](const auto&) { return HttpReply::silence(); });
    deploy(server_.host());
    BusPeer peer;
    askToStart(peer);
    ASSERT_TRUE(pollUntil([&] { return count(pollTarget) == 1; }));
    askToStart(peer);
    EXPECT_TRUE(pollUntil([&] { return count(pollTarget) == 2; }));
}

TEST_P(APeer, HasAnEngineOfItsOwn) {
    deploy(server_.host());
    BusPeer first;
    BusPeer second;
    askToStart(first);
    askToStart(second);
    // Two engines, each with a gate of its own, ask twice in each interval of two seconds.
    ASSERT_TRUE(pollUntil([&] { return count(pollTarget) >= 2; }));
    const auto before = count(pollTarget);
    EXPECT_TRUE(pollUntil([&] { return count(pollTarget) >= before + 2; }));
    EXPECT_TRUE(serviceProcess());
}

TEST_P(APeer, IsServedAfterAnotherHasSentAsMuchAsTheBusTakes) {
    deploy(server_.host());
    BusPeer verbose;
    const std::string longest(largestText, 'x');
    const auto answer =
        verbose.call({busName, "/Velkarin/Quenmark/TopFileUploadXpcService", "org.example.Unknown", "Message"},
                     [&](sd_bus_message* message) {
                         if (sd_bus_message_append(message, "v", "s", longest.c_str()) < 0)
                             throw std::runtime_error("the message cannot be filled");
                     });
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->errorName, "org.freedesktop.DBus.Error.UnknownMethod");
    const auto process = serviceProcess();
    BusPeer innocent;
    askToStart(innocent);
    EXPECT_TRUE(pollUntil([&] { return count(pollTarget) == 1; }));
    EXPECT_EQ(serviceProcess(), process);
}

INSTANTIATE_TEST_SUITE_P(Variations, APeer, ::testing::Values(modern, between, wrapper),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
