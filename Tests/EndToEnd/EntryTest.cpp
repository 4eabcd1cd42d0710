// Which front end the service offers, by the release number of the deployment settings.

#include "EndToEnd/RealServiceFixture.h"

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

INSTANTIATE_TEST_SUITE_P(AtEachThreshold, TheEntry,
                         ::testing::Values(Release{"1137.9", "Before1138", false}, Release{"1138.0", "At1138", true},
                                           Release{"1138.6", "Within1138", true}, Release{"1139.0", "After1138", false},
                                           Release{"1342.9", "Before1343", false}, Release{"1343.0", "At1343", false},
                                           Release{"", "WithoutANumber", false}),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
