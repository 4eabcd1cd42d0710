// Who asks the service to start, how often, and what becomes of it when they leave.

#include "EndToEnd/RealServiceFixture.h"

namespace Quenmark {

using TestSupport::BusPeer;
using TestSupport::HttpReply;

class APeer : public RealServiceFixture {};

TEST_P(APeer, ThatLeavesAfterItsCallHasStartedTheEngineForGood) {
    deploy(server_.host());
    {
        BusPeer peer;
        askToStart(peer);
        ASSERT_TRUE(runUntil([&] { return count(pollTarget) == 1; }));
    }
    EXPECT_TRUE(runUntil([&] { return count(pollTarget) == 3; }));
}

TEST_P(APeer, ThatCallsTwiceIsHeardTwice) {
    // A gate that a call has opened, and a pass closed, stays closed while the server is silent: every question beyond
    // the first is the work of another call.
    server_.setHandler([](const auto&) { return HttpReply::silence(); });
    deploy(server_.host());
    BusPeer peer;
    askToStart(peer);
    ASSERT_TRUE(runUntil([&] { return count(pollTarget) == 1; }));
    askToStart(peer);
    EXPECT_TRUE(runUntil([&] { return count(pollTarget) == 2; }));
}

TEST_P(APeer, HasAnEngineOfItsOwn) {
    deploy(server_.host());
    BusPeer first;
    BusPeer second;
    askToStart(first);
    askToStart(second);
    // Two engines, each with a gate of its own, ask twice in each interval of two seconds.
    ASSERT_TRUE(runUntil([&] { return count(pollTarget) >= 2; }));
    const auto before = count(pollTarget);
    EXPECT_TRUE(runUntil([&] { return count(pollTarget) >= before + 2; }));
    EXPECT_TRUE(serviceProcess());
}

INSTANTIATE_TEST_SUITE_P(Variations, APeer, ::testing::Values(modern, between, wrapper),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
