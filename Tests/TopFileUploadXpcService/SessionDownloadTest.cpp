// The streaming download over the session transport: its request, its pieces, its end.

#include "Platform/Files/Files.h"
#include "TopFileUploadXpcService/EngineFixture.h"

namespace Quenmark {

using TestSupport::HttpReply;

class ASessionDownload : public EngineFixture {};

TEST_F(ASessionDownload, PlacesAFileAcknowledgesItAndAsksAgain) {
    Platform::Files::createDirectory(placed("Docs"));
    enqueueFile(R"(\\Docs\\a.txt)", "\\Docs\\a.txt", "the content");
    server.enqueue(pollTarget, HttpReply::json(nothing));
    start();
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), "the content");
    EXPECT_FALSE(Platform::Files::exists(temporary("Docs/a.txt")));
    nextPass();
    EXPECT_TRUE(waitFor(pollTarget, 2));
}

TEST_F(ASessionDownload, AsksWithTheComputersIdentifierAndTheOffset) {
    startStream(HttpReply::silence());
    const auto& request = last(streamTarget);
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.body, "{\n  \"ToComputerID\" : \"7\",\n  \"Length\" : \"0\"\n}");
    EXPECT_EQ(request.header("Content-Type"), "application/json");
    EXPECT_EQ(request.header("Content-Length"), "44");
    EXPECT_EQ(request.header("Accept"), std::nullopt);
    EXPECT_TRUE(log.contains("{\n  \"ToComputerID\" : \"7\",\n  \"Length\" : \"0\"\n}"));
}

TEST_F(ASessionDownload, AsksWithTheTextOfNilForWhatIsNotKnown) {
    server.enqueue(HttpReply::silence());
    engine->startAsyncDownloadWithStreamRequest(server.url("/stream"), {});
    ASSERT_TRUE(waitFor("/stream"));
    EXPECT_EQ(last("/stream").body, "{\n  \"ToComputerID\" : \"(null)\",\n  \"Length\" : \"(null)\"\n}");
}

TEST_F(ASessionDownload, ContinuesAPartialFileFromItsSize) {
    Platform::Files::createDirectory(placed("Docs"));
    writeFile(temporary("Docs/a.txt"), std::string(1234, 'x'));
    enqueueFile(R"(\\Docs\\a.txt)", "\\Docs\\a.txt", "the rest");
    start();
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    EXPECT_EQ(last(streamTarget).body, "{\n  \"ToComputerID\" : \"7\",\n  \"Length\" : \"1234\"\n}");
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), std::string(1234, 'x') + "the rest");
}

TEST_F(ASessionDownload, WritesEachPieceWithAStreamAndALogLineOfItsOwn) {
    Platform::Files::createDirectory(placed("Docs"));
    const std::string headers = "HTTP/1.1 200 OK\r\nContent-Length: 37\r\nReturnStatus: 0\r\nIsFile: True\r\n\r\n";
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    startStream(HttpReply::raw(headers + std::string(16, 'a')));
    const auto connection = last(streamTarget).connection;
    ASSERT_TRUE(runUntil([&] { return log.count("Bytes Written : 16") == 1; }));
    server.send(connection, std::string(16, 'b'));
    ASSERT_TRUE(runUntil([&] { return log.count("Bytes Written : 16") == 2; }));
    EXPECT_EQ(Platform::Files::size(temporary("Docs/a.txt")), 32U);
    server.send(connection, std::string(5, 'c'));
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    EXPECT_EQ(log.count("Bytes Written : 5"), 1U);
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), std::string(16, 'a') + std::string(16, 'b') + std::string(5, 'c'));
}

TEST_F(ASessionDownload, TakesAResponseWithoutAReturnStatusForAGoodOne) {
    Platform::Files::createDirectory(placed("Docs"));
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    startStream(HttpReply::ok("content"));
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), "content");
    EXPECT_EQ(last(acknowledgeTarget).body, "{\n  \"FileUploadID\" : \"(null)\",\n  \"FileName\" : \"(null)\",\n"
                                            "  \"ServerPath\" : \"(null)\",\n  \"TransitUploadPath\" : \"(null)\"\n}");
    EXPECT_EQ(engineProbe.isFile(), "(null)");
}

TEST_F(ASessionDownload, ComparesHeaderNamesExactly) {
    Platform::Files::createDirectory(placed("Docs"));
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    startStream(HttpReply::ok("content", {{"returnstatus", "2"}, {"FILENAME", "\\x"}}));
    ASSERT_TRUE(waitFor(acknowledgeTarget)) << "a field of another spelling is no ReturnStatus, and a missing one is 0";
    EXPECT_EQ(engineProbe.fileName(), "(null)");
}

TEST_F(ASessionDownload, DropsThePiecesOfAResponseWithAnotherStatus) {
    startStream(HttpReply::ok("content", {{"ReturnStatus", "1"}, {"IsFile", "True"}}));
    ASSERT_TRUE(runUntil([&] { return engineProbe.returnStatus() == "1"; }));
    EXPECT_FALSE(Platform::Files::exists(temporary("Docs/a.txt")));
    EXPECT_FALSE(Platform::Files::exists(placed("Docs/a.txt")));
    EXPECT_EQ(count(acknowledgeTarget), 0U);
}

