// quenmark setup where something is wrong: it says what, and leaves the settings as they were.

#include "SetupFixture.h"

namespace ToolTest {

using TestSupport::HttpReply;

class AFailedSetup : public ASetup {
protected:
    static constexpr const char* signInTarget = "/QuenmarkRestService/Registration.svc/VerifyAndRegisterUserFromTool";
    static constexpr const char* registerTarget = "/QuenmarkRestService/Registration.svc/RegisterComputer";

    /// Expects that a set-up ends so and writes nothing.
    void expect(const std::vector<std::string>& arguments, int status, const std::string& error) const {
        const auto result = setUp(arguments);
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, error.empty() ? "" : "quenmark: " + error + "\n");
        EXPECT_FALSE(hasSettings());
        EXPECT_FALSE(std::filesystem::exists(home.path("items")));
    }
    /// Expects that a first set-up ends so, with the host in front.
    void expectOfHost(int status, const std::string& error) {
        expect(all(server.host()), status, server.host() + error);
    }
};

TEST_F(AFailedSetup, NamesWhatIsMissingWhereNobodyCanBeAsked) {
    const std::string end = " (there is no terminal to ask on)";
    expect({}, 64, "missing: --host, --mail, --password-file, --path" + end);
    expect({"--user", "1", "--host", "h"}, 64, "missing: --path" + end);
    expect({"--computer", "1", "--mail", "a@b.c", "--path", "/"}, 64, "missing: --host, --password-file" + end);
    expect({"--password-file", "-", "--path", "/", "--host", "h"}, 64, "missing: --mail" + end);
}

TEST_F(AFailedSetup, NamesTheOptionThatIsNotValid) {
    const std::string host = " is not a host with an optional port, such as 127.0.0.1:8080: ";
    expect({"--host", "http://h/"}, 64, "--host" + host + "http://h/");
    expect({"--host", ""}, 64, "--host" + host);
    expect({"--mail", "ann"}, 64, "--mail is not a mail address: ann");
    expect({"--path", "here"}, 64, "--path is not an absolute path: here");
    expect({"--path", "/a\x1b[2J"}, 64, "--path has control characters, or bytes that are not UTF-8: /a\\x1B[2J");
    expect({"--computer", ""}, 64, "--computer is empty: ");
    expect({"--user", "1\n2"}, 64, "--user has control characters, or bytes that are not UTF-8: 1\\x0A2");
    expect({"--user", "1", "--mail", "a@b.c"}, 64, "--mail excludes --user (--help tells more)");
}

TEST_F(AFailedSetup, NamesAPasswordFileThatIsNotThere) {
    auto options = all(server.host());
    options[3] = folder.path("none");
    expect(options, 66, "--password-file " + folder.path("none") + ": No such file or directory");
    EXPECT_EQ(server.requests().size(), 0U);
}

TEST_F(AFailedSetup, LeavesAMalformedFileAlone) {
    const std::string malformed = "{\"serviceHost\":\"h\",";
    home.setDeployment(malformed);
    auto result = setUp(all(server.host()));
    EXPECT_EQ(result.status, 78);
    EXPECT_TRUE(result.errors.starts_with("quenmark: " + deploymentFile() + ": ")) << result.errors;
    EXPECT_NE(result.errors.find(" at byte "), std::string::npos) << result.errors;
    EXPECT_EQ(deployment(), malformed);
    std::filesystem::remove(deploymentFile());
    home.setPreferences("[]");
    result = setUp(all(server.host()));
    EXPECT_EQ(result.status, 78);
    EXPECT_EQ(result.errors,
              "quenmark: " + preferencesFile() + ": Not a JSON object: the top level is an array at byte 0\n");
    EXPECT_EQ(preferences(), "[]");
    EXPECT_FALSE(std::filesystem::exists(deploymentFile()));
    EXPECT_EQ(server.requests().size(), 0U);
}

TEST_F(AFailedSetup, SendsNothingWhereTheSchemeOrTheAuthoritiesAreWrong) {
    for (const char* member : {R"("serviceScheme":"htps")", R"("certificateAuthorities":"own.pem")"}) {
        home.setDeployment(R"({"serviceHost":")" + server.host() + R"(",)" + member + "}");
        const auto result = setUp(all(server.host()));
        EXPECT_EQ(result.status, 78) << result.errors;
        EXPECT_TRUE(result.errors.starts_with("quenmark: " + deploymentFile() + ": \"")) << result.errors;
        EXPECT_EQ(run({"push", password, "--to", "7", "--server", server.host()}).status, 78);
    }
    EXPECT_EQ(server.requests().size(), 0U);
}

TEST_F(AFailedSetup, TakesAPreferenceThatNoOptionMayHaveForMissing) {
    home.setPreferences(R"({"quenmarkPathKey":"items"})");
    auto options = account();
    options.insert(options.end(), {"--host", server.host()});
    const auto result = setUp(options);
    EXPECT_EQ(result.status, 64);
    EXPECT_EQ(result.errors, "quenmark: missing: --path (there is no terminal to ask on)\n");
}

