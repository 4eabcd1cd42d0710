// Which front end the service offers, by the release number of the deployment settings.

#include "EndToEnd/RealServiceFixture.h"
#include "Support/Pattern.h"

namespace Quenmark {

using TestSupport::BusPeer;
using TestSupport::HttpReply;

struct Release {
    /// Of the deployment settings; none where it is empty.
    const char* number;
    const char* name;
    bool isWrapper;
};

std::ostream& operator<<(std::ostream& stream, const Release& release) {
    return stream << release.name;
}

class TheEntry : public ::testing::TestWithParam<Release> {
protected:
    TheEntry() {
        const std::string number = GetParam().number;
        home.setDeployment(R"({"serviceHost":")" + server.host() + '"' +
                           (number.empty() ? "" : R"(,"appKitVersionNumber":)" + number) + "}");
        home.write("Quenmark/.keep", "");
        home.setPreferences(home.preferencesFor(home.path()));
        server.setHandler([](const auto&) { return HttpReply::json(R"({"ReturnStatus":"1"})"); });
    }

    Platform::RunLoop loop;
    TestSupport::TemporaryHome home;
    TestSupport::HttpServer server;
};

TEST_P(TheEntry, OffersTheFrontEndOfTheReleaseAndEitherIsStartedAlike) {
    const std::string name = "Velkarin.Quenmark.TopFileUploadXpcService";
    const TestSupport::PrivateBus bus({{name, QUENMARK_SERVICE}});
    BusPeer peer;
    const auto description = peer.call(
        {name, "/Velkarin/Quenmark/TopFileUploadXpcService", "org.freedesktop.DBus.Introspectable", "Introspect"});
    ASSERT_TRUE(description);
    const auto offers = [&](const std::string& interface) {
        return description->text.find("<interface name=\"" + interface + "\">") != std::string::npos;
    };
    EXPECT_EQ(offers("Velkarin.Quenmark.XPC"), GetParam().isWrapper) << description->text;
    EXPECT_EQ(offers("Velkarin.Quenmark.TopFileUploadXpcServiceProtocol"), !GetParam().isWrapper);
    EXPECT_EQ(server.requests().size(), 0U);
    const auto start = TestSupport::runCommand({QUENMARK_TOOL, "start"});
    EXPECT_EQ(start.status, 0) << start.errors;
    EXPECT_TRUE(loop.runUntil([&] { return !server.requests().empty(); }));
}

TEST(TheCommandLineOfTheService, AsksForHelpOrTheVersion) {
    const Platform::RunLoop loop;
    const auto version = TestSupport::runCommand({QUENMARK_SERVICE, "--version"});
    EXPECT_EQ(version.status, 0);
    const TestSupport::Pattern named("TopFileUploadXpcService " QUENMARK_VERSION
                                     R"(( \([0-9a-f]{7,40}(-dirty)?\))?\n)");
    EXPECT_TRUE(named.matches(version.output)) << version.output;
    EXPECT_EQ(version.errors, "");
    for (const char* option : {"--help", "-h"}) {
        const auto help = TestSupport::runCommand({QUENMARK_SERVICE, option});
        EXPECT_EQ(help.status, 0);
        EXPECT_TRUE(help.output.starts_with("The top-file service: receives the items that the web service holds for "
                                            "this computer\nUsage: TopFileUploadXpcService [--help | --version]\n"))
            << help.output;
        EXPECT_NE(help.output.find("\nExamples:\n  TopFileUploadXpcService --version\n"), std::string::npos);
        EXPECT_EQ(help.errors, "");
    }
    const auto full = TestSupport::runCommand({"sh", "-c", "exec \"$0\" --help > /dev/full", QUENMARK_SERVICE});
    EXPECT_EQ(full.status, 74);
}

TEST(TheCommandLineOfTheService, PlaysNoOtherPart) {
    const Platform::RunLoop loop;
    const TestSupport::ScopedEnvironment environment{{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent"}};
    for (const auto& arguments : {std::vector<std::string>{"--bogus"}, {"--version", "--help"}, {""}}) {
        std::vector<std::string> command{QUENMARK_SERVICE};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const auto result = TestSupport::runCommand(command);
        EXPECT_EQ(result.status, 69) << "it starts, and finds no bus";
        EXPECT_EQ(result.output, "");
    }
}

INSTANTIATE_TEST_SUITE_P(AtEachThreshold, TheEntry,
                         ::testing::Values(Release{"1137.9", "Before1138", false}, Release{"1138.0", "At1138", true},
                                           Release{"1138.6", "Within1138", true}, Release{"1139.0", "After1138", false},
                                           Release{"1342.9", "Before1343", false}, Release{"1343.0", "At1343", false},
                                           Release{"", "WithoutANumber", false}),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
