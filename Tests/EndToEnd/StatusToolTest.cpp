// quenmark status of the real service.

#include "EndToEnd/RealServiceFixture.h"

#include <boost/json/parse.hpp>

namespace Quenmark {

using TestSupport::BusPeer;
using TestSupport::CommandResult;
using TestSupport::HttpReply;
using TestSupport::runCommand;

class TheStatusTool : public RealServiceFixture {
protected:
    static CommandResult status() { return runCommand({QUENMARK_TOOL, "status"}); }
    static boost::json::object json() {
        return boost::json::parse(runCommand({QUENMARK_TOOL, "status", "--json"}).output).as_object();
    }
    /// Waits until the screen of the tool holds a text, and gives its exit status.
    static int statusOnceItShows(const std::string& text) {
        CommandResult last;
        EXPECT_TRUE(pollUntil([&] {
            last = status();
            return last.output.find(text) != std::string::npos;
        })) << last.output
            << last.errors;
        return last.status;
    }
};

TEST_P(TheStatusTool, LaunchesNothing) {
    deploy(server.host());
    const auto result = status();
    EXPECT_EQ(result.status, 69);
    EXPECT_EQ(result.output, "state          not running\nwhat to do     Run: quenmark start\n");
    EXPECT_EQ(BusPeer().ownerOf(busName), "");
}

TEST_P(TheStatusTool, ShowsAnIdleEngine) {
    deploy(server.host());
    start();
    ASSERT_TRUE(pollUntil([&] { return count(pollTarget) >= 1; }));
    EXPECT_EQ(statusOnceItShows("state          idle for "), 0);
    const auto shown = json();
    EXPECT_EQ(shown.at("running"), true);
    EXPECT_EQ(shown.at("mode"), GetParam().mode);
    EXPECT_EQ(shown.at("frontEnd"), GetParam().isWrapper ? "messages" : "listener");
    EXPECT_EQ(shown.at("serviceRoot").as_string(), "http://" + server.host() + "/QuenmarkRestService/");
    EXPECT_EQ(shown.at("itemsReceived"), 0);
    const auto& engines = shown.at("engines").as_array();
    ASSERT_EQ(engines.size(), 1U);
    EXPECT_EQ(engines[0].at("id"), 1);
    EXPECT_EQ(engines[0].at("state"), "idle");
}

TEST_P(TheStatusTool, SaysWhatIsNotSet) {
    home.setPreferences("{}");
    deploy(server.host());
    BusPeer peer;
    askToStart(peer);
    EXPECT_EQ(statusOnceItShows("\nwhat to do     computerIdKey is not set, so that nothing is asked for: run: "
                                "quenmark prefs set computerIdKey VALUE\n"),
              78);
}

TEST_P(TheStatusTool, SaysThatTheResponsesCannotBeRead) {
    server.setHandler([](const auto&) { return HttpReply::json("[]"); });
    deploy(server.host());
    start();
    EXPECT_EQ(statusOnceItShows("\nwhat to do     The web service's response cannot be read: check computerIdKey, and "
                                "that http://" +
                                server.host() + "/QuenmarkRestService/ is the right web service; "),
              75);
}

INSTANTIATE_TEST_SUITE_P(Variations, TheStatusTool, ::testing::Values(modern, wrapper, managedModern, managedWrapper),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