TEST_F(AFailedSetup, NeedsAnAccountAtAnotherHostWhereNoComputerIsKnown) {
    home.setDeployment(R"({"serviceHost":"127.0.0.1:9"})");
    home.setPreferences(R"({"userIdKey":"1","quenmarkPathKey":")" + home.path("items") + "\"}");
    const auto result = setUp({"--host", server.host()});
    EXPECT_EQ(result.status, 64);
    EXPECT_EQ(result.errors, "quenmark: missing: --mail, --password-file (there is no terminal to ask on)\n");
    EXPECT_EQ(server.requests().size(), 0U);
    EXPECT_EQ(setUp({"--host", server.host(), "--computer", "7"}).errors,
              "quenmark: computer 7 of user 1 receives from " + server.host() + " into " + home.path("items/Quenmark") +
                  "\n");
}

TEST_F(AFailedSetup, SaysThatTheHostCannotBeReached) {
    server.stopListening();
    const auto result = setUp(all(server.host()));
    EXPECT_EQ(result.status, 69);
    EXPECT_TRUE(result.errors.starts_with("quenmark: " + server.host() + ": ")) << result.errors;
    EXPECT_TRUE(result.errors.ends_with("(-1004)\n")) << result.errors;
    EXPECT_FALSE(hasSettings());
    EXPECT_FALSE(std::filesystem::exists(home.path("items")));
}

TEST_F(AFailedSetup, SaysThatTheFolderCannotBeMade) {
    auto options = all(server.host());
    options.back() = folder.write("file", "");
    expect(options, 73, folder.path("file/Quenmark") + ": Not a directory");
    // What was made of it before is removed.
    options.back() = home.path("items/" + std::string(256, 'x'));
    expect(options, 73, options.back() + ": File name too long");
    EXPECT_EQ(server.requests().size(), 0U) << "no computer is registered in vain";
}

TEST_F(AFailedSetup, SendsTheAccountToTheHostThatIsGivenAndToNoOther) {
    server.enqueue(HttpReply::json(R"({"ReturnStatus":"1","error":null})"));
    expectOfHost(76, " refuses ann@example.org: (ReturnStatus 1)");
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].target, signInTarget);
    EXPECT_EQ(server.requests()[0].body, "{\n  \"MailID\" : \"ann@example.org\",\n  \"Password\" : \"s3cr3t\"\n}");
}

TEST_F(AFailedSetup, SendsThePasswordOfStandardInput) {
    server.enqueue(HttpReply::json(R"({"ReturnStatus":"1","error":null})"));
    auto options = all(server.host());
    options[3] = "-";
    options.insert(options.begin(), {"setup", "--no-enable"});
    const auto result = runWithInput("fr0m-there\n", options);
    EXPECT_EQ(result.errors, "quenmark: " + server.host() + " refuses ann@example.org: (ReturnStatus 1)\n");
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].body, "{\n  \"MailID\" : \"ann@example.org\",\n  \"Password\" : \"fr0m-there\"\n}");
}

TEST_F(AFailedSetup, ShowsTheWordsOfTheWebServiceButNotThePassword) {
    server.enqueue(HttpReply::json(R"({"ReturnStatus":2,"error":"go\u001b[2J away"})"));
    expectOfHost(76, " refuses ann@example.org: go\\x1B[2J away (ReturnStatus 2)");
    server.enqueue(
        HttpReply::json(R"({"ReturnStatus":"1","error":{"code":"No","message":")" + std::string(301, 'x') + "\"}}"));
    expectOfHost(76, " refuses ann@example.org: " + std::string(300, 'x') + "... (No)");
    server.enqueue(HttpReply::json(R"({"ReturnStatus":"1","error":")" + std::string(297, 'x') + R"(s3cr3t"})"));
    expectOfHost(76, " refuses ann@example.org: its message holds the password and is not shown");
    server.enqueue(HttpReply::json(R"({"ReturnStatus":"1","error":"the password s3cr3t is weak"})"));
    expectOfHost(76, " refuses ann@example.org: its message holds the password and is not shown");
}

TEST_F(AFailedSetup, TakesNoIdentifierThatIsNone) {
    const std::string badText = " has control characters, or bytes that are not UTF-8";
    const std::vector<std::pair<std::string, std::string>> answers{
        {R"({"ReturnStatus":"0"})", " has no \"UserID\""},
        {R"({"ReturnStatus":"0","UserID":null})", " has no \"UserID\""},
        {R"({"UserID":"1"})", " has no \"ReturnStatus\""},
        {R"({"ReturnStatus":"0","UserID":""})", "'s \"UserID\" is empty"},
        {R"({"ReturnStatus":"0","UserID":{"a":1}})", "'s \"UserID\" is no text"},
        {R"({"ReturnStatus":"0","UserID":"1\u0000"})", "'s \"UserID\"" + badText},
        {R"({"ReturnStatus":"0","UserID":"\u001b]0;x\u0007"})", "'s \"UserID\"" + badText},
        {R"({"ReturnStatus":"0","UserID":")" + std::string(1 << 20, '1') + "\"}",
         "'s \"UserID\" is longer than 256 bytes"}};
    for (const auto& [answer, error] : answers) {
        server.enqueue(HttpReply::json(answer));
        expectOfHost(70, ": the response" + error);
    }
}

