// The states of the real service's engine, as another program reads them, and what brings them about.

#include "EndToEnd/RealServiceFixture.h"
#include "EndToEnd/StatusReader.h"

#include <filesystem>

namespace Quenmark {

using TestSupport::BusPeer;
using TestSupport::HttpReply;
using TestSupport::HttpRequest;

class TheStateOfTheService : public RealServiceFixture {
protected:
    /// Starts the service and its engine, and waits for the state; says whether it comes to that.
    bool reach(const std::string& state) {
        deploy(server.host());
        return reachFrom(state);
    }
    bool reachFrom(const std::string& state) {
        peer = std::make_unique<BusPeer>();
        askToStart(*peer);
        return become(state);
    }
    static bool become(const std::string& state) {
        return pollUntil([&] { return StatusReader::state() == state; });
    }
    /// As `reach`, of several members that one reading gives: in managed mode the call that launched the service can
    /// end the wait before the next attempt, and with it the state, at any time.
    void reachMembers(const StatusReader::Members& expected) {
        deploy(server.host());
        peer = std::make_unique<BusPeer>();
        askToStart(*peer);
        StatusReader::Members found;
        pollUntil([&] { return (found = StatusReader::members(expected)) == expected; });
        EXPECT_EQ(found, expected);
    }
    /// Offers "\a.txt" until its acknowledgement was confirmed; `stream` is its stream.
    void offer(const HttpReply& stream, const std::string& confirmation = R"({"ReturnStatus":"0"})") {
        server.setHandler([=, this](const HttpRequest& request) {
            if (request.target == pollTarget)
                return HttpReply::json(isConfirmed ? nothing : item(R"(\\a.txt)"));
            if (request.target == streamTarget)
                return stream;
            isConfirmed = confirmation.find("\"0\"") != std::string::npos;
            return HttpReply::json(confirmation);
        });
    }
    static HttpReply streamOf(const std::string& content) { return HttpReply::ok(content, streamHeaders("\\a.txt")); }

