// What is acknowledged is on disk: the order of the service's system calls, and what becomes of an item where the disk
// is slow or fails.

#include "EndToEnd/RealServiceFixture.h"
#include "EndToEnd/SystemCalls.h"

#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <filesystem>

namespace Quenmark {

using TestSupport::BusPeer;
using TestSupport::HttpReply;
using TestSupport::HttpRequest;

namespace {

constexpr const char* acknowledgementLine = "POST /QuenmarkRestService/Uploads.svc/UpdateFileUpload ";

} // namespace

class WhatIsAcknowledged : public RealServiceFixture {
protected:
    void SetUp() override {
        std::filesystem::create_directories(placed("Docs"));
        traceFile = data.path("trace");
    }

    /// Offers one item until it is acknowledged; the file's content is sent from the offset that is asked for.
    void offer(const std::string& jsonName, const std::string& name, const std::string& isFile = "True") {
        server.setHandler([=, this](const HttpRequest& request) {
            if (request.target == pollTarget)
                return HttpReply::json(count(acknowledgeTarget) == 0 ? item(jsonName, isFile) : nothing);
            if (request.target != streamTarget)
                return HttpReply::json(R"({"ReturnStatus":"0"})");
            const std::string mark = "\"Length\" : \"";
            const auto offset = std::stoul(request.body.substr(request.body.find(mark) + mark.size()));
            return HttpReply::ok(std::string_view(wholeContent).substr(offset), streamHeaders(name));
        });
    }
    void launch(const std::string& options = "") {
        deploy(server.host(), SystemCalls::launcher(traceFile, options));
        start();
    }
    bool waitForAcknowledgement() {
        return pollUntil([&] { return count(acknowledgeTarget) == 1; }) && pollUntil([&] {
                   const auto sent = SystemCalls(traceFile).first("sendto", {acknowledgementLine});
                   return sent && sent->succeeded;
               });
    }
    void expectOrder(const std::vector<SystemCalls::Step>& steps) const { SystemCalls(traceFile).expectOrder(steps); }
    static SystemCalls::Step sendsAcknowledgement() { return {"sendto", {acknowledgementLine}}; }
    /// The descriptor of an open file or folder, as the trace shows it.
    static std::string descriptor(const std::string& path) { return "<" + path + ">"; }

    std::string wholeContent = "the content";
    std::string traceFile;
};

TEST_P(WhatIsAcknowledged, IsAFileWhoseBytesNameAndFolderAreOnDisk) {
    offer(R"(\\Docs\\a.txt)", "\\Docs\\a.txt");
    launch();
    ASSERT_TRUE(waitForAcknowledgement());
    expectOrder({{"write", {descriptor(temporary("Docs/a.txt")), wholeContent}},
                 {"fdatasync", {descriptor(temporary("Docs/a.txt"))}},
                 {"renameat2", {"\"a.txt\"", "\"" + placed("Docs/a.txt") + "\""}},
                 {"fsync", {descriptor(placed("Docs"))}},
                 sendsAcknowledgement()});
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), wholeContent);
}

TEST_P(WhatIsAcknowledged, IsALongFileThatTheDiskHadBegunWithWhileItCame) {
    wholeContent.assign(9 << 20, 'x');
    constexpr std::size_t tail = 1000;
    server.setHandler([this](const HttpRequest& request) {
        if (request.target == pollTarget)
            return HttpReply::json(count(acknowledgeTarget) == 0 ? item(R"(\\Docs\\a.bin)") : nothing);
        if (request.target != streamTarget)
            return HttpReply::json(R"({"ReturnStatus":"0"})");
        const auto whole = HttpReply::ok(wholeContent, streamHeaders("\\Docs\\a.bin"));
        return whole.cutAfter(whole.bytes().size() - tail);
    });
    launch();
    const std::string file = descriptor(temporary("Docs/a.bin"));
    ASSERT_TRUE(pollUntil([&] {
        return SystemCalls(traceFile).first("sync_file_range", {file, "_WRITE"}).has_value();
    }));
    server.send(last(streamTarget).connection, std::string(tail, 'x'));
    ASSERT_TRUE(waitForAcknowledgement());
    const SystemCalls calls(traceFile);
    const auto lastWrite = calls.last("write", {file});
    const auto flush = calls.first("fdatasync", {file});
    ASSERT_TRUE(lastWrite && flush);
    EXPECT_LT(lastWrite->end, flush->begin);
    EXPECT_TRUE(contentOf(placed("Docs/a.bin")) == wholeContent);
}

TEST_P(WhatIsAcknowledged, IsAFileThatWasContinuedAndIsOnDiskWhole) {
    std::filesystem::create_directories(temporary("Docs"));
    home.temporary().write("QuenmarkTemp/Docs/a.txt", "the ");
    offer(R"(\\Docs\\a.txt)", "\\Docs\\a.txt");
    launch();
    ASSERT_TRUE(waitForAcknowledgement());
    expectOrder({{"write", {descriptor(temporary("Docs/a.txt")), "\"content\""}},
                 {"fdatasync", {descriptor(temporary("Docs/a.txt"))}},
                 {"renameat2", {"\"" + placed("Docs/a.txt") + "\""}},
                 {"fsync", {descriptor(placed("Docs"))}},
                 sendsAcknowledgement()});
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), wholeContent);
}