TEST_F(AFailedSetup, TakesNoResponseThatIsNone) {
    server.enqueue(HttpReply::json("[]"));
    expectOfHost(70, ": the response cannot be read: the response is not a dictionary");
    server.enqueue(HttpReply::ok("<html>"));
    auto result = setUp(all(server.host()));
    EXPECT_EQ(result.status, 76);
    EXPECT_TRUE(result.errors.starts_with("quenmark: " + server.host() + ": the response is not JSON: "))
        << result.errors;
    server.enqueue(HttpReply::raw("").thenClose());
    result = setUp(all(server.host()));
    EXPECT_EQ(result.status, 74);
    EXPECT_FALSE(hasSettings());
}

TEST_F(AFailedSetup, KeepsNothingOfAnAccountWithoutAComputer) {
    server.enqueue(signInTarget, HttpReply::json(R"({"ReturnStatus":"0","ReturnVal":"Verified","UserID":5})"));
    server.enqueue(registerTarget, HttpReply::json(R"({"ReturnStatus":"0","ComputerID":false})"));
    const auto result = setUp(all(server.host()));
    EXPECT_EQ(result.status, 70);
    EXPECT_EQ(result.errors, "quenmark: ann@example.org is signed in at " + server.host() +
                                 "\nquenmark: " + server.host() + ": the response's \"ComputerID\" is no text\n");
    EXPECT_FALSE(hasSettings());
    EXPECT_FALSE(std::filesystem::exists(home.path("items")));
    ASSERT_EQ(server.requests().size(), 2U);
    EXPECT_EQ(server.requests()[1].body,
              "{\n  \"UserID\" : \"5\",\n  \"QuenmarkPath\" : \"" + home.path("items") + "\"\n}");
}

TEST_F(AFailedSetup, PutsTheDeploymentSettingsBackWhereThePreferencesCannotBeWritten) {
    // A folder is in the way of the lock.
    std::filesystem::create_directories(home.config().path("quenmark/.Velkarin.Quenmark.json.lock"));
    const std::string error = preferencesFile() + ": Is a directory";
    expect({"--host", "h", "--user", "1", "--computer", "2", "--path", home.path("items")}, 74, error);
    const std::string before = "{\"mode\":\"compatible\"}";
    home.setDeployment(before);
    server.enqueue(registerTarget, HttpReply::json(R"({"ReturnStatus":"0","ComputerID":9})"));
    const auto result = setUp({"--host", server.host(), "--user", "1", "--path", home.path("items")});
    EXPECT_EQ(result.status, 74);
    EXPECT_EQ(result.errors,
              "quenmark: " + error + "; this computer is registered: try again with --computer 9 --user 1\n");
    EXPECT_EQ(deployment(), before);
    EXPECT_FALSE(std::filesystem::exists(home.path("items")));
}

TEST_F(AFailedSetup, IsNoneWhereTheTableCannotBeWritten) {
    const auto result =
        TestSupport::runCommand({"sh", "-c", "exec \"$@\" > /dev/full", "sh", QUENMARK_PROGRAM, "setup", "--no-enable",
                                 "--host", "h", "--user", "1", "--computer", "2", "--path", home.path("items")});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "quenmark: computer 2 of user 1 receives from h into " + home.path("items/Quenmark") +
                                 "\nquenmark: standard output: No space left on device\n");
    EXPECT_EQ(preferences(), preferencesText("2", "1", home.path("items")));
}

TEST_F(AFailedSetup, CopiesTheSettingsOfAnInstallationForAllUsers) {
    folder.write("xdg/quenmark/deployment.json", R"({"serviceHost":"h","appKitVersionNumber":1200,"mode":"managed"})");
    const TestSupport::ScopedEnvironment directories{{"XDG_CONFIG_DIRS", folder.path("xdg")}};
    const std::vector<std::string> options{"--user", "1", "--computer", "2", "--path", home.path("items")};
    EXPECT_EQ(setUp(options).status, 0);
    EXPECT_EQ(preferences(), preferencesText("2", "1", home.path("items")));
    EXPECT_FALSE(std::filesystem::exists(deploymentFile())) << "they say all that is to be said";
    EXPECT_EQ(setUp({"--host", "127.0.0.1:9"}).status, 0);
    EXPECT_EQ(deployment(), "{\n  \"serviceHost\" : \"127.0.0.1:9\",\n  \"appKitVersionNumber\" : 1200,\n"
                            "  \"mode\" : \"managed\"\n}\n");
}

} // namespace ToolTest
