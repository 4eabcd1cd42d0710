// Where quenmark call stages the file of an upload, and that nothing of it stays.

#include "RunningTool.h"
#include "ToolFixture.h"

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include <csignal>
#include <filesystem>

namespace ToolTest {

namespace fs = std::filesystem;
using TestSupport::HttpReply;

class AnUploadsStaging : public AQuenmarkTool {
protected:
    AnUploadsStaging() {
        home.write("notes.txt", "mine");
        folder.write("other/notes.txt", "to be sent");
    }
    std::vector<std::string> upload() const {
        return {"call", "UpdateFileRequestWithStream", "FileRequestID=3", "--file", folder.path("other/notes.txt")};
    }
    /// The names in the temporary directory.
    std::vector<std::string> temporaries() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(home.temporary().path()))
            names.push_back(entry.path().filename());
        return names;
    }
    void expectNothingTouched() const {
        EXPECT_EQ(home.read("notes.txt"), "mine");
        EXPECT_EQ(folder.read("other/notes.txt"), "to be sent");
        EXPECT_EQ(temporaries(), std::vector<std::string>());
    }
};

TEST_F(AnUploadsStaging, LeavesAFileOfThatNameInTheHomeDirectoryAlone) {
    server.setHandler([](const auto&) { return HttpReply::json(R"({"ReturnStatus":"0"})"); });
    const auto result = run(upload());
    EXPECT_EQ(result.status, 0) << result.errors;
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].body, "to be sent");
    expectNothingTouched();
}

TEST_F(AnUploadsStaging, IsRemovedWhereTheUploadFails) {
    server.setHandler([](const auto&) { return HttpReply::json("{}").cutAfter(10).thenReset(); });
    EXPECT_EQ(run(upload()).status, 74);
    expectNothingTouched();
    server.setHandler([](const auto&) { return HttpReply::silence(); });
    auto impatient = upload();
    impatient.insert(impatient.end(), {"--timeout", "0.3"});
    EXPECT_EQ(run(impatient).status, 75);
    expectNothingTouched();
}

TEST_F(AnUploadsStaging, IsPrivateAndIsRemovedOnASignal) {
    // The tests themselves may have been started to ignore it (nohup(1)).
    const auto before = std::signal(SIGHUP, SIG_DFL);
    server.setHandler([](const auto&) { return HttpReply::silence(); });
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        const auto requests = server.requests().size();
        RunningTool tool(upload());
        ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() > requests; }));
        const auto names = temporaries();
        ASSERT_EQ(names.size(), 1U);
        EXPECT_TRUE(names[0].starts_with("quenmark-upload-")) << names[0];
        EXPECT_EQ(fs::status(home.temporary().path(names[0])).permissions(), fs::perms::owner_all);
        EXPECT_EQ(home.temporary().read(names[0] + "/notes.txt"), "to be sent");
        tool.signal(signal);
        EXPECT_EQ(tool.wait(), 128 + signal);
        expectNothingTouched();
    }
    std::signal(SIGHUP, before);
}

TEST_F(AnUploadsStaging, ContinuesOnASignalThatWasIgnoredAtItsStart) {
    server.setHandler([](const auto&) { return HttpReply::json(R"({"ReturnStatus":"0"})"); });
    const auto before = std::signal(SIGHUP, SIG_IGN);
    server.setHandler([](const auto&) { return HttpReply::silence(); });
    RunningTool tool(upload());
    std::signal(SIGHUP, before);
    ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() == 1; }));
    tool.signal(SIGHUP);
    tool.signal(SIGTERM);
    EXPECT_EQ(tool.wait(), 128 + SIGTERM);
}

TEST_F(AnUploadsStaging, IsWhereTheDeploymentSettingsSay) {
    fs::create_directory(folder.path("stage"));
    home.setDeployment(boost::json::serialize(
        boost::json::object{{"serviceHost", server.host()}, {"stagingDirectory", folder.path("stage")}}));
    server.setHandler([](const auto&) { return HttpReply::silence(); });
    RunningTool tool(upload());
    ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() == 1; }));
    EXPECT_EQ(folder.read("stage/notes.txt"), "to be sent");
    expectNothingTouched();
}

TEST_F(AnUploadsStaging, EndsWith73WhereItsFolderCannotBeMade) {
    folder.write("file", "");
    environment.set("TMPDIR", folder.path("file/none"));
    const auto result = run(upload());
    EXPECT_EQ(result.status, 73);
    EXPECT_NE(result.errors.find(folder.path("file/none")), std::string::npos) << result.errors;
    // The directory can still be made, but nothing in it (PATH_MAX, limits.h(0p)).
    std::string longest = folder.path("");
    while (longest.size() < 4080)
        longest += std::string(std::min<std::size_t>(200, 4080 - longest.size()), 'n') + "/";
    longest.resize(4080, 'n');
    environment.set("TMPDIR", longest);
    const auto tooLong = run(upload());
    EXPECT_EQ(tooLong.status, 73);
    EXPECT_TRUE(tooLong.errors.starts_with("quenmark: " + longest)) << tooLong.errors;
    EXPECT_TRUE(tooLong.errors.ends_with(": File name too long\n")) << tooLong.errors;
    EXPECT_EQ(server.requests().size(), 0U);
}

} // namespace ToolTest
