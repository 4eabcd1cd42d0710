// quenmark push: what it sends to a development web service, and how it ends.

#include "RunningTool.h"
#include "ToolFixture.h"

#include <filesystem>

namespace ToolTest {

using TestSupport::HttpReply;

class APush : public AQuenmarkTool {
protected:
    APush() {
        server.setHandler([](const auto&) { return HttpReply::status(201, "{}"); });
    }
};

TEST_F(APush, PutsAFileUnderItsOwnName) {
    const auto path = folder.write("a b.txt", "hello");
    const auto result = run({"push", path, "--to", "17"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "\\a b.txt\n");
    EXPECT_EQ(result.errors, "");
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].method, "PUT");
    EXPECT_EQ(server.requests()[0].target, "/outbox/17/a%20b.txt");
    EXPECT_EQ(server.requests()[0].header("Content-Length"), "5");
    EXPECT_EQ(server.requests()[0].body, "hello");
}

TEST_F(APush, PutsAFileUnderTheGivenNameAtTheGivenServer) {
    deploy("127.0.0.1:9");
    const auto path = folder.write("a.txt", "");
    const auto result = run({"push", path, "--to", "17", "--as", "\\Docs\\b.txt", "--server", server.host()});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.output, "\\Docs\\b.txt\n");
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].target, "/outbox/17/Docs/b.txt");
    EXPECT_EQ(server.requests()[0].header("Content-Length"), "0");
}