TEST_P(WhatIsAcknowledged, IsAFileThatWasWholeBeforeAndIsOnDisk) {
    std::filesystem::create_directories(temporary("Docs"));
    home.temporary().write("QuenmarkTemp/Docs/a.txt", wholeContent);
    offer(R"(\\Docs\\a.txt)", "\\Docs\\a.txt");
    launch();
    ASSERT_TRUE(waitForAcknowledgement());
    expectOrder({{"fdatasync", {descriptor(temporary("Docs/a.txt"))}},
                 {"renameat2", {"\"" + placed("Docs/a.txt") + "\""}},
                 {"fsync", {descriptor(placed("Docs"))}},
                 sendsAcknowledgement()});
}

TEST_P(WhatIsAcknowledged, IsAFileThatWasInPlaceAlreadyAndIsOnDisk) {
    home.write("Quenmark/Docs/a.txt", "older");
    offer(R"(\\Docs\\a.txt)", "\\Docs\\a.txt");
    launch();
    ASSERT_TRUE(waitForAcknowledgement());
    expectOrder({{"fdatasync", {descriptor(placed("Docs/a.txt"))}},
                 {"fsync", {descriptor(placed("Docs"))}},
                 sendsAcknowledgement()});
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), "older");
}

TEST_P(WhatIsAcknowledged, IsAFileFromAnotherFileSystemWhoseCopyIsOnDiskBeforeItHasAName) {
    environment.set("TMPDIR", "/dev/shm");
    const TestSupport::TemporaryDirectory memory;
    environment.set("TMPDIR", memory.path());
    offer(R"(\\Docs\\a.txt)", "\\Docs\\a.txt");
    launch();
    ASSERT_TRUE(waitForAcknowledgement());
    const std::string temporaryFile = memory.path() + "/QuenmarkTemp/Docs/a.txt";
    expectOrder({{"write", {descriptor(temporaryFile), wholeContent}},
                 {"fdatasync", {descriptor(temporaryFile)}},
                 {"fsync", {"(deleted)"}},
                 {"linkat", {"\"" + placed("Docs/a.txt") + "\""}},
                 {"fsync", {descriptor(placed("Docs"))}},
                 sendsAcknowledgement()});
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), wholeContent);
    EXPECT_FALSE(exists(temporaryFile));
}

TEST_P(WhatIsAcknowledged, IsAFolderWhoseEveryNewPartIsOnDisk) {
    offer(R"(\\A\\B\\C)", "\\A\\B\\C", "False");
    launch();
    ASSERT_TRUE(waitForAcknowledgement());
    for (const auto& [folder, parent] : {std::pair(placed("A"), home.path() + "/Quenmark"),
                                         {placed("A/B"), placed("A")},
                                         {placed("A/B/C"), placed("A/B")}})
        expectOrder(
            {{"mkdir", {"\"" + folder + "\"", "= 0"}}, {"fsync", {descriptor(parent)}}, sendsAcknowledgement()});
}

TEST_P(WhatIsAcknowledged, IsAFolderThatWasThereAlreadyAndIsOnDisk) {
    offer(R"(\\Docs)", "\\Docs", "False");
    launch();
    ASSERT_TRUE(waitForAcknowledgement());
    expectOrder({{"fsync", {descriptor(home.path() + "/Quenmark")}}, sendsAcknowledgement()});
}

TEST_P(WhatIsAcknowledged, IsFlushedWhileTheServiceGoesOnWithEverythingElse) {
    offer(R"(\\Docs\\a.txt)", "\\Docs\\a.txt");
    launch("-e inject=fdatasync:delay_enter=3000000");
    ASSERT_TRUE(
        pollUntil([&] { return count(streamTarget) == 1 && contentOf(temporary("Docs/a.txt")) == wholeContent; }));
    BusPeer peer;
    auto fastest = std::chrono::steady_clock::duration::max();
    for (int call = 0; call < 5; ++call) {
        const auto begin = std::chrono::steady_clock::now();
        ASSERT_TRUE(peer.call({busName, "/", "org.freedesktop.DBus.Peer", "Ping"}));
        fastest = std::min(fastest, std::chrono::steady_clock::now() - begin);
    }
    EXPECT_LT(fastest, std::chrono::milliseconds(50));
    askToStart(peer);
    const auto polls = count(pollTarget);
    ASSERT_TRUE(pollUntil([&] { return count(pollTarget) > polls; })) << "another engine keeps its passes";
    EXPECT_EQ(count(acknowledgeTarget), 0U);
    EXPECT_TRUE(exists(temporary("Docs/a.txt")));
    ASSERT_TRUE(waitForAcknowledgement());
    EXPECT_EQ(count(streamTarget), 1U) << "the other engine was offered the same item";
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), wholeContent);
}

