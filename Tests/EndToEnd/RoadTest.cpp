// The whole road of items, from a folder at the real web service to the Quenmark folder of this computer.

#include "EndToEnd/RealServiceFixture.h"

#include <filesystem>
#include <fstream>

namespace Quenmark {

namespace fs = std::filesystem;

class TheWholeRoad : public RealServiceFixture {
protected:
    /// Puts a file into the outbox in one step, as a careful program does.
    void send(const std::string& name, const std::string& content) {
        const auto made = data.write("made", content);
        fs::create_directories(fs::path(outbox(name)).parent_path());
        fs::rename(made, outbox(name));
    }
};

TEST_P(TheWholeRoad, BringsFilesAndFoldersAtAnyDepth) {
    send("Grüße – 日本.txt", "letters of many kinds");
    send("A/B/deep.txt", "deep down");
    fs::create_directories(outbox("Empty"));
    ServiceProcess service(data.path());
    deploy(service.host());
    start();
    ASSERT_TRUE(pollUntil([&] { return contentOf(placed("A/B/deep.txt")) == "deep down"; }));
    ASSERT_TRUE(pollUntil([&] { return contentOf(placed("Grüße – 日本.txt")) == "letters of many kinds"; }));
    ASSERT_TRUE(pollUntil([&] { return fs::is_directory(placed("Empty")); }));
    ASSERT_TRUE(pollUntil([&] { return pendingItems(service) == 0; }));

    send("later.txt", "sent while it runs");
    ASSERT_TRUE(pollUntil([&] { return contentOf(placed("later.txt")) == "sent while it runs"; }));
    ASSERT_TRUE(pollUntil([&] { return pendingItems(service) == 0; }));
    EXPECT_FALSE(exists(temporary("later.txt")));
}

TEST_P(TheWholeRoad, AcknowledgesAnItemOfNoBytesAndPlacesNothing) {
    send("empty.txt", "");
    ServiceProcess service(data.path());
    deploy(service.host());
    start();
    ASSERT_TRUE(pollUntil([&] { return pendingItems(service) == 0; }));
    EXPECT_FALSE(exists(placed("empty.txt")));
    send("next.txt", "x");
    EXPECT_TRUE(pollUntil([&] { return contentOf(placed("next.txt")) == "x"; }));
}

TEST_P(TheWholeRoad, AcknowledgesAFileWhoseParentFolderIsMissing) {
    server.enqueue(pollTarget, TestSupport::HttpReply::json(item(R"(\\Nowhere\\a.txt)")));
    server.enqueue(streamTarget, TestSupport::HttpReply::ok("content", streamHeaders("\\Nowhere\\a.txt")));
    server.enqueue(acknowledgeTarget, TestSupport::HttpReply::json(R"({"ReturnStatus":"0"})"));
    deploy(server.host());
    start();
    ASSERT_TRUE(pollUntil([&] { return count(acknowledgeTarget) == 1; }));
    EXPECT_FALSE(exists(placed("Nowhere")));
    EXPECT_EQ(contentOf(temporary("Nowhere/a.txt")), "content");
    EXPECT_TRUE(pollUntil([&] { return count(pollTarget) == 2; }));
}

TEST_P(TheWholeRoad, WaitsForAWebServiceThatIsAbsentAtTheStart) {
    const auto port = ServiceProcess(data.path()).port();
    deploy("127.0.0.1:" + std::to_string(port));
    start();
    send("a.txt", "after all");
    const ServiceProcess service(data.path(), port);
    EXPECT_TRUE(pollUntil([&] { return contentOf(placed("a.txt")) == "after all"; }));
}

TEST_P(TheWholeRoad, FollowsSettingsThatChangeWhileItRuns) {
    ServiceProcess service(data.path());
    deploy(service.host());
    setPreferences("another computer", home.path());
    start();
    send("a.txt", "for computer 7");
    const auto moved = home.path("moved");
    fs::create_directories(moved + "/Quenmark");
    setPreferences("7", moved);
    ASSERT_TRUE(pollUntil([&] { return contentOf(moved + "/Quenmark/a.txt") == "for computer 7"; }));
    EXPECT_FALSE(exists(placed("a.txt")));
}

INSTANTIATE_TEST_SUITE_P(Variations, TheWholeRoad, ::testing::Values(modern, between, wrapper),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
