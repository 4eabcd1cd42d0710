// quenmark watch: what it prints of items that arrive and that are being received, and how it ends.

#include "RunningTool.h"
#include "StatusPeer.h"
#include "Support/Pattern.h"
#include "Support/PrivateBus.h"
#include "ToolFixture.h"

#include <systemd/sd-bus.h>

#include <csignal>
#include <filesystem>
#include <optional>

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

    /// An engine that has so many bytes of an item of 4 MiB.
    static StatusPeer::Engine download(std::uint64_t bytes) {
        auto engine = StatusPeer::engine("downloading");
        StatusPeer::set(engine, "Item", "\\Docs\\movie.bin");
        StatusPeer::set(engine, "Bytes", bytes);
        StatusPeer::set(engine, "Total", std::uint64_t{4} << 20);
        return engine;
    }

    const std::string root = home.path("Quenmark");
    std::optional<TestSupport::PrivateBus> bus{std::in_place};
    std::optional<StatusPeer> service;
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
    service.emplace();
    service->engines = {download(std::uint64_t{3} << 20)};
    RunningTool tool({"watch"}, RunningTool::Errors::OnTerminal);
    EXPECT_TRUE(tool.waitForErrors("\r75 % of 4.0 MiB \\Docs\\movie.bin")) << tool.errors();
    service->answer = [&](sd_bus_message* call) {
        StatusPeer::set(service->engines[0], "Bytes", (std::uint64_t{3} << 20) + (std::uint64_t(service->reads) << 10));
        return service->reply(call);
    };
    // It is read anew each second, whether the service announces a change or not.
    const TestSupport::Pattern rate("\r75 % of 4\\.0 MiB, [0-9.]+ (B|KiB)/s, [0-9]+ (s|min|h)[^\r]* left "
                                    "\\\\Docs\\\\movie\\.bin");
    EXPECT_TRUE(loop.runUntil([&] { return rate.isFoundIn(tool.errors()); })) << tool.errors();
    service->answer = nullptr;
    service->engines = {StatusPeer::engine("stalled", "status 1")};
    service->announce();
    EXPECT_TRUE(tool.waitForErrors("\rstalled (status 1)")) << tool.errors();
    service->engines = {StatusPeer::engine()};
    service->announce();
    EXPECT_TRUE(tool.waitForErrors("\r                  \r")) << tool.errors();
    service->leave();
    EXPECT_TRUE(tool.waitForErrors("\rthe service does not run")) << tool.errors();
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_TRUE(tool.errors().ends_with("\r                        \r")) << "the line is taken away";
    EXPECT_EQ(tool.errors().find('\x1b'), std::string::npos);
}

TEST_F(AWatch, ShowsAsMuchOfALongNameAsFitsIntoTheTerminal) {
    service.emplace();
    // The terminal has 60 columns; the character of two bytes would reach into the last one.
    const std::string start(41, 'a');
    auto engine = download(1 << 20);
    StatusPeer::set(engine, "Item", "\\" + start + "\u00E9 and more");
    service->engines = {engine};
    RunningTool tool({"watch"}, RunningTool::Errors::OnTerminal);
    EXPECT_TRUE(tool.waitForErrors("\r25 % of 4.0 MiB \\" + start)) << tool.errors();
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_EQ(tool.errors().find("a\xC3"), std::string::npos) << tool.errors();
}

TEST_F(AWatch, ShowsNoProgressElsewhere) {
    service.emplace();
    service->engines = {download(1)};
    const auto expectSilence = [&](RunningTool::Errors errors) {
        RunningTool tool({"watch"}, errors);
        awaitReadiness(tool);
        EXPECT_TRUE(loop.runUntil([&] { return service->reads > 0; }));
        service->reads = 0;
        place("end", "");
        EXPECT_TRUE(tool.waitForOutput("/end\n"));
        tool.signal(SIGTERM);
        EXPECT_EQ(tool.wait(), 0);
        EXPECT_EQ(tool.errors(), "");
        fs::remove(root + "/end");
    };
    expectSilence(RunningTool::Errors::Piped);
    const TestSupport::ScopedEnvironment dumb{{"TERM", "dumb"}};
    expectSilence(RunningTool::Errors::OnTerminal);
}

TEST_F(AWatch, PrintsAnObjectForEachEvent) {
    service.emplace();
    service->engines = {download(std::uint64_t{1} << 20)};
    RunningTool tool({"watch", "--json"});
    const std::string beginning = R"({"event":"service","running":true})"
                                  "\n"
                                  R"({"event":"state","engine":1,"state":"downloading","item":"\\Docs\\movie.bin"})"
                                  "\n"
                                  R"({"event":"progress","engine":1,"item":"\\Docs\\movie.bin","bytes":1048576,)"
                                  R"("total":4194304})"
                                  "\n";
    ASSERT_TRUE(tool.waitForOutput(beginning)) << tool.output() << tool.errors();
    place("bytes\xFF", "");
    EXPECT_TRUE(
        tool.waitForOutput("{\"event\":\"arrived\",\"path\":\"" + root + "/bytes\\\\xFF\",\"isFolder\":false}\n"))
        << tool.output();
    fs::create_directory(root + "/Docs");
    EXPECT_TRUE(tool.waitForOutput("{\"event\":\"arrived\",\"path\":\"" + root + "/Docs\",\"isFolder\":true}\n"))
        << tool.output();
    auto engine = StatusPeer::engine();
    StatusPeer::set(engine, "ItemsLost", std::uint64_t{1});
    StatusPeer::set(engine, "LastLostItem", "\\b");
    StatusPeer::set(engine, "LastLostReason", "move failed");
    service->engines = {engine};
    service->announce();
    EXPECT_TRUE(tool.waitForOutput(R"({"event":"lost","engine":1,"item":"\\b","reason":"move failed","items":1})"
                                   "\n"
                                   R"({"event":"state","engine":1,"state":"idle"})"
                                   "\n"))
        << tool.output();
    service->leave();
    EXPECT_TRUE(tool.waitForOutput("{\"event\":\"service\",\"running\":false}\n")) << tool.output();
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_EQ(tool.errors(), "");
    EXPECT_TRUE(tool.output().starts_with(beginning));
}

TEST_F(AWatch, NamesItemsThatAreLost) {
    service.emplace();
    service->engines = {StatusPeer::engine()};
    RunningTool tool({"watch"});
    ASSERT_TRUE(loop.runUntil([&] { return service->reads == 1; }));
    StatusPeer::set(service->engines[0], "ItemsLost", std::uint64_t{1});
    StatusPeer::set(service->engines[0], "LastLostItem", "\\b");
    StatusPeer::set(service->engines[0], "LastLostReason", "no bytes");
    service->announce();
    EXPECT_TRUE(
        tool.waitForErrors("quenmark: 1 item was acknowledged and not placed, at last \\b (no bytes): send again "
                           "what is missing; managed mode loses nothing\n"))
        << tool.errors();
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
}

TEST_F(AWatch, LaunchesNothingAndWaitsForTheService) {
    const auto mark = folder.path("launched");
    bus.emplace(std::vector<TestSupport::PrivateBus::Service>{
        {"Velkarin.Quenmark.TopFileUploadXpcService", "/bin/touch " + mark}});
    RunningTool tool({"watch", "--json"});
    ASSERT_TRUE(tool.waitForOutput("{\"event\":\"service\",\"running\":false}\n")) << tool.errors();
    service.emplace();
    EXPECT_TRUE(tool.waitForOutput("{\"event\":\"service\",\"running\":true}\n")) << tool.output();
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_FALSE(fs::exists(mark));
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