TEST_P(WhatIsAcknowledged, IsNotWhatWasBeingFlushedWhenTheServiceEndedUntilItIsOnDisk) {
    offer(R"(\\Docs\\a.txt)", "\\Docs\\a.txt");
    launch("-e inject=fdatasync:delay_enter=2000000");
    ASSERT_TRUE(pollUntil([&] { return contentOf(temporary("Docs/a.txt")) == wholeContent; }));
    const auto process = static_cast<pid_t>(std::stol(contentOf(traceFile).value_or("0")));
    ASSERT_EQ(::kill(process, SIGTERM), 0);
    ASSERT_TRUE(pollUntil([&] { return ::kill(process, 0) != 0; }));
    EXPECT_EQ(count(acknowledgeTarget), 0U);
    start();
    ASSERT_TRUE(waitForAcknowledgement());
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), wholeContent);
    EXPECT_EQ(bus->log().find("Sanitizer"), std::string::npos) << bus->log();
}

TEST_P(WhatIsAcknowledged, IsFetchedAgainWhereItsBytesCannotBeFlushed) {
    offer(R"(\\Docs\\a.txt)", "\\Docs\\a.txt");
    launch("-e inject=fdatasync:error=EIO:when=1");
    ASSERT_TRUE(waitForAcknowledgement());
    EXPECT_TRUE(bus->waitForLog("The item \\Docs\\a.txt cannot be made durable, and is fetched again: Error "
                                "Domain=POSIX flush Code=5 \"" +
                                temporary("Docs/a.txt") + ": Input/output error\""))
        << bus->log();
    EXPECT_EQ(count(streamTarget), 2U);
    EXPECT_EQ(last(streamTarget).body, "{\n  \"ToComputerID\" : \"7\",\n  \"Length\" : \"0\"\n}");
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), wholeContent);
}

TEST_P(WhatIsAcknowledged, IsFetchedAgainWhereItsFolderCannotBeFlushed) {
    offer(R"(\\Docs\\a.txt)", "\\Docs\\a.txt");
    launch("-e inject=fsync:error=EIO:when=1");
    ASSERT_TRUE(waitForAcknowledgement());
    EXPECT_EQ(count(streamTarget), 2U);
    expectOrder({{"renameat2", {"\"" + placed("Docs/a.txt") + "\""}},
                 {"unlink", {"\"" + placed("Docs/a.txt") + "\""}},
                 {"renameat2", {"\"" + placed("Docs/a.txt") + "\""}},
                 {"fsync", {descriptor(placed("Docs")), "= 0"}},
                 sendsAcknowledgement()});
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), wholeContent);
}

TEST_P(WhatIsAcknowledged, IsNoFolderThatCannotBeFlushed) {
    offer(R"(\\New)", "\\New", "False");
    launch("-e inject=fsync:error=EIO:when=1");
    ASSERT_TRUE(waitForAcknowledgement());
    EXPECT_EQ(count(pollTarget), 2U);
    expectOrder({{"fsync", {descriptor(home.path() + "/Quenmark"), "= 0"}}, sendsAcknowledgement()});
}

TEST_P(WhatIsAcknowledged, IsNothingWhileNothingCanBeFlushed) {
    offer(R"(\\Docs\\a.txt)", "\\Docs\\a.txt");
    launch("-e inject=fdatasync:error=EIO");
    ASSERT_TRUE(pollUntil([&] { return count(streamTarget) == 2; }));
    EXPECT_EQ(count(acknowledgeTarget), 0U);
    EXPECT_FALSE(exists(placed("Docs/a.txt")));
}

TEST(APreference, ThatWasSetIsOnDiskWithItsFolders) {
    const Platform::RunLoop loop;
    const TestSupport::TemporaryDirectory config;
    const TestSupport::ScopedEnvironment withoutHome{{"XDG_CONFIG_HOME", config.path("new")},
                                                     {"ASAN_OPTIONS", "detect_leaks=0"}};
    const std::string trace = config.path("trace");
    const auto result =
        TestSupport::runCommand({"strace", "-f", "-y", "-o", trace, QUENMARK_TOOL, "prefs", "set", "userIdKey", "43"});
    ASSERT_EQ(result.status, 0) << result.errors;
    const std::string folder = config.path("new/quenmark");
    SystemCalls(trace).expectOrder({{"mkdir", {"\"" + config.path("new") + "\""}},
                                    {"mkdir", {"\"" + folder + "\""}},
                                    {"fsync", {"<" + config.path() + ">"}},
                                    {"fsync", {"<" + config.path("new") + ">"}},
                                    {"write", {folder + "/.writing-", "userIdKey"}},
                                    {"fsync", {folder + "/.writing-"}},
                                    {"rename", {"\"" + folder + "/Velkarin.Quenmark.json\""}},
                                    {"fsync", {"<" + folder + ">"}}});
}

INSTANTIATE_TEST_SUITE_P(Variations, WhatIsAcknowledged, ::testing::Values(modern, wrapper),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
