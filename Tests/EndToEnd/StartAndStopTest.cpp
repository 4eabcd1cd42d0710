// quenmark start and quenmark stop with the real service.

#include "EndToEnd/RealServiceFixture.h"

#include <boost/json/parse.hpp>

namespace Quenmark {

using TestSupport::BusPeer;
using TestSupport::CommandResult;
using TestSupport::runCommand;

class StartAndStop : public RealServiceFixture {
protected:
    static bool isManaged() { return std::string(GetParam().mode) == "managed"; }
    static CommandResult tool(const std::vector<std::string>& arguments) {
        std::vector<std::string> command{QUENMARK_TOOL};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return runCommand(command);
    }
    static std::size_t engineCount() {
        const auto status = boost::json::parse(tool({"status", "--json"}).output);
        return status.at("engines").as_array().size();
    }
    /// Starts the service, and waits until its engine is idle.
    void startAndSettle() {
        deploy(server.host());
        start();
        ASSERT_TRUE(pollUntil([&] { return tool({"status"}).output.starts_with("state          idle "); }));
    }
};

/// In compatible mode alone: managed mode never stalls.
class AStalledEngine : public StartAndStop {};

TEST_P(StartAndStop, EndTheServiceAndFreeItsName) {
    startAndSettle();
    ASSERT_TRUE(serviceProcess());
    const auto stopped = tool({"stop"});
    EXPECT_EQ(stopped.status, 0);
    EXPECT_EQ(stopped.errors, "");
    EXPECT_EQ(BusPeer().ownerOf(busName), "");
    EXPECT_TRUE(pollUntil([&] { return !serviceProcess(); }));
    const auto again = tool({"stop"});
    EXPECT_EQ(again.status, 0);
    EXPECT_EQ(again.errors, "quenmark: the service does not run\n");
    start();
    EXPECT_EQ(engineCount(), 1U);
}

TEST_P(StartAndStop, StartOneEngineHoweverOften) {
    startAndSettle();
    const auto again = tool({"start"});
    EXPECT_EQ(again.status, 0);
    EXPECT_TRUE(again.errors.starts_with("quenmark: an engine runs already (")) << again.errors;
    EXPECT_EQ(engineCount(), 1U);
    const auto another = tool({"start", "--another"});
    EXPECT_EQ(another.status, 0);
    EXPECT_EQ(another.errors, "");
    EXPECT_EQ(engineCount(), isManaged() ? 1U : 2U) << "managed mode has one engine";
}

TEST_P(AStalledEngine, IsJoinedByOneThatStarts) {
    const ServiceProcess webService(data.path());
    planFaults(webService, {fault(pollOperation, R"({"kind":"body","text":"[]"})")});
    deploy(webService.host());
    start();
    ASSERT_TRUE(pollUntil([&] { return tool({"status"}).output.starts_with("state          stalled "); }));
    const auto again = tool({"start"});
    EXPECT_EQ(again.status, 0);
    EXPECT_EQ(again.errors, "");
    EXPECT_EQ(engineCount(), 2U);
}

TEST_P(StartAndStop, StartNothingWhereASettingIsMissing) {
    deploy(server.host());
    home.setPreferences("{}");
    const auto result = tool({"start"});
    EXPECT_EQ(result.status, 78);
    EXPECT_EQ(BusPeer().ownerOf(busName), "") << "the service is not launched";
}

INSTANTIATE_TEST_SUITE_P(Variations, StartAndStop, ::testing::Values(modern, wrapper, managedModern, managedWrapper),
                         [](const auto& suite) { return suite.param.name; });
INSTANTIATE_TEST_SUITE_P(Variations, AStalledEngine, ::testing::Values(modern, wrapper),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
