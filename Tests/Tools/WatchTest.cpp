// quenmark watch: what it prints of items that arrive and that are being received, and how it ends.

#include "RunningTool.h"
#include "ToolFixture.h"

#include <csignal>
#include <filesystem>

namespace ToolTest {

namespace fs = std::filesystem;

class AWatch : public AQuenmarkTool {
protected:
    AWatch() {
        home.setPreferences("{\"quenmarkPathKey\":\"" + home.path() + "\"}");
        fs::create_directories(root);
    }

    /// Puts a file in its place in one step, as the service does.
    void place(const std::string& name, const std::string& content) const {
        const auto temporary = folder.write("elsewhere", content);
        fs::rename(temporary, root + "/" + name);
    }
    /// Waits until the program watches: it has printed an item that was made after its start.
    void awaitReadiness(RunningTool& tool) {
        for (int number = 0; number < 1000 && tool.output().empty(); ++number) {
            fs::create_directory(root + "/ready" + std::to_string(number));
            loop.runOnce(std::chrono::milliseconds(20));
        }
        ASSERT_NE(tool.output(), "") << tool.errors();
    }

    const std::string root = home.path("Quenmark");
};

TEST_F(AWatch, PrintsEachItemThatArrives) {
    fs::create_directory(root + "/old");
    home.write("Quenmark/before.txt", "");
    RunningTool tool({"watch"});
    awaitReadiness(tool);
    place("a b.txt", "1");
    fs::create_directory(root + "/Docs");
    EXPECT_TRUE(tool.waitForOutput("/Docs/\n")) << tool.output();
    place("Docs/x.txt", "2");
    place("old/y.txt", "3");
    place("Docs/two\nlines", "4");
    EXPECT_TRUE(tool.waitForOutput("two\\x0Alines\n")) << tool.output();
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_EQ(tool.errors(), "");
    const auto start = tool.output().find(root + "/a b.txt\n");
    ASSERT_NE(start, std::string::npos) << tool.output();
    EXPECT_EQ(tool.output().substr(start), root + "/a b.txt\n" + root + "/Docs/\n" + root + "/Docs/x.txt\n" + root +
                                               "/old/y.txt\n" + root + "/Docs/two\\x0Alines\n");
    EXPECT_EQ(tool.output().find("before"), std::string::npos);
}

TEST_F(AWatch, ShowsOnATerminalHowMuchHasBeenReceived) {
    RunningTool tool({"watch"}, RunningTool::Errors::OnTerminal);
    awaitReadiness(tool);
    home.temporary().write("QuenmarkTemp/Docs/movie.bin", std::string(3 << 20, 'm'));
    EXPECT_TRUE(tool.waitForErrors("\r\x1b[Kmovie.bin 3.0 MiB")) << tool.errors();
    fs::rename(home.temporary().path("QuenmarkTemp/Docs/movie.bin"), root + "/movie.bin");
    EXPECT_TRUE(tool.waitForOutput(root + "/movie.bin\n")) << tool.output();
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_TRUE(tool.errors().ends_with("\r\x1b[K")) << "the line is taken away";
}

TEST_F(AWatch, ShowsAsMuchOfALongNameAsFitsIntoTheTerminal) {
    RunningTool tool({"watch"}, RunningTool::Errors::OnTerminal);
    awaitReadiness(tool);
    // The terminal has 60 columns; the character of two bytes would reach into the last one.
    const std::string start(58, 'a');
    home.temporary().write("QuenmarkTemp/" + start + "\u00E9 and more", "m");
    EXPECT_TRUE(tool.waitForErrors("\r\x1b[K" + start)) << tool.errors();
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_NE(tool.errors().find(start + "\r\x1b[K"), std::string::npos) << tool.errors();
    EXPECT_EQ(tool.errors().find("a\xC3"), std::string::npos) << tool.errors();
}

TEST_F(AWatch, ShowsNoProgressElsewhere) {
    RunningTool tool({"watch"});
    awaitReadiness(tool);
    home.temporary().write("QuenmarkTemp/movie.bin", "m");
    place("end", "");
    EXPECT_TRUE(tool.waitForOutput("/end\n"));
    tool.signal(SIGTERM);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_EQ(tool.errors(), "");
}

TEST_F(AWatch, ShowsNoProgressOnATerminalThatTakesNoEscapes) {
    const TestSupport::ScopedEnvironment dumb{{"TERM", "dumb"}};
    RunningTool tool({"watch"}, RunningTool::Errors::OnTerminal);
    awaitReadiness(tool);
    home.temporary().write("QuenmarkTemp/movie.bin", "m");
    place("end", "");
    EXPECT_TRUE(tool.waitForOutput("/end\n"));
    tool.signal(SIGTERM);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_EQ(tool.errors(), "");
}

TEST_F(AWatch, WaitsForAFolderThatIsNotThereYet) {
    fs::remove(root);
    RunningTool tool({"watch"});
    // Whether the program waits already shows only once it tells of an item.
    for (int number = 0; number < 1000 && tool.output().empty(); ++number) {
        fs::remove_all(root);
        fs::create_directory(root);
        place("first", "");
        loop.runOnce(std::chrono::milliseconds(20));
    }
    EXPECT_TRUE(tool.output().starts_with(root + "/first\n")) << tool.output() << tool.errors();
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
}

TEST_F(AWatch, EndsWith78WhereItDoesNotKnowTheFolder) {
    home.setPreferences("{}");
    const auto result = run({"watch"});
    EXPECT_EQ(result.status, 78);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "quenmark: quenmarkPathKey is not set; set it with: quenmark prefs set quenmarkPathKey "
                             "FOLDER\n");
}

} // namespace ToolTest