TEST_F(ASessionDownload, DropsThePiecesOfAnItemThatIsToBeDropped) {
    startStream(HttpReply::ok("content", {{"ReturnStatus", "2"}, {"IsFile", "True"}}));
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    EXPECT_FALSE(Platform::Files::exists(temporary("Docs/a.txt")));
    EXPECT_EQ(count(acknowledgeTarget), 0U);
}

TEST_F(ASessionDownload, PlacesTheFileWhereThePollSaidAndAcknowledgesTheNameOfTheHeaderFields) {
    Platform::Files::createDirectory(placed("Docs"));
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    startStream(HttpReply::ok("content", streamHeaders("\\Other\\b.txt")));
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), "content");
    EXPECT_FALSE(Platform::Files::exists(placed("Other")));
    EXPECT_EQ(last(acknowledgeTarget).body, "{\n  \"FileUploadID\" : \"13\",\n"
                                            "  \"FileName\" : \"\\\\Other\\\\b.txt\",\n"
                                            "  \"ServerPath\" : \"C:\\\\up\\\\13\",\n"
                                            "  \"TransitUploadPath\" : \"t\\\\13\"\n}");
    EXPECT_EQ(engineProbe.toComputerID(), "8");
    EXPECT_EQ(engineProbe.uploadProcessed(), "True");
}

TEST_F(ASessionDownload, MakesAFolderWhenTheHeaderFieldsCallTheItemOneAtTheEnd) {
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    startStream(HttpReply::ok("content", streamHeaders("\\New\\Folder", "False")));
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_TRUE(Platform::Files::isDirectory(placed("New/Folder")));
    EXPECT_EQ(contentOf(temporary("Docs/a.txt")), "content") << "the pieces came before the header fields were read";
    EXPECT_FALSE(Platform::Files::exists(placed("Docs/a.txt")));
}

TEST_F(ASessionDownload, MovesAnItemOfAnyOtherKindLikeAFile) {
    Platform::Files::createDirectory(placed("Docs"));
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    startStream(HttpReply::ok("content", streamHeaders("\\Docs\\a.txt", "false")));
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), "content");
}

TEST_F(ASessionDownload, AcknowledgesAFileThatCouldNotBePlaced) {
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    startStream(HttpReply::ok("content", streamHeaders("\\Docs\\a.txt")));
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_FALSE(Platform::Files::exists(placed("Docs"))) << "nobody made the parent folder";
    EXPECT_EQ(contentOf(temporary("Docs/a.txt")), "content");
}

TEST_F(ASessionDownload, LeavesAFileThatIsThereAndKeepsTheTemporaryOne) {
    writeFile(placed("Docs/a.txt"), "older");
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    startStream(HttpReply::ok("newer", streamHeaders("\\Docs\\a.txt")));
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), "older");
    EXPECT_EQ(contentOf(temporary("Docs/a.txt")), "newer");
}

TEST_F(ASessionDownload, PlacesNothingForAnItemOfNoBytesAndAcknowledgesIt) {
    Platform::Files::createDirectory(placed("Docs"));
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    startStream(HttpReply::ok("", streamHeaders("\\Docs\\a.txt")));
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_FALSE(Platform::Files::exists(placed("Docs/a.txt")));
    EXPECT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
}

TEST_F(ASessionDownload, LogsTheHeaderFieldsAtTheEnd) {
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    startStream(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 1\r\nReturnStatus: 0\r\n\r\nx"));
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_TRUE(log.contains("{\n    \"Content-Length\" = \"1\";\n    \"ReturnStatus\" = \"0\";\n}"));
}

TEST_F(ASessionDownload, ResumesAfterACutAtEveryOffset) {
    Platform::Files::createDirectory(placed("Docs"));
    const std::string content = "0123456789";
    server.setHandler([&](const TestSupport::HttpRequest& request) {
        if (request.target == pollTarget)
            return HttpReply::json(item(R"(\\Docs\\a.txt)"));
        if (request.target == acknowledgeTarget)
            return HttpReply::json("{}");
        // One byte more every time, then the connection is lost.
        const std::string mark = "\"Length\" : \"";
        const auto offset = std::stoul(request.body.substr(request.body.find(mark) + mark.size()));
        const auto whole = HttpReply::ok(content.substr(offset), streamHeaders("\\Docs\\a.txt"));
        const auto rest = content.size() - offset;
        return rest == 1 ? whole : whole.cutAfter(whole.bytes().size() - rest + 1).thenClose();
    });
    start();
    ASSERT_TRUE(runUntil([&] {
        if (engineProbe.gateIsOpen() && count(acknowledgeTarget) == 0)
            clock.advance(std::chrono::seconds(2));
        return count(acknowledgeTarget) == 1;
    }));
    EXPECT_EQ(count(streamTarget), 10U);
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), content);
}

} // namespace Quenmark
