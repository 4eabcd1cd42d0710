// quenmark setup at a terminal: it asks for what is missing, and the terminal is as it was afterwards.

#include "SetupFixture.h"
#include "TerminalSession.h"

#include <csignal>

namespace ToolTest {

using TestSupport::HttpReply;

class ASetupAtATerminal : public ASetup {
protected:
    ASetupAtATerminal() {
        server.setHandler([](const auto&) {
            return HttpReply::json(R"({"ReturnStatus":"0","ReturnVal":"Verified","UserID":"1","ComputerID":"2"})");
        });
    }
    static constexpr const char* passwordQuestion = "Password: ";
};

TEST_F(ASetupAtATerminal, AsksForWhatIsMissing) {
    TerminalSession session({"setup", "--no-enable"});
    ASSERT_TRUE(session.waitFor("Host of the web service: ")) << session.screen();
    EXPECT_TRUE(session.echoes());
    session.type("no host\n");
    ASSERT_TRUE(session.waitFor("Host of the web service: ", 2)) << session.screen();
    session.type(server.host() + "\n");
    ASSERT_TRUE(session.waitFor("Mail address: ")) << session.screen();
    session.type("ann@example.org\n");
    ASSERT_TRUE(session.waitFor(passwordQuestion)) << session.screen();
    EXPECT_FALSE(session.echoes());
    session.type("\n");
    ASSERT_TRUE(session.waitFor(passwordQuestion, 2)) << session.screen();
    session.type("s3cr3t\n");
    ASSERT_TRUE(session.waitFor("Folder that holds the Quenmark folder [" + home.path() + "]: ")) << session.screen();
    EXPECT_TRUE(session.echoes());
    session.type("~/items/\n");
    EXPECT_EQ(session.wait(), 0);
    EXPECT_TRUE(
        session.screen().starts_with("Host of the web service: no host\r\n"
                                     "quenmark: this is not a host with an optional port, such as 127.0.0.1:8080\r\n"
                                     "Host of the web service: " +
                                     server.host() +
                                     "\r\nMail address: ann@example.org\r\n"
                                     "Password: \r\n"
                                     "quenmark: this is empty\r\n"
                                     "Password: \r\n"
                                     "Folder that holds the Quenmark folder [" +
                                     home.path() +
                                     "]: ~/items/\r\n"
                                     "quenmark: ann@example.org is signed in at " +
                                     server.host() + "\r\nquenmark: computer 2 of user 1 receives from " +
                                     server.host() + " into " + home.path("items/Quenmark") + "\r\n"))
        << session.screen();
    EXPECT_EQ(session.screen().find("s3cr3t"), std::string::npos);
    EXPECT_EQ(preferences(), preferencesText("2", "1", home.path("items")));
    EXPECT_EQ(deployment(), deploymentText(server.host()));
    ASSERT_FALSE(server.requests().empty());
    EXPECT_EQ(server.requests()[0].body, "{\n  \"MailID\" : \"ann@example.org\",\n  \"Password\" : \"s3cr3t\"\n}");
}

TEST_F(ASetupAtATerminal, AsksForNothingThatIsGivenOrSet) {
    home.setDeployment(deploymentText(server.host()));
    TerminalSession session({"setup", "--no-enable", "--mail", "ann@example.org", "--password-file", "-"});
    ASSERT_TRUE(session.waitFor(passwordQuestion)) << session.screen();
    EXPECT_FALSE(session.echoes());
    session.type("s3cr3t\n");
    ASSERT_TRUE(session.waitFor("]: ")) << session.screen();
    session.type("\n");
    EXPECT_EQ(session.wait(), 0);
    EXPECT_EQ(preferences(), preferencesText("2", "1", home.path()));
    TerminalSession again({"setup", "--no-enable"});
    EXPECT_EQ(again.wait(), 0);
    EXPECT_TRUE(again.screen().starts_with("quenmark: computer 2 of user 1 receives from ")) << again.screen();
}

TEST_F(ASetupAtATerminal, ShowsWhatIsTypedAgainAfterASignal) {
    for (const auto& [keys, number] : {std::pair{"\x03", SIGINT}, {"", SIGTERM}, {"", SIGHUP}}) {
        TerminalSession session({"setup", "--host", server.host(), "--mail", "ann@example.org"});
        ASSERT_TRUE(session.waitFor(passwordQuestion)) << session.screen();
        EXPECT_FALSE(session.echoes());
        if (*keys != '\0')
            session.type(keys);
        else
            session.signal(number);
        EXPECT_EQ(session.wait(), 128 + number);
        EXPECT_TRUE(session.echoes());
        EXPECT_EQ(session.screen(), "Password: \r\n");
    }
    EXPECT_FALSE(hasSettings());
    EXPECT_EQ(server.requests().size(), 0U);
}

TEST_F(ASetupAtATerminal, AsksAgainWhereItWasNotStopped) {
    // The program has no parent in its session that could continue it, so that the kernel does not stop it (POSIX.1,
    // 2.4.3).
    TerminalSession session({"setup", "--host", server.host(), "--mail", "ann@example.org"});
    ASSERT_TRUE(session.waitFor(passwordQuestion)) << session.screen();
    session.type("\x1a");
    ASSERT_TRUE(session.waitFor(passwordQuestion, 2)) << session.screen();
    EXPECT_FALSE(session.echoes());
    session.type("\x04");
    EXPECT_EQ(session.wait(), 64);
    EXPECT_TRUE(session.echoes());
    EXPECT_EQ(session.screen(), "Password: \r\nPassword: \r\n"
                                "quenmark: missing: --password-file (the input has ended)\r\n");
    EXPECT_FALSE(hasSettings());
}

} // namespace ToolTest
