// quenmark doctor: all checks together in this process, and the real program.

#include "Tools/Doctor/Doctor.h"

#include "DoctorText.h"
#include "Platform/Files/Files.h"
#include "RunningTool.h"
#include "StatusPeer.h"
#include "Support/PrivateBus.h"
#include "ToolFixture.h"
#include "UserUnitPeer.h"

#include <systemd/sd-bus.h>

#include <sys/stat.h>

#include <algorithm>
#include <optional>

namespace ToolTest {

using namespace Tools;

namespace {

/// A bus whose service runs, a web service that responds, and a folder.
class ADoctor : public AQuenmarkTool {
protected:
    ADoctor() {
        ::mkdir(folder.path("Quenmark").c_str(), 0700);
        home.setPreferences(TestSupport::TemporaryHome::preferencesFor(folder.path()));
        server.setHandler([](const auto&) { return TestSupport::HttpReply::status(404); });
        service->engines = {StatusPeer::engine()};
    }
    std::string checks() { return textOf(runChecks(loop)); }
    /// The line of a check, without its state and name.
    std::string check(const std::string& name) {
        for (const auto& one : runChecks(loop)) {
            if (one.check == name)
                return textOf({one});
        }
        return "there is no such check";
    }

    const std::string mark = folder.path("launched");
    std::optional<TestSupport::PrivateBus> bus{std::vector<TestSupport::PrivateBus::Service>{
        {"Velkarin.Quenmark.TopFileUploadXpcService", "/bin/touch " + mark}}};
    std::optional<StatusPeer> service{std::in_place};
    TestSupport::ScopedEnvironment terminal{{"TERM", "xterm"}, {"NO_COLOR", std::nullopt}};
};

} // namespace

TEST_F(ADoctor, ChecksEverything) {
    const UserUnitPeer manager;
    std::string names;
    for (const auto& check : runChecks(loop)) {
        EXPECT_EQ(check.state, CheckState::Ok) << textOf({check});
        names += check.check + "\n";
    }
    EXPECT_EQ(names, "session bus\nactivation\nuser manager\nquenmark.service\nservice\nengine 1\npreferences\n"
                     "computerIdKey\nuserIdKey\nquenmarkPathKey\ndeployment.json\nserviceHost\nserviceScheme\n"
                     "certificateAuthorities\nmode\n"
                     "appKitVersionNumber\nstagingDirectory\nhost name\nconnection\nHTTP\nfolder\nfree space\n"
                     "temporary area\nfile system\n");
    EXPECT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(service->reads, 1);
}

TEST_F(ADoctor, LaunchesNothing) {
    service.reset();
    EXPECT_EQ(check("service"), "warning|service|does not run|Run: quenmark start\n");
    EXPECT_FALSE(Platform::Files::exists(mark));
}

TEST_F(ADoctor, AsksTheUserManagerForTheUnit) {
    EXPECT_EQ(check("user manager"), "warning|user manager|none is on the session bus|The service starts when it is "
                                     "called, and not at login: run: quenmark start\n");
    UserUnitPeer manager;
    manager.properties = {{"LoadState", "loaded"}, {"ActiveState", "inactive"}, {"UnitFileState", "\x1b[2J"}};
    EXPECT_EQ(check("quenmark.service"),
              "warning|quenmark.service|\\x1B[2J, inactive|Run: systemctl --user start quenmark.service\n");
    manager.properties["SubState"] = "auto-restart";
    manager.exitStatus = 203;
    EXPECT_TRUE(
        check("quenmark.service").starts_with("warning|quenmark.service|has failed: its program cannot be run|"))
        << check("quenmark.service");
}

TEST_F(ADoctor, SaysThatTheBusCannotLaunchTheService) {
    service.reset();
    bus.reset();
    bus.emplace();
    EXPECT_TRUE(check("activation").starts_with("failure|activation|the bus knows no service file for "))
        << check("activation");
}

TEST_F(ADoctor, SaysThatTheServiceHasNoStatus) {
    service->answer = [](sd_bus_message* call) {
        return sd_bus_reply_method_errorf(call, "org.freedesktop.DBus.Error.UnknownObject", "no such object");
    };
    EXPECT_EQ(check("service"), "warning|service|the service does not tell its status: no such object|"
                                "Run: quenmark stop; then run: quenmark start\n");
}

TEST_F(ADoctor, ComparesTheServiceWithTheInstalledVersion) {
    EXPECT_EQ(check("service"), "ok|service|version " QUENMARK_VERSION ", compatible mode|\n");
    StatusPeer::set(service->properties, "Version", "0.9");
    EXPECT_EQ(check("service"), "warning|service|version 0.9, compatible mode; version " QUENMARK_VERSION
                                " is installed|Run: quenmark stop; then run: quenmark start\n");
}

TEST_F(ADoctor, ComparesTheServiceWithTheModeOfTheSettings) {
    home.setDeployment(R"({"serviceHost":")" + server.host() + R"(","mode":"managed"})");
    EXPECT_EQ(check("service"), "warning|service|version " QUENMARK_VERSION ", compatible mode; deployment.json says "
                                "managed|Run: quenmark stop; then run: quenmark start\n");
    StatusPeer::set(service->properties, "Mode", "managed");
    EXPECT_EQ(check("service"), "ok|service|version " QUENMARK_VERSION ", managed mode|\n");
}

TEST_F(ADoctor, AsksNoHostWhereNoneIsKnown) {
    home.setDeployment(R"({"serviceHost":")" + server.host() + R"(","serviceScheme":"htps"})");
    const auto text = checks();
    EXPECT_EQ(text.find("|HTTP|"), std::string::npos) << text;
    EXPECT_EQ(server.requests().size(), 0U);
}

TEST_F(ADoctor, GoesOnWithoutABus) {
    service.reset();
    bus.reset();
    const auto text = checks();
    EXPECT_TRUE(text.starts_with("failure|session bus|there is no session bus (No such file or directory)|")) << text;
    EXPECT_NE(text.find("\nok|HTTP|"), std::string::npos) << text;
    EXPECT_EQ(text.find("|service|"), std::string::npos) << text;
}

TEST_F(ADoctor, PrintsATableAndEndsWith1WhereACheckIsAFailure) {
    const auto fine = run({"doctor"});
    EXPECT_EQ(fine.status, 0) << fine.output;
    EXPECT_EQ(fine.errors, "");
    EXPECT_TRUE(fine.output.starts_with("ok       session bus             connected\n")) << fine.output;
    EXPECT_TRUE(fine.output.ends_with("\n0 failures, 1 warning\n")) << fine.output;
    EXPECT_EQ(fine.output.find('\x1b'), std::string::npos);

    service->engines = {StatusPeer::engine("blocked", "disk full: 1024 bytes missing")};
    home.setDeployment(R"({"serviceHost":")" + server.host() + R"(","mode":"Managed"})");
    const auto bad = run({"doctor"});
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.errors, "") << "what the settings' reader reports stands in the table";
    EXPECT_NE(bad.output.find("\nfailure  engine 1                blocked (disk full: 1024 bytes missing). The disk is "
                              "full: free 1.0 KiB or more on that of the Quenmark folder; the item then arrives by "
                              "itself\n"),
              std::string::npos)
        << bad.output;
    EXPECT_TRUE(bad.output.ends_with("\n1 failure, 2 warnings\n")) << bad.output;
}

