// The streaming download over the older transport, whose header fields are read when they arrive.

#include "Platform/Files/Files.h"
#include "TopFileUploadXpcService/EngineFixture.h"

namespace Quenmark {

using TestSupport::HttpReply;

class AnOlderDownload : public EngineFixture {
protected:
    AnOlderDownload() { setRelease(release10_7); }
};

TEST_F(AnOlderDownload, PlacesAFileAcknowledgesItAndAsksAgain) {
    Platform::Files::createDirectory(placed("Docs"));
    enqueueFile(R"(\\Docs\\a.txt)", "\\Docs\\a.txt", "the content");
    server.enqueue(pollTarget, HttpReply::json(nothing));
    start();
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), "the content");
    nextPass();
    EXPECT_TRUE(waitFor(pollTarget, 2));
}

TEST_F(AnOlderDownload, ContinuesAPartialFileFromItsSize) {
    Platform::Files::createDirectory(placed("Docs"));
    writeFile(temporary("Docs/a.txt"), std::string(1000, 'x'));
    enqueueFile(R"(\\Docs\\a.txt)", "\\Docs\\a.txt", "the rest");
    start();
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    EXPECT_EQ(last(streamTarget).body, "{\n  \"ToComputerID\" : \"7\",\n  \"Length\" : \"1000\"\n}");
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), std::string(1000, 'x') + "the rest");
}

TEST_F(AnOlderDownload, TakesTheHeaderFieldsBeforeTheFirstPiece) {
    startStream(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 5\r\nReturnStatus: 0\r\nIsFile: True\r\n"
                               "FileName: \\Other\r\n\r\n"));
    ASSERT_TRUE(runUntil([&] { return engineProbe.fileName() == "\\Other"; }));
    EXPECT_TRUE(log.contains("{\n    \"Content-Length\" = \"5\";\n    \"ReturnStatus\" = \"0\";\n"
                             "    \"IsFile\" = \"True\";\n    \"FileName\" = \"\\\\Other\";\n}"));
    EXPECT_EQ(engineProbe.filePath(), placed("Docs/a.txt")) << "the header fields do not move the file";
}

TEST_F(AnOlderDownload, MakesTheFolderOfTheHeaderFieldsEvenThoughThePollAnnouncedAFile) {
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    startStream(HttpReply::ok("content", streamHeaders("\\New\\Folder", "False")));
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_TRUE(Platform::Files::isDirectory(placed("New/Folder")));
    EXPECT_EQ(contentOf(temporary("Docs/a.txt")), "content") << "pieces are appended whatever the header fields say";
    EXPECT_FALSE(Platform::Files::exists(placed("Docs/a.txt")));
}

TEST_F(AnOlderDownload, MovesOnlyWhatIsCalledAFileExactly) {
    Platform::Files::createDirectory(placed("Docs"));
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    startStream(HttpReply::ok("content"));
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_EQ(engineProbe.isFile(), "(null)");
    EXPECT_FALSE(Platform::Files::exists(placed("Docs/a.txt")));
    EXPECT_EQ(contentOf(temporary("Docs/a.txt")), "content");
}

TEST_F(AnOlderDownload, AppendsAndMovesTheBodyOfAnItemThatIsToBeDroppedAndAcknowledgesNothing) {
    Platform::Files::createDirectory(placed("Docs"));
    startStream(HttpReply::ok("content", {{"ReturnStatus", "2"}, {"IsFile", "False"}}));
    ASSERT_TRUE(runUntil([&] { return Platform::Files::exists(placed("Docs/a.txt")); }));
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), "content");
    EXPECT_EQ(engineProbe.isFile(), "True") << "as the poll said";
    EXPECT_EQ(engineProbe.returnStatus(), "99");
    EXPECT_TRUE(engineProbe.gateIsOpen());
    nextPass();
    EXPECT_EQ(count(acknowledgeTarget), 0U);
}

TEST_F(AnOlderDownload, AppendsAndMovesTheBodyWhateverTheStatus) {
    Platform::Files::createDirectory(placed("Docs"));
    startStream(HttpReply::ok("content", {{"ReturnStatus", "1"}}));
    ASSERT_TRUE(runUntil([&] { return Platform::Files::exists(placed("Docs/a.txt")); }));
    expectStalled();
    EXPECT_EQ(count(acknowledgeTarget), 0U);
}

TEST_F(AnOlderDownload, LeavesTheGateToTheAcknowledgement) {
    Platform::Files::createDirectory(placed("Docs"));
    server.enqueue(acknowledgeTarget, HttpReply::silence());
    startStream(HttpReply::ok("content", streamHeaders("\\Docs\\a.txt")));
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_FALSE(engineProbe.gateIsOpen());
    server.send(last(acknowledgeTarget).connection, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}");
    EXPECT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
}

TEST_F(AnOlderDownload, KeepsThePartialFileWhenTheConnectionIsLost) {
    startStream(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 10\r\nReturnStatus: 0\r\nIsFile: True\r\n\r\nabcd")
                    .thenClose());
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    EXPECT_EQ(contentOf(temporary("Docs/a.txt")), "abcd");
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\Docs\\a.txt)")));
    server.enqueue(streamTarget, HttpReply::silence());
    nextPass();
    ASSERT_TRUE(waitFor(streamTarget, 2));
    EXPECT_EQ(last(streamTarget).body, "{\n  \"ToComputerID\" : \"7\",\n  \"Length\" : \"4\"\n}");
}

TEST_F(AnOlderDownload, PlacesNothingForAnItemOfNoBytesAndAcknowledgesIt) {
    Platform::Files::createDirectory(placed("Docs"));
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    startStream(HttpReply::ok("", streamHeaders("\\Docs\\a.txt")));
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_FALSE(Platform::Files::exists(placed("Docs/a.txt")));
}

} // namespace Quenmark
