// One item has one writer: what an engine does with an item that is fetched elsewhere, and when it lets an item go.

#include "Platform/Files/Files.h"
#include "Services/DownloadConnection.h"
#include "TopFileUploadXpcService/EngineFixture.h"
#include "TopFileUploadXpcService/ItemClaims.h"

#include <unistd.h>

namespace Quenmark {

using TestSupport::HttpReply;

class AnItemsWriter : public EngineFixture, public ::testing::WithParamInterface<double> {
protected:
    AnItemsWriter() {
        setRelease(GetParam());
        Platform::Files::createDirectory(placed("Docs"));
    }
    bool isSession() const { return GetParam() == release10_10; }
    bool isFreeSoon() {
        return runUntil([&] { return isFree("Docs/a.txt"); });
    }
    /// A stream that ends so leaves the item to others.
    void expectReleaseAfter(HttpReply reply) {
        const auto streams = count(streamTarget);
        startStream(std::move(reply));
        ASSERT_TRUE(waitFor(streamTarget, streams + 1));
        EXPECT_TRUE(isFreeSoon());
    }
    static HttpReply fourOfTenBytes() {
        return HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 10\r\nReturnStatus: 0\r\nIsFile: True\r\n\r\nabcd");
    }
};

TEST_P(AnItemsWriter, HasTheItemUntilTheAcknowledgementHasAResponse) {
    server.enqueue(acknowledgeTarget, HttpReply::silence());
    startStream(fourOfTenBytes());
    EXPECT_FALSE(isFree("Docs/a.txt"));
    server.send(last(streamTarget).connection, "efghij");
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_FALSE(isFree("Docs/a.txt"));
    server.send(last(acknowledgeTarget).connection, HttpReply::json("{}").bytes());
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    EXPECT_TRUE(isFreeSoon());
}

TEST_P(AnItemsWriter, ReleasesItWhereTheAcknowledgementIsRefusedOrLost) {
    for (const auto& reply :
         {HttpReply::json(R"({"ReturnStatus":"1"})"), HttpReply::ok("no json"), HttpReply::raw("").thenClose()}) {
        server.closeAll();
        server.enqueue(acknowledgeTarget, reply);
        const auto acknowledged = count(acknowledgeTarget);
        expectReleaseAfter(HttpReply::ok("content", streamHeaders("\\Docs\\a.txt")));
        EXPECT_EQ(count(acknowledgeTarget), acknowledged + 1);
        EXPECT_FALSE(engineProbe.gateIsOpen());
    }
}

TEST_P(AnItemsWriter, ReleasesItAtEveryEndOfTheStream) {
    expectReleaseAfter(fourOfTenBytes().thenClose());
    expectReleaseAfter(fourOfTenBytes().thenReset());
    expectReleaseAfter(HttpReply::raw("").thenClose());
    expectReleaseAfter(HttpReply::ok("", {{"ReturnStatus", "1"}}));
    expectReleaseAfter(HttpReply::ok("", {{"ReturnStatus", "2"}}));
    expectReleaseAfter(HttpReply::raw("no HTTP"));
}

TEST_P(AnItemsWriter, ReleasesItInAStall) {
    startStream(fourOfTenBytes());
    ASSERT_TRUE(runUntil([&] { return contentOf(temporary("Docs/a.txt")) == "abcd"; }));
    EXPECT_FALSE(isFree("Docs/a.txt"));
    const auto asked = questions();
    clock.advance(std::chrono::seconds(61));
    ASSERT_TRUE(runUntil([&] { return server.openConnections() == 0 || questions() > asked; }));
    EXPECT_TRUE(isFreeSoon());
    expectStalled();
}

TEST_P(AnItemsWriter, HasAFolderUntilTheAcknowledgementHasAResponse) {
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\Docs)", "False")));
    server.enqueue(acknowledgeTarget, HttpReply::silence());
    start();
    EXPECT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    EXPECT_FALSE(isFree("Docs"));
    server.close(last(acknowledgeTarget).connection);
    EXPECT_TRUE(runUntil([&] { return isFree("Docs"); }));
}

TEST_P(AnItemsWriter, EndsThePollOfAnotherEngineAsIfThereWereNoItem) {
    startStream(fourOfTenBytes());
    const auto another = std::make_shared<TopFileUploadXpcService>(context);
    EngineProbe probe(*another);
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\Docs\\a.txt)")));
    another->GetTopFileUpload();
    ASSERT_TRUE(waitFor(pollTarget, 2));
    ASSERT_TRUE(runUntil([&] { return probe.gateIsOpen(); }));
    EXPECT_EQ(count(streamTarget), 1U);
    EXPECT_EQ(probe.filePath(), std::nullopt) << "nothing was begun";
    server.enqueue(pollTarget, HttpReply::json(nothing));
    nextPass();
    EXPECT_TRUE(waitFor(pollTarget, 3)) << "the next pass asks again";
}

TEST_P(AnItemsWriter, IsOneStreamAloneWhereACallOpensTheGate) {
    startStream(fourOfTenBytes());
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\Docs\\a.txt)")));
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    start();
    ASSERT_TRUE(waitFor(pollTarget, 2));
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    server.send(last(streamTarget).connection, "efghij");
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_EQ(count(streamTarget), 1U);
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), "abcdefghij");
}

TEST_P(AnItemsWriter, HasTheItemUntilTheLastOfItsStreamsHasEnded) {
    startStream(fourOfTenBytes());
    const auto first = last(streamTarget).connection;
    // A call opens the gate, and its poll offers another item.
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\Docs\\b.txt)")));
    server.enqueue(streamTarget, HttpReply::silence());
    start();
    ASSERT_TRUE(waitFor(streamTarget, 2));
    EXPECT_TRUE(isFree("Docs/a.txt"));
    EXPECT_FALSE(isFree("Docs/b.txt"));
    server.close(first);
    ASSERT_TRUE(runUntil([&] { return server.openConnections() == 1; }));
    for (int turn = 0; turn < 10; ++turn)
        loop.runOnce(std::chrono::seconds(0));
    EXPECT_FALSE(isFree("Docs/b.txt"));
    server.close(last(streamTarget).connection);
    EXPECT_TRUE(runUntil([&] { return isFree("Docs/b.txt"); }));
}

TEST_P(AnItemsWriter, EndsAPollThatWasSentBeforeTheItemWasAcknowledgedAsIfThereWereNoItem) {
    const auto another = std::make_shared<TopFileUploadXpcService>(context);
    EngineProbe probe(*another);
    server.enqueue(pollTarget, HttpReply::silence());
    another->GetTopFileUpload();
    ASSERT_TRUE(waitFor(pollTarget));
    const auto poll = last(pollTarget).connection;
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\Docs\\a.txt)")));
    auto headers = streamHeaders("\\Docs\\a.txt");
    headers[3] = {"FileUploadID", "12"};
    server.enqueue(streamTarget, HttpReply::ok("content", headers));
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    start();
    ASSERT_TRUE(runUntil([&] { return engineProbe.returnStatus() == "99"; }));
    server.send(poll, HttpReply::json(item(R"(\\Docs\\a.txt)")).bytes());
    ASSERT_TRUE(runUntil([&] { return probe.gateIsOpen(); }));
    EXPECT_EQ(count(streamTarget), 1U);
    EXPECT_EQ(count(acknowledgeTarget), 1U);
}

INSTANTIATE_TEST_SUITE_P(Transports, AnItemsWriter, ::testing::Values(release10_10, release10_7), transportName);

} // namespace Quenmark
