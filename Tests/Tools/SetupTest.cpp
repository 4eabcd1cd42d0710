// quenmark setup against the development web service: from nothing to a computer that is set up, and again.

#include "SetupFixture.h"
#include "Support/ServiceProcess.h"

namespace ToolTest {

class AComputer : public ASetup {
protected:
    void expectSuccess(const TestSupport::CommandResult& result, const std::string& errors) const {
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.errors, errors);
    }
    std::string receives(const std::string& computer, const std::string& user, const std::string& place) const {
        return "quenmark: computer " + computer + " of user " + user + " receives from " + host + " into " + place +
               "/Quenmark\n";
    }
    std::string registered(const std::string& mail) const {
        return "quenmark: " + mail + " is registered at " + host + "\n";
    }
    std::string signedIn(const std::string& mail) const {
        return "quenmark: " + mail + " is signed in at " + host + "\n";
    }
    void setUpFirst() const {
        expectSuccess(setUp(all(host)), registered("ann@example.org") + receives("2", "1", items));
    }

    webservice::test::ServiceProcess service{folder.path("data")};
    std::string host = service.host();
    std::string items = home.path("items");
};

TEST_F(AComputer, IsSetUpByOneCommand) {
    const auto result = setUp(all(host));
    expectSuccess(result, registered("ann@example.org") + receives("2", "1", items));
    EXPECT_EQ(preferences(), preferencesText("2", "1", items));
    EXPECT_EQ(deployment(), deploymentText(host));
    EXPECT_TRUE(std::filesystem::is_directory(items + "/Quenmark"));
    // The table of the doctor comes last.
    EXPECT_NE(result.output.find("ok       computerIdKey           2, from " + preferencesFile() + "\n"),
              std::string::npos)
        << result.output;
    EXPECT_TRUE(result.output.ends_with(" warnings\n")) << result.output;
    for (const auto& text : {result.output, result.errors, service.errors()})
        EXPECT_EQ(text.find("s3cr3t"), std::string::npos) << text;
    service.signal(SIGTERM);
    EXPECT_EQ(service.exitStatus(), 0);
    EXPECT_NE(service.errors().find("POST /QuenmarkRestService/Registration.svc/RegisterComputer 200 "),
              std::string::npos)
        << service.errors();
}

TEST_F(AComputer, IsNotRegisteredTwiceForOneAccount) {
    setUpFirst();
    expectSuccess(setUp(account()), signedIn("ann@example.org") + receives("2", "1", items));
    EXPECT_EQ(preferences(), preferencesText("2", "1", items));
    expectSuccess(setUp(account("bob@example.org")), registered("bob@example.org") + receives("4", "2", items));
    EXPECT_EQ(preferences(), preferencesText("4", "2", items));
}

TEST_F(AComputer, IsRegisteredOnceMoreWhereItsIdentifierIsUnset) {
    setUpFirst();
    EXPECT_EQ(run({"prefs", "unset", "computerIdKey"}).status, 0);
    expectSuccess(setUp({}), receives("3", "1", items));
    EXPECT_EQ(preferences(), "{\n  \"userIdKey\" : \"1\",\n  \"quenmarkPathKey\" : \"" + items +
                                 "\",\n  \"computerIdKey\" : \"3\"\n}\n");
}

TEST_F(AComputer, KeepsWhatNoOptionNames) {
    home.setDeployment("{\"stagingDirectory\":\"/var/tmp\",\"serviceHost\":\"" + host +
                       R"(","appKitVersionNumber":1200.5,"x":[1,null],"mode":"compatible"})");
    home.setPreferences(R"({"computerIdKey":7,"other":{"a":"b"},"userIdKey":"42","quenmarkPathKey":"/nowhere"})");
    const auto other = home.path("other");
    expectSuccess(setUp({"--path", other + "//"}), receives("7", "42", other));
    EXPECT_EQ(preferences(), "{\n  \"computerIdKey\" : \"7\",\n  \"other\" : {\n    \"a\" : \"b\"\n  },\n"
                             "  \"userIdKey\" : \"42\",\n  \"quenmarkPathKey\" : \"" +
                                 other + "\"\n}\n");
    EXPECT_EQ(deployment(), "{\n  \"stagingDirectory\" : \"/var/tmp\",\n  \"serviceHost\" : \"" + host +
                                "\",\n  \"appKitVersionNumber\" : 1.2005E3,\n  \"x\" : [\n    1,\n    null\n  ],\n"
                                "  \"mode\" : \"managed\"\n}\n");
}

TEST_F(AComputer, IsAnotherOneAtAnotherHost) {
    home.setDeployment(R"({"serviceHost":"127.0.0.1:9"})");
    home.setPreferences(home.preferencesFor(items, "7"));
    expectSuccess(setUp({"--host", host, "--user", "42", "--computer", "7"}), receives("7", "42", items));
    home.setDeployment(R"({"serviceHost":"127.0.0.1:9"})");
    home.setPreferences(preferencesText("7", "1", items));
    auto options = account();
    options.insert(options.end(), {"--host", host});
    // User 1 of the one host is not user 1 of the other.
    expectSuccess(setUp(options), registered("ann@example.org") + receives("2", "1", items));
}

TEST_F(AComputer, StaysAsItIsWhereTheHostIsRenamed) {
    home.setDeployment(R"({"serviceHost":"127.0.0.1:9"})");
    home.setPreferences(home.preferencesFor(items, "7"));
    expectSuccess(setUp({"--host", host}), receives("7", "42", items));
    EXPECT_EQ(deployment(), deploymentText(host));
}

TEST_F(AComputer, StaysAsItIsWhereThePasswordIsAnother) {
    setUpFirst();
    folder.write("password", "n0t-it");
    auto options = account();
    options.insert(options.end(), {"--path", home.path("new")});
    const auto result = setUp(options);
    EXPECT_EQ(result.status, 76);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "quenmark: " + host +
                                 " refuses ann@example.org: the password of ann@example.org is another one "
                                 "(WrongPassword)\n");
    EXPECT_EQ(preferences(), preferencesText("2", "1", items));
    EXPECT_EQ(deployment(), deploymentText(host));
    EXPECT_FALSE(std::filesystem::exists(home.path("new")));
}

TEST_F(AComputer, IsRefusedForAUserWhomNobodyKnows) {
    const auto result = setUp({"--host", host, "--user", "9", "--path", items});
    EXPECT_EQ(result.status, 76);
    EXPECT_EQ(result.errors, "quenmark: " + host + " refuses a computer of user 9: there is no user 9 (UnknownUser)\n");
    EXPECT_FALSE(hasSettings());
    EXPECT_FALSE(std::filesystem::exists(items));
}

} // namespace ToolTest
