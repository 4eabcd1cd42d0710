// Values from outside on a terminal: they steer nothing there, and are exact elsewhere.

#include "RunningTool.h"
#include "Support/PrivateBus.h"
#include "ToolFixture.h"

#include <csignal>
#include <filesystem>

namespace ToolTest {

using TestSupport::CommandResult;
using TestSupport::HttpReply;

class AToolOnATerminal : public AQuenmarkTool {
protected:
    /// Runs the program with a terminal as its standard output (script(1)).
    static CommandResult runOnTerminal(const std::string& arguments) {
        return TestSupport::runCommand({"script", "-qec", QUENMARK_PROGRAM " " + arguments, "/dev/null"});
    }
    void setPreferences(const std::string& json) const { home.setPreferences(json); }
};

TEST_F(AToolOnATerminal, EscapesWhatSteersItInPreferences) {
    setPreferences("{\"a\":\"x\u009B31m\\u001b]0;t\\u0007\u2028y\",\"b\":\"é\"}");
    EXPECT_EQ(runOnTerminal("prefs get a").output, "x\\xC2\\x9B31m\\x1B]0;t\\x07\\xE2\\x80\\xA8y\r\n");
    EXPECT_EQ(runOnTerminal("prefs list").output, "a=x\\xC2\\x9B31m\\x1B]0;t\\x07\\xE2\\x80\\xA8y\r\nb=é\r\n");
    EXPECT_EQ(run({"prefs", "get", "a"}).output, "x\u009B31m\x1B]0;t\x07\u2028y\n");
    EXPECT_EQ(run({"prefs", "list"}).output, "a=x\u009B31m\x1B]0;t\x07\u2028y\nb=é\n");
}

TEST_F(AToolOnATerminal, EscapesInJsonWhatJsonLeavesAsItIs) {
    server.setHandler([](const auto&) {
        return HttpReply::json("{\"FileName\":\"\\u001b\x7F\u0080\u009B31m\u00A0é\u2028\u2029\"}");
    });
    EXPECT_EQ(runOnTerminal("call GetTopFileUpload").output,
              "{\r\n  \"fileName\" : \"\\u001b\\u007f\\u0080\\u009b31m\u00A0é\\u2028\\u2029\"\r\n}\r\n");
    EXPECT_EQ(run({"call", "GetTopFileUpload"}).output,
              "{\n  \"fileName\" : \"\\u001b\x7F\u0080\u009B31m\u00A0é\u2028\u2029\"\n}\n");
}

TEST_F(AToolOnATerminal, EscapesNamesInWhatItComplainsOf) {
    const auto result = run({"push", folder.path("no\u009B31m\x9B"), "--to", "7"});
    EXPECT_EQ(result.status, 66);
    EXPECT_EQ(result.errors, "quenmark: " + folder.path("no\\xC2\\x9B31m\\x9B") + ": No such file or directory\n");
}

TEST_F(AToolOnATerminal, EscapesNamesOfItemsThatArrive) {
    const std::string root = home.path("Quenmark");
    setPreferences("{\"quenmarkPathKey\":\"" + home.path() + "\"}");
    std::filesystem::create_directories(root);
    const TestSupport::PrivateBus bus;
    RunningTool tool({"watch"});
    for (int number = 0; number < 1000 && tool.output().empty(); ++number) {
        std::filesystem::create_directory(root + "/\u009B2J\u0085\x9B" + std::to_string(number));
        loop.runOnce(std::chrono::milliseconds(20));
    }
    EXPECT_TRUE(tool.output().starts_with(root + "/\\xC2\\x9B2J\\xC2\\x85\\x9B")) << tool.output() << tool.errors();
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
}

} // namespace ToolTest