TEST_F(ADoctor, PrintsAnArrayForPrograms) {
    service.reset();
    const auto result = run({"doctor", "--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(result.output.starts_with("[\n  {\n    \"check\" : \"session bus\",\n    \"state\" : \"ok\",\n"
                                          "    \"detail\" : \"connected\",\n    \"advice\" : \"\"\n  },\n"))
        << result.output;
    EXPECT_NE(result.output.find("  {\n    \"check\" : \"service\",\n    \"state\" : \"warning\",\n"
                                 "    \"detail\" : \"does not run\",\n    \"advice\" : \"Run: quenmark start\"\n  }"),
              std::string::npos)
        << result.output;
}

TEST_F(ADoctor, HasColoursOnATerminalThatTakesThem) {
    const auto onTerminal = [] {
        return TestSupport::runCommand({"script", "-qec", QUENMARK_PROGRAM " doctor", "/dev/null"}).output;
    };
    EXPECT_TRUE(onTerminal().starts_with("\x1b[32mok       \x1b[0msession bus "));
    terminal.set("TERM", "dumb");
    const auto rows = [](const std::string& columns) {
        const std::string command = "stty cols " + columns + "; " QUENMARK_PROGRAM " doctor";
        const auto output = TestSupport::runCommand({"script", "-qec", command, "/dev/null"}).output;
        return std::count(output.begin(), output.end(), '\n');
    };
    EXPECT_GT(rows("60"), rows("500"));
    const auto dumb = onTerminal();
    EXPECT_TRUE(dumb.starts_with("ok       session bus ")) << dumb;
    EXPECT_EQ(dumb.find('\x1b'), std::string::npos);
}

} // namespace ToolTest
