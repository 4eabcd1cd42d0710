// A service that cannot serve says so in one line and ends.

#include "EndToEnd/RealServiceFixture.h"

#include <algorithm>

namespace Quenmark {

using TestSupport::runCommand;

class AServiceThatCannotServe : public RealServiceFixture {};

TEST_P(AServiceThatCannotServe, EndsWithOneLineWhereItsNameIsTaken) {
    deploy(server.host());
    start();
    const auto second = runCommand({QUENMARK_SERVICE});
    EXPECT_EQ(second.status, 69);
    EXPECT_EQ(std::count(second.errors.begin(), second.errors.end(), '\n'), 1) << second.errors;
    EXPECT_NE(second.errors.find("Velkarin.Quenmark.TopFileUploadXpcService"), std::string::npos) << second.errors;
    EXPECT_TRUE(pollUntil([&] { return count(pollTarget) >= 1; })) << "the first one goes on";
}

TEST_P(AServiceThatCannotServe, EndsWithOneLineWhereThereIsNoBus) {
    deploy(server.host());
    environment.set("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + home.path("nowhere"));
    const auto result = runCommand({QUENMARK_SERVICE});
    EXPECT_EQ(result.status, 69);
    EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1) << result.errors;
}

// UndefinedBehaviorSanitizer needs descriptors of its own to look at an exception.
#ifndef HAS_ADDRESS_SANITIZER
TEST_P(AServiceThatCannotServe, EndsWithOneLineWhereThereAreNoDescriptors) {
    deploy(server.host());
    const auto result = runCommand({"prlimit", "--nofile=5", QUENMARK_SERVICE});
    EXPECT_EQ(result.status, 71);
    EXPECT_TRUE(result.errors.starts_with("The service cannot start: ")) << result.errors;
    EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1) << result.errors;
}
#endif

TEST_P(AServiceThatCannotServe, EndsWhenTheBusIsLost) {
    deploy(server.host());
    start();
    ASSERT_TRUE(serviceProcess());
    const auto process = *serviceProcess();
    bus->kill();
    EXPECT_TRUE(pollUntil([&] { return !exists("/proc/" + std::to_string(process) + "/exe"); }));
}

INSTANTIATE_TEST_SUITE_P(Variations, AServiceThatCannotServe, ::testing::Values(modern, wrapper),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
