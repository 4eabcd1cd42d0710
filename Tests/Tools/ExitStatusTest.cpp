// One cause of a failure has one exit status, whichever verb fails.

#include "Support/PrivateBus.h"
#include "ToolFixture.h"
#include "Tools/TransportStatus.h"

#include <filesystem>
#include <utility>

namespace ToolTest {

using TestSupport::HttpReply;
using Command = std::vector<std::string>;

class AFailedVerb : public AQuenmarkTool {
protected:
    /// Runs each command, which must end with the status, say why, and print nothing else.
    void expect(int status, const std::vector<Command>& commands) const {
        for (const auto& command : commands) {
            const auto result = run(command);
            EXPECT_EQ(result.status, status) << testing::PrintToString(command) << result.errors;
            EXPECT_TRUE(result.errors.starts_with("quenmark: ")) << result.errors;
            EXPECT_EQ(result.output, "") << testing::PrintToString(command);
        }
    }
    /// What a verb needs to come as far as the bus.
    void setPreferencesToStart() const {
        folder.write("Quenmark/.keep", "");
        home.setPreferences(home.preferencesFor(folder.path()));
    }
    /// A call for each way that an operation is carried out, and whatever else speaks to the web service.
    std::vector<Command> requests() const {
        const auto file = folder.write("file", "content");
        return {{"call", "GetTopFileUpload"},
                {"call", "SyncFilesInTableAndCloud"},
                {"call", "UpdateSendFileToTransfer"},
                {"call", "GetTopFileUploadWithStream"},
                {"call", "UpdateFileRequestWithStream", "--file", file},
                {"push", file, "--to", "7"}};
    }

    const std::vector<Command> readersOfPreferences{{"start"},
                                                    {"watch"},
                                                    {"prefs", "list"},
                                                    {"prefs", "get", "a"},
                                                    {"prefs", "set", "userIdKey", "1"},
                                                    {"prefs", "unset", "a"}};
};

TEST_F(AFailedVerb, EndsWith64ForAWrongCommandLine) {
    for (const char* verb : {"start", "stop", "status", "prefs", "watch", "push", "operations", "call"})
        expect(64, {{verb, "--wrong"}});
}

TEST_F(AFailedVerb, EndsWith66ForAFileThatCannotBeRead) {
    std::filesystem::create_directory(folder.path("folder"));
    expect(66, {{"call", "UpdateFileRequestWithStream", "--file", folder.path("none")},
                {"call", "UpdateFileRequestWithStream", "--file", folder.path("folder")},
                {"call", "LogError", "--json", folder.path("none")},
                {"call", "LogError", "--json", folder.path("folder")},
                {"push", folder.path("none"), "--to", "7"}});
}

TEST_F(AFailedVerb, EndsWith69WhereThereIsNoBus) {
    setPreferencesToStart();
    expect(69, {{"start"}, {"stop"}, {"status"}, {"status", "--follow"}, {"watch"}, {"watch", "--json"}});
}

TEST_F(AFailedVerb, EndsWith69WhereNoConnectionIsMade) {
    server.stopListening();
    expect(69, requests());
    deploy("nowhere.invalid");
    expect(69, requests());
}

TEST_F(AFailedVerb, EndsWith74WhereAResponseIsCutOff) {
    server.setHandler([](const auto&) { return HttpReply::json("{}").cutAfter(20).thenReset(); });
    expect(74, requests());
}

TEST_F(AFailedVerb, EndsWith74WhereStandardOutputIsFull) {
    home.setPreferences(R"({"userIdKey":"1"})");
    server.setHandler([](const auto&) { return HttpReply::ok("{}"); });
    const TestSupport::PrivateBus bus;
    auto commands = requests();
    for (const auto& command : {Command{"status"},
                                {"prefs", "list"},
                                {"prefs", "get", "userIdKey"},
                                {"operations"},
                                {"--help"},
                                {"--version"}})
        commands.push_back(command);
    for (auto& command : commands) {
        command.insert(command.begin(), {"sh", "-c", R"(exec "$0" "$@" > /dev/full)", QUENMARK_PROGRAM});
        const auto result = TestSupport::runCommand(command);
        EXPECT_EQ(result.status, 74) << testing::PrintToString(command);
        EXPECT_EQ(result.errors, "quenmark: standard output: No space left on device\n");
    }
}

TEST_F(AFailedVerb, EndsWith74ForASettingsFileThatCannotBeRead) {
    std::filesystem::remove(preferencesFile());
    std::filesystem::create_directories(preferencesFile());
    expect(74, readersOfPreferences);
    const auto deployment = home.config().path("quenmark/deployment.json");
    std::filesystem::remove(deployment);
    std::filesystem::create_directory(deployment);
    auto commands = requests();
    commands.push_back({"start"});
    expect(74, commands);
}

TEST_F(AFailedVerb, EndsWith78ForMalformedSettings) {
    home.setPreferences("[]");
    expect(78, readersOfPreferences);
    home.setDeployment("[]");
    auto commands = requests();
    commands.push_back({"start"});
    expect(78, commands);
}

TEST_F(AFailedVerb, EndsWith78ForADeploymentSettingOfTheWrongType) {
    const std::string path = home.config().path("quenmark/deployment.json");
    const std::vector<std::pair<std::string, std::string>> wrong{
        {R"({"serviceHost":5})", R"("serviceHost" is not a host with an optional port: 5)"},
        {R"({"serviceHost":"a\nb"})", R"("serviceHost" is not a host with an optional port: a\x0Ab)"},
        {R"({"appKitVersionNumber":"1343"})", R"("appKitVersionNumber" is not a number: 1343)"},
        {R"({"mode":"x"})", R"("mode" is not "compatible" or "managed": x)"},
        {R"({"stagingDirectory":"here"})", R"("stagingDirectory" is not an absolute path: here)"}};
    for (const auto& [json, error] : wrong) {
        home.setDeployment(json);
        const auto result = run({"call", "GetTopFileUpload"});
        EXPECT_EQ(result.status, 78);
        EXPECT_EQ(result.errors, "quenmark: " + path + ": " + error + "\n");
        EXPECT_EQ(result.output, "");
    }
    home.setDeployment(R"({"serviceHost":5,"mode":7})");
    const auto both = run({"start"});
    EXPECT_EQ(both.status, 78);
    EXPECT_EQ(both.errors, "quenmark: " + path + ": \"serviceHost\" is not a host with an optional port: 5\n" +
                               "quenmark: " + path + ": \"mode\" is not \"compatible\" or \"managed\": 7\n");
    auto commands = requests();
    commands.push_back({"start"});
    expect(78, commands);
}

TEST(AnErrorOfTheTransport, HasAnExitStatus) {
    for (const auto& [code, status] : {std::pair(-1003, 69),
                                       {-1004, 69},
                                       {-1100, 66},
                                       {-1001, 75},
                                       {-1, 74},
                                       {-999, 74},
                                       {-1000, 74},
                                       {-1005, 74},
                                       {-1007, 74},
                                       {-1011, 74},
                                       {-1103, 74},
                                       {-1200, 74},
                                       {-1202, 74}})
        EXPECT_EQ(static_cast<int>(Tools::exitStatusOfTransport(code)), status) << code;
}

} // namespace ToolTest