    bool isConfirmed = false;
    std::unique_ptr<BusPeer> peer;
};

class TheStateOfTheListenersService : public TheStateOfTheService {};
class TheStateOfTheManagedService : public TheStateOfTheService {};
class TheStateOfTheCompatibleService : public TheStateOfTheService {};

TEST_P(TheStateOfTheService, FollowsAnItem) {
    offer(streamOf("0123456789").cutAfter(streamOf("0123456789").bytes().size() - 6));
    ASSERT_TRUE(reach("downloading"));
    EXPECT_EQ(StatusReader::member("Item"), "\\a.txt");
    ASSERT_TRUE(pollUntil([&] { return StatusReader::member("Bytes") == "4"; }));
    EXPECT_EQ(StatusReader::member("Total"), "10");
    EXPECT_EQ(StatusReader::member("LastItem"), "(absent)");
    EXPECT_EQ(StatusReader::property("ItemsReceived"), "0");
    server.send(last(streamTarget).connection, "456789");
    ASSERT_TRUE(become("idle"));
    EXPECT_EQ(StatusReader::member("Item"), "");
    EXPECT_EQ(StatusReader::member("Bytes"), "0");
    EXPECT_EQ(StatusReader::member("Total"), "(absent)");
    EXPECT_EQ(StatusReader::member("LastItem"), "\\a.txt");
    EXPECT_EQ(StatusReader::member("ItemsLost"), "0");
    EXPECT_EQ(StatusReader::property("ItemsReceived"), "1");
    EXPECT_EQ(StatusReader::property("BytesReceived"), "10");
    EXPECT_EQ(contentOf(placed("a.txt")), "0123456789");
    const auto started = std::stoll(StatusReader::property("Started"));
    EXPECT_GT(std::stoll(StatusReader::member("LastItemTime")), started);
    EXPECT_GT(std::stoll(StatusReader::member("LastResponse")), started);
}

TEST_P(TheStateOfTheService, IsPollingWhileThePollIsPending) {
    server.setHandler([](const auto&) { return HttpReply::silence(); });
    ASSERT_TRUE(reach("polling"));
    const auto since = StatusReader::member("Since");
    EXPECT_EQ(StatusReader::member("Reason"), "");
    EXPECT_EQ(StatusReader::member("LastResponse"), "(absent)");
    EXPECT_EQ(StatusReader::member("Since"), since);
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    server.send(last(pollTarget).connection, HttpReply::json(nothing).bytes());
    EXPECT_TRUE(become("idle"));
}

TEST_P(TheStateOfTheService, IsIdleForAsLongAsNothingHappens) {
    ASSERT_TRUE(reach("idle"));
    ASSERT_TRUE(pollUntil([&] { return count(pollTarget) >= 1; }));
    const auto since = StatusReader::member("Since");
    const auto passes = std::stoll(StatusReader::member("Passes"));
    ASSERT_TRUE(pollUntil([&] { return count(pollTarget) >= 3; }));
    EXPECT_EQ(StatusReader::state(), "idle");
    EXPECT_EQ(StatusReader::member("Since"), since);
    EXPECT_GE(std::stoll(StatusReader::member("Passes")), passes + 1);
}

TEST_P(TheStateOfTheService, IsUnconfiguredWithoutAComputer) {
    home.setPreferences("{}");
    reachMembers({{"State", "unconfigured"}, {"Reason", "computerIdKey"}});
    setPreferences("7", home.path());
    EXPECT_TRUE(become("idle"));
}

TEST_P(TheStateOfTheService, TellsThatTheServerCannotBeReached) {
    server.stopListening();
    reachMembers({{"State", isManaged() ? "retrying" : "offline"}, {"Reason", "transport -1004"}});
}

TEST_P(TheStateOfTheService, TellsThatAnAcknowledgementIsRefused) {
    offer(streamOf("abc"), R"({"ReturnStatus":"5"})");
    reachMembers({{"State", isManaged() ? "retrying" : "stalled"},
                  {"Reason", "acknowledgement refused 5"},
                  {"Item", "\\a.txt"}});
    // A call opens the gate again.
    offer(streamOf("abc"));
    askToStart(*peer);
    EXPECT_TRUE(pollUntil([&] { return isConfirmed; }));
}

TEST_P(TheStateOfTheService, TellsThatAStreamIsRefused) {
    offer(HttpReply::ok("", {{"ReturnStatus", "3"}}));
    reachMembers({{"State", isManaged() ? "retrying" : "stalled"}, {"Reason", "status 3"}});
}

TEST_P(TheStateOfTheManagedService, IsBlockedWhereAFolderIsInTheWay) {
    offer(streamOf("abc"));
    std::filesystem::create_directories(placed("a.txt"));
    reachMembers(
        {{"State", "blocked"}, {"Reason", "folder in the way"}, {"Item", "\\a.txt"}, {"Bytes", "3"}, {"Total", "3"}});
    std::filesystem::remove(placed("a.txt"));
    EXPECT_TRUE(become("idle"));
    EXPECT_EQ(StatusReader::property("BytesReceived"), "3");
}

TEST_P(TheStateOfTheManagedService, IsBlockedWhereTheNameLeavesTheFolder) {
    server.setHandler([](const auto&) { return HttpReply::json(item(R"(\\..\\a.txt)")); });
    reachMembers({{"State", "blocked"}, {"Reason", "name leaves the folder"}, {"Item", "\\..\\a.txt"}});
}

TEST_P(TheStateOfTheCompatibleService, CountsAnItemThatIsAcknowledgedAndNotInPlace) {
    offer(streamOf("new"));
    home.write("Quenmark/a.txt", "old");
    ASSERT_TRUE(reach("idle"));
    ASSERT_TRUE(pollUntil([&] { return StatusReader::member("ItemsLost") == "1"; }));
    EXPECT_EQ(StatusReader::member("LastLostItem"), "\\a.txt");
    EXPECT_EQ(StatusReader::member("LastLostReason"), "move failed");
    EXPECT_EQ(StatusReader::member("LastItem"), "(absent)");
    EXPECT_EQ(StatusReader::property("ItemsReceived"), "0");
    EXPECT_TRUE(bus->waitForLog("The item \\a.txt is acknowledged, but not in place: move failed")) << bus->log();
    EXPECT_EQ(contentOf(placed("a.txt")), "old");
}

TEST_P(TheStateOfTheListenersService, IsCreatedForAPeerThatHasNotStartedItsEngine) {
    deploy(server.host());
    {
        BusPeer visitor;
        ASSERT_TRUE(
            visitor.call({busName, "/Velkarin/Quenmark/TopFileUploadXpcService", "org.freedesktop.DBus.Peer", "Ping"}));
        ASSERT_TRUE(become("created"));
        EXPECT_EQ(StatusReader::member("Peer"), visitor.uniqueName());
        EXPECT_EQ(StatusReader::member("Passes"), "0");
    }
    EXPECT_TRUE(pollUntil([&] { return StatusReader::engines().empty(); }));
    ASSERT_TRUE(reachFrom("idle"));
    EXPECT_EQ(StatusReader::member("Id"), "2");
}

std::string variationName(const ::testing::TestParamInfo<Variation>& suite) {
    return suite.param.name;
}

INSTANTIATE_TEST_SUITE_P(Variations, TheStateOfTheService,
                         ::testing::Values(modern, wrapper, managedModern, managedWrapper), variationName);
INSTANTIATE_TEST_SUITE_P(Variations, TheStateOfTheManagedService, ::testing::Values(managedModern, managedWrapper),
                         variationName);
INSTANTIATE_TEST_SUITE_P(Variations, TheStateOfTheCompatibleService, ::testing::Values(modern, wrapper), variationName);
INSTANTIATE_TEST_SUITE_P(Variations, TheStateOfTheListenersService, ::testing::Values(modern), variationName);

} // namespace Quenmark
