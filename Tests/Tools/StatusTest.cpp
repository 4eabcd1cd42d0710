// quenmark status: the real program against a program on the bus that answers as a test says.

#include "Platform/Files/Files.h"
#include "RunningTool.h"
#include "StatusPeer.h"
#include "Support/Pattern.h"
#include "Support/PrivateBus.h"
#include "ToolFixture.h"

#include <systemd/sd-bus.h>

#include <csignal>
#include <optional>

namespace ToolTest {

using TestSupport::CommandResult;

namespace {

class AStatus : public AQuenmarkTool {
protected:
    AStatus() {
        bus.emplace();
        service.emplace();
        service->engines = {StatusPeer::engine()};
    }
    /// The exit status where one engine is in that state.
    int statusIn(const std::string& state) {
        service->engines = {StatusPeer::engine(state)};
        return run({"status"}).status;
    }
    /// Runs the program with a terminal as its standard output (script(1)).
    static CommandResult runOnTerminal(const std::string& arguments) {
        return TestSupport::runCommand({"script", "-qec", QUENMARK_PROGRAM " " + arguments, "/dev/null"});
    }
    static std::size_t countOf(const std::string& text, const std::string& part) {
        std::size_t count = 0;
        for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
            ++count;
        return count;
    }

    TestSupport::ScopedEnvironment terminal{{"TERM", "xterm"}, {"NO_COLOR", std::nullopt}};
    std::optional<TestSupport::PrivateBus> bus;
    std::optional<StatusPeer> service;
};

constexpr const char* idleJson =
    R"({"running":true,"version":"1.0.0","mode":"compatible","frontEnd":"listener",)"
    R"("serviceRoot":"http://host/QuenmarkRestService/","started":"1970-01-01T00:00:01Z","itemsReceived":12,)"
    R"("bytesReceived":3500000,"engines":[{"id":1,"peer":":1.5","state":"idle","reason":"",)"
    R"("since":"1970-01-01T00:00:01Z","item":"","bytes":0,"passes":7}]})"
    "\n";

} // namespace

TEST_F(AStatus, IsAScreenForPeople) {
    const auto result = run({"status"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
    EXPECT_TRUE(result.output.starts_with("state          idle for ")) << result.output;
    EXPECT_NE(result.output.find("\nreceived       12 items, 3.3 MiB\nservice        1.0.0, compatible mode, running "
                                 "for "),
              std::string::npos)
        << result.output;
    EXPECT_TRUE(result.output.ends_with("\nweb service    http://host/QuenmarkRestService/\n")) << result.output;
    EXPECT_EQ(countOf(result.output, "\n"), 4U);
}

TEST_F(AStatus, CountsTimesFromNow) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto before = std::chrono::duration_cast<std::chrono::microseconds>(now - std::chrono::hours(49));
    StatusPeer::set(service->engines[0], "Since", std::int64_t{before.count()});
    const auto result = run({"status"});
    EXPECT_TRUE(result.output.starts_with("state          idle for 2 d 1 h\n")) << result.output;
}

TEST_F(AStatus, IsAnObjectForPrograms) {
    const auto result = run({"status", "--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output,
              "{\n  \"running\" : true,\n  \"version\" : \"1.0.0\",\n  \"mode\" : \"compatible\",\n"
              "  \"frontEnd\" : \"listener\",\n  \"serviceRoot\" : \"http://host/QuenmarkRestService/\",\n"
              "  \"started\" : \"1970-01-01T00:00:01Z\",\n  \"itemsReceived\" : 12,\n  \"bytesReceived\" : 3500000,\n"
              "  \"engines\" : [\n    {\n      \"id\" : 1,\n      \"peer\" : \":1.5\",\n      \"state\" : \"idle\",\n"
              "      \"reason\" : \"\",\n      \"since\" : \"1970-01-01T00:00:01Z\",\n      \"item\" : \"\",\n"
              "      \"bytes\" : 0,\n      \"passes\" : 7\n    }\n  ]\n}\n");
}

TEST_F(AStatus, IsAlsoTheExitStatus) {
    for (const char* state : {"idle", "polling", "flushing", "acknowledging"})
        EXPECT_EQ(statusIn(state), 0) << state;
    for (const char* state : {"stalled", "retrying", "blocked", "offline", "created"})
        EXPECT_EQ(statusIn(state), 75) << state;
    EXPECT_EQ(statusIn("unconfigured"), 78);
    EXPECT_EQ(run({"status", "--json"}).status, 78);
}

TEST_F(AStatus, LaunchesNothing) {
    service.reset();
    const auto mark = folder.path("launched");
    bus.emplace(std::vector<TestSupport::PrivateBus::Service>{
        {"Velkarin.Quenmark.TopFileUploadXpcService", "/bin/touch " + mark}});
    const auto text = run({"status"});
    EXPECT_EQ(text.status, 69);
    EXPECT_EQ(text.output, "state          not running\nwhat to do     Run: quenmark start\n");
    EXPECT_EQ(text.errors, "");
    const auto json = run({"status", "--json"});
    EXPECT_EQ(json.status, 69);
    EXPECT_EQ(json.output, "{\n  \"running\" : false\n}\n");
    EXPECT_FALSE(Platform::Files::exists(mark));
}

TEST_F(AStatus, TellsTheRateOfADownload) {
    auto download = StatusPeer::engine("downloading");
    StatusPeer::set(download, "Item", "\\a");
    StatusPeer::set(download, "Total", std::uint64_t{100} << 20);
    service->engines = {download};
    service->answer = [&](sd_bus_message* call) {
        StatusPeer::set(service->engines[0], "Bytes", std::uint64_t{10} << (service->reads + 19));
        return service->reply(call);
    };
    const auto result = run({"status"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(service->reads, 2);
    const TestSupport::Pattern progress(
        "\nitem           \\\\a\nprogress       20 % of 100\\.0 MiB, [0-9.]+ [KM]iB/s, [0-9]+ s left\n");
    EXPECT_TRUE(progress.isFoundIn(result.output)) << result.output;
    EXPECT_EQ(run({"status", "--json"}).status, 0);
    EXPECT_EQ(service->reads, 3) << "it has no rate";
}

TEST_F(AStatus, IsShownAtOnceWhereADownloadEnds) {
    auto download = StatusPeer::engine("downloading");
    service->engines = {download};
    service->answer = [&](sd_bus_message* call) {
        const int result = service->reply(call);
        service->engines = {StatusPeer::engine("idle")};
        service->answer = nullptr;
        service->announce();
        return result;
    };
    EXPECT_TRUE(run({"status"}).output.starts_with("state          idle for "));
    EXPECT_EQ(service->reads, 2);
}

TEST_F(AStatus, EndsWith70WhereTheAnswerIsNone) {
    StatusPeer::remove(service->engines[0], "State");
    const auto result = run({"status"});
    EXPECT_EQ(result.status, 70);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "quenmark: the service's status cannot be read: Engines[0].State is missing\n");
}

TEST_F(AStatus, EndsWith69WhereThereIsNoBus) {
    service.reset();
    bus.reset();
    for (const auto& arguments : {std::vector<std::string>{"status"}, {"status", "--json"}, {"status", "--follow"}}) {
        const auto result = run(arguments);
        EXPECT_EQ(result.status, 69);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "quenmark: there is no session bus (No such file or directory)\n");
    }
}

TEST_F(AStatus, EndsWith74WhereItCannotBeWritten) {
    for (const char* arguments : {"status", "status --json", "status --follow"}) {
        const auto result =
            TestSupport::runCommand({"sh", "-c", std::string(QUENMARK_PROGRAM " ") + arguments + " > /dev/full"});
        EXPECT_EQ(result.status, 74) << arguments;
        EXPECT_EQ(result.errors, "quenmark: standard output: No space left on device\n");
    }
}

TEST_F(AStatus, HoldsHostileTextsWithoutHarm) {
    const std::string huge = "\x1B]0;t\x07" + std::string(1 << 20, 'x');
    StatusPeer::set(service->engines[0], "State", "\x1B[2J");
    StatusPeer::set(service->engines[0], "LastItem", huge);
    const auto result = run({"status"});
    EXPECT_EQ(result.status, 0);
    EXPECT_LT(result.output.size(), 1000U);
    EXPECT_EQ(result.output.find('\x1B'), std::string::npos);
    EXPECT_TRUE(result.output.starts_with("state          \\x1B[2J for ")) << result.output;
    const auto json = run({"status", "--json"});
    EXPECT_NE(json.output.find("\"\\u001b]0;t\\u0007xxx"), std::string::npos);
}

TEST_F(AStatus, HasColoursOnATerminalAlone) {
    EXPECT_TRUE(runOnTerminal("status").output.starts_with("state          \x1b[32midle for ")) << "green";
    EXPECT_EQ(run({"status"}).output.find('\x1b'), std::string::npos);
    terminal.set("NO_COLOR", "1");
    EXPECT_EQ(runOnTerminal("status").output.find('\x1b'), std::string::npos);
    terminal.set("NO_COLOR", std::nullopt);
    terminal.set("TERM", "dumb");
    EXPECT_EQ(runOnTerminal("status").output.find('\x1b'), std::string::npos);
}

TEST_F(AStatus, FitsTheTerminal) {
    service->engines = {StatusPeer::engine("stalled", "transport -1004")};
    const auto result = TestSupport::runCommand(
        {"script", "-qec", "stty cols 60 rows 24; NO_COLOR=1 " QUENMARK_PROGRAM " status", "/dev/null"});
    EXPECT_NE(result.output.find("\r\nwhat to do     The web service cannot be connected to:\r\n"
                                 "               check that the web service runs at\r\n"
                                 "               http://host/QuenmarkRestService/, the\r\n"
                                 "               address of deployment.json; then run:\r\n"
                                 "               quenmark start\r\nreceived"),
              std::string::npos)
        << result.output;
}

TEST_F(AStatus, FollowedPrintsALineForEachChange) {
    service->leave();
    RunningTool tool({"status", "--follow"});
    ASSERT_TRUE(tool.waitForOutput("not running\n")) << tool.errors();
    service->claim();
    ASSERT_TRUE(tool.waitForOutput("idle; 12 items, 3.3 MiB\n")) << tool.output();
    StatusPeer::set(service->engines[0], "Passes", std::uint64_t{8});
    service->announce();
    ASSERT_TRUE(loop.runUntil([&] { return service->reads == 2; }));
    service->engines = {StatusPeer::engine("stalled", "bad response")};
    service->announce();
    ASSERT_TRUE(tool.waitForOutput("stalled (bad response); 12 items, 3.3 MiB\n")) << tool.output();
    service->leave();
    ASSERT_TRUE(loop.runUntil([&] { return countOf(tool.output(), "not running\n") == 2; }));
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_EQ(tool.output(), "not running\nidle; 12 items, 3.3 MiB\nstalled (bad response); 12 items, 3.3 MiB\n"
                             "not running\n");
    EXPECT_EQ(tool.errors(), "");
}

TEST_F(AStatus, FollowedPrintsAnObjectForEachChange) {
    RunningTool tool({"status", "--follow", "--json"});
    ASSERT_TRUE(tool.waitForOutput("\n")) << tool.errors();
    service->announce();
    ASSERT_TRUE(loop.runUntil([&] { return service->reads == 2; }));
    service->leave();
    ASSERT_TRUE(tool.waitForOutput("{\"running\":false}\n"));
    tool.signal(SIGTERM);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_EQ(tool.output(), idleJson + std::string("{\"running\":false}\n"));
}

TEST_F(AStatus, FollowedEndsWithItsBus) {
    RunningTool tool({"status", "--follow"});
    ASSERT_TRUE(tool.waitForOutput("\n")) << tool.errors();
    bus->kill();
    EXPECT_EQ(tool.wait(), 69);
    EXPECT_EQ(tool.errors(), "quenmark: the session bus is lost\n");
}

TEST_F(AStatus, FollowedRedrawsTheScreenOnATerminal) {
    terminal.set("NO_COLOR", "1");
    StatusPeer::set(service->properties, "Version", "1.0.0-beta.1");
    RunningTool tool({"status", "--follow"}, RunningTool::Errors::Piped, RunningTool::Output::OnTerminal);
    ASSERT_TRUE(tool.waitForOutput("QuenmarkRestService/\r\n")) << tool.errors();
    EXPECT_TRUE(tool.output().starts_with("\r\x1b[Jstate          idle for ")) << tool.output();
    // The 60 columns make 5 lines of the 4, since the version makes one of them longer. Times go on, without a look at
    // the service.
    ASSERT_TRUE(loop.runUntil([&] { return countOf(tool.output(), "\x1b[5A\r\x1b[Jstate ") == 2; })) << tool.output();
    EXPECT_EQ(service->reads, 1);
    service->leave();
    ASSERT_TRUE(tool.waitForOutput("\x1b[5A\r\x1b[Jstate          not running\r\nwhat to do     Run: quenmark "
                                   "start\r\n"));
    ASSERT_TRUE(tool.waitForOutput("\x1b[2A\r\x1b[Jstate          not running\r\n"));
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
}

TEST_F(AStatus, FollowedLooksAtADownloadEachSecondOnATerminal) {
    service->engines = {StatusPeer::engine("downloading")};
    RunningTool tool({"status", "--follow"}, RunningTool::Errors::Piped, RunningTool::Output::OnTerminal);
    ASSERT_TRUE(loop.runUntil([&] { return service->reads == 3; })) << tool.output();
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
}

TEST_F(AStatus, FollowedKeepsWithinTheTerminal) {
    service->engines.resize(5, StatusPeer::engine("created"));
    // 10 lines of engines and 3 of the service, of which 24 rows show all, and 10 rows 9.
    RunningTool tool({"status", "--follow"}, RunningTool::Errors::Piped, RunningTool::Output::OnLowTerminal);
    ASSERT_TRUE(tool.waitForOutput("\x1b[9A\r\x1b[J")) << tool.output();
    EXPECT_EQ(tool.output().find("received"), std::string::npos) << tool.output();
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
}

TEST_F(AStatus, FollowedPrintsLinesOnATerminalThatTakesNoEscapes) {
    terminal.set("TERM", "dumb");
    RunningTool tool({"status", "--follow"}, RunningTool::Errors::Piped, RunningTool::Output::OnTerminal);
    ASSERT_TRUE(tool.waitForOutput("idle; 12 items, 3.3 MiB\r\n")) << tool.output();
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_EQ(tool.output(), "idle; 12 items, 3.3 MiB\r\n");
}

TEST_F(AStatus, FollowedPrintsObjectsThatSteerNoTerminal) {
    StatusPeer::set(service->engines[0], "Item", "\u009B31m");
    RunningTool tool({"status", "--follow", "--json"}, RunningTool::Errors::Piped, RunningTool::Output::OnTerminal);
    ASSERT_TRUE(tool.waitForOutput("\r\n"));
    EXPECT_NE(tool.output().find("\"item\":\"\\u009b31m\""), std::string::npos) << tool.output();
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
}

} // namespace ToolTest