TEST_F(APush, PutsAFolderBeforeWhatIsInIt) {
    folder.write("root/x/y", "1");
    folder.write("root/b", "2");
    std::filesystem::create_directory(folder.path("root/empty"));
    const auto result = run({"push", folder.path("root"), "--to", "pc"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.output, "\\root\n\\root\\b\n\\root\\empty\n\\root\\x\n\\root\\x\\y\n");
    std::vector<std::string> targets;
    for (const auto& request : server.requests()) {
        EXPECT_EQ(request.method, "PUT");
        targets.push_back(request.target);
    }
    EXPECT_EQ(targets, (std::vector<std::string>{"/outbox/pc/root/", "/outbox/pc/root/b", "/outbox/pc/root/empty/",
                                                 "/outbox/pc/root/x/", "/outbox/pc/root/x/y"}));
    EXPECT_EQ(server.requests()[0].header("Content-Length"), "0");
}

TEST_F(APush, SendsALargeFileByteByByte) {
    std::string content;
    for (std::uint32_t number = 0; content.size() < (std::size_t{5} << 20); ++number)
        content.append(reinterpret_cast<const char*>(&number), sizeof number);
    const auto result = run({"push", folder.write("large", content), "--to", "17"});
    EXPECT_EQ(result.status, 0) << result.errors;
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_TRUE(server.requests()[0].body == content);
}

TEST_F(APush, SendsWhatCanBeSentAndEndsWith65WhereSomethingIsLeftOut) {
    const auto root = folder.path("root");
    folder.write("root/line\nfeed", "");
    folder.write("root/z", "");
    std::filesystem::create_symlink("a", root + "/link");
    const auto result = run({"push", root, "--to", "17"});
    EXPECT_EQ(result.status, 65);
    EXPECT_EQ(result.output, "\\root\n\\root\\z\n");
    EXPECT_EQ(result.errors, "quenmark: left out: \"" + root +
                                 "/line\\x0Afeed\": a name cannot hold control characters\n"
                                 "quenmark: left out: " +
                                 root + "/link is neither a file nor a folder\nquenmark: 2 items were left out\n");
    EXPECT_EQ(server.requests().size(), 2U);
}

TEST_F(APush, LeavesOutANameThatTheServerDoesNotTake) {
    folder.write("root/a", "");
    folder.write("root/b", "");
    server.enqueue("/outbox/17/root/a", HttpReply::status(400, "{\"error\":\"BadPath\"}"));
    const auto result = run({"push", folder.path("root"), "--to", "17"});
    EXPECT_EQ(result.status, 65);
    EXPECT_EQ(result.output, "\\root\n\\root\\b\n");
    EXPECT_EQ(result.errors, "quenmark: left out: \\root\\a: the server returned 400: {\"error\":\"BadPath\"}\n"
                             "quenmark: 1 item was left out\n");
    server.enqueue("/outbox/17/root/", HttpReply::status(400, "no"));
    const auto refused = run({"push", folder.path("root"), "--to", "17"});
    EXPECT_EQ(refused.status, 76) << "nothing can be sent";
    EXPECT_EQ(refused.output, "");
    EXPECT_EQ(refused.errors, "quenmark: \\root: the server returned 400: no\n");
}

TEST_F(APush, ShowsItsProgressOnATerminalAndErasesIt) {
    folder.write("root/a", "1");
    RunningTool tool({"push", folder.path("root"), "--to", "17"}, RunningTool::Errors::OnTerminal);
    EXPECT_EQ(tool.wait(), 0);
    // On a slow machine a line may be shown anew before the next one.
    EXPECT_TRUE(tool.errors().starts_with("\r1/2 \\root\r")) << tool.errors();
    EXPECT_NE(tool.errors().find("\r         \r\r2/2 1 B \\root\\a\r"), std::string::npos) << tool.errors();
    EXPECT_TRUE(tool.errors().ends_with(" \r")) << tool.errors();
    EXPECT_EQ(tool.output(), "\\root\n\\root\\a\n");
}

TEST_F(APush, ErasesItsProgressBeforeAnError) {
    server.enqueue(HttpReply::status(507, "full"));
    RunningTool tool({"push", folder.write("a", ""), "--to", "17"}, RunningTool::Errors::OnTerminal);
    EXPECT_EQ(tool.wait(), 76);
    EXPECT_TRUE(tool.errors().starts_with("\r1/1 0 B \\a\r")) << tool.errors();
    EXPECT_TRUE(tool.errors().ends_with("\r          \rquenmark: \\a: the server returned 507: full\r\n"))
        << tool.errors();
}

TEST_F(APush, ShowsHowMuchOfAFileIsSent) {
    const auto path = folder.write("large", std::string(3 << 20, 'x'));
    server.enqueue(HttpReply::silence());
    RunningTool tool({"push", path, "--to", "17"}, RunningTool::Errors::OnTerminal);
    EXPECT_TRUE(tool.waitForErrors("\r1/1 3.0 MiB \\large")) << tool.errors();
    EXPECT_TRUE(tool.waitForErrors("\r1/1 100 % of 3.0 MiB, ")) << tool.errors();
    EXPECT_TRUE(tool.waitForErrors("/s \\large")) << tool.errors();
    EXPECT_EQ(tool.errors().find('\x1b'), std::string::npos);
}

TEST_F(APush, ShowsNoProgressOnADumbTerminal) {
    const TestSupport::ScopedEnvironment dumb{{"TERM", "dumb"}};
    RunningTool tool({"push", folder.write("a", ""), "--to", "17"}, RunningTool::Errors::OnTerminal);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_EQ(tool.errors(), "");
}

TEST_F(APush, EndsWith66WhereNoFileIs) {
    const auto result = run({"push", folder.path("none"), "--to", "17"});
    EXPECT_EQ(result.status, 66);
    EXPECT_EQ(result.errors, "quenmark: " + folder.path("none") + ": No such file or directory\n");
    EXPECT_EQ(server.requests().size(), 0U);
}

TEST_F(APush, EndsWith69WhereTheServerCannotBeReached) {
    server.stopListening();
    const auto result = run({"push", folder.write("a", ""), "--to", "17"});
    EXPECT_EQ(result.status, 69);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(result.errors.starts_with("quenmark: \\a: ")) << result.errors;
}

TEST_F(APush, EndsWith74WhereTheConnectionBreaks) {
    server.enqueue(HttpReply::status(201, "{}").cutAfter(10).thenReset());
    const auto result = run({"push", folder.write("a", ""), "--to", "17"});
    EXPECT_EQ(result.status, 74);
    EXPECT_EQ(result.output, "");
}

TEST_F(APush, EndsWith76AtTheFirstItemThatTheServerRefuses) {
    folder.write("root/a", "");
    server.enqueue("/outbox/17/root/", HttpReply::status(201, "{}"));
    server.enqueue("/outbox/17/root/a", HttpReply::status(507, "{\"error\":\"full\"}\n"));
    const auto result = run({"push", folder.path("root"), "--to", "17"});
    EXPECT_EQ(result.status, 76);
    EXPECT_EQ(result.output, "\\root\n");
    EXPECT_EQ(result.errors, "quenmark: \\root\\a: the server returned 507: {\"error\":\"full\"}\\x0A\n");
}

TEST_F(APush, EndsWith64ForAServerThatIsNoHost) {
    const auto path = folder.write("a", "");
    for (const auto& noHost :
         std::vector<std::string>{"a b", "a/b", "ann@" + server.host(), "http://" + server.host(), ":80"}) {
        const auto result = run({"push", path, "--to", "17", "--server", noHost});
        EXPECT_EQ(result.status, 64) << noHost;
        EXPECT_EQ(result.errors, "quenmark: \"" + noHost + "\" is no host with an optional port\n");
    }
}

TEST_F(APush, EndsWith64ForWhatIsNoComputerOrName) {
    const auto path = folder.write("a", "");
    EXPECT_EQ(run({"push", path, "--to", ""}).status, 64);
    EXPECT_EQ(run({"push", path, "--to", "../x"}).status, 64);
    EXPECT_EQ(run({"push", path, "--to", "17", "--as", "..\\x"}).status, 64);
    EXPECT_EQ(server.requests().size(), 0U);
}

} // namespace ToolTest
