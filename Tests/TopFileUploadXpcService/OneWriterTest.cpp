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
    bool isSession() const { return GetParam() == newRelease; }
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
    server_.enqueue(acknowledgeTarget, HttpReply::silence());
    startStream(fourOfTenBytes());
    EXPECT_FALSE(isFree("Docs/a.txt"));
    server_.send(last(streamTarget).connection, "efghij");
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_FALSE(isFree("Docs/a.txt"));
    server_.send(last(acknowledgeTarget).connection, HttpReply::json("{}").bytes());
    ASSERT_TRUE(runUntil([&] { return probe_.gateIsOpen(); }));
    EXPECT_TRUE(isFreeSoon());
}

TEST_P(AnItemsWriter, ReleasesItWhereTheAcknowledgementIsRefusedOrLost) {
    for (const auto& reply :
         {HttpReply::json(R"({"ReturnStatus":"1"})"), HttpReply::ok("no json"), HttpReply::raw("").thenClose()}) {
        server_.closeAll();
        server_.enqueue(acknowledgeTarget, reply);
        const auto acknowledged = count(acknowledgeTarget);
        expectReleaseAfter(HttpReply::ok("content", streamHeaders("\\Docs\\a.txt")));
        EXPECT_EQ(count(acknowledgeTarget), acknowledged + 1);
        EXPECT_FALSE(probe_.gateIsOpen());
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
    clock_.advance(std::chrono::seconds(61));
    ASSERT_TRUE(runUntil([&] { return server_.openConnections() == 0 || questions() > asked; }));
    EXPECT_TRUE(isFreeSoon());
    expectStalled();
}

TEST_P(AnItemsWriter, HasAFolderUntilTheAcknowledgementHasAResponse) {
    server_.enqueue(pollTarget, HttpReply::json(item(R"(\\Docs)", "False")));
    server_.enqueue(acknowledgeTarget, HttpReply::silence());
    start();
    EXPECT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_TRUE(runUntil([&] { return probe_.gateIsOpen(); }));
    EXPECT_FALSE(isFree("Docs"));
    server_.close(last(acknowledgeTarget).connection);
    EXPECT_TRUE(runUntil([&] { return isFree("Docs"); }));
}

TEST_P(AnItemsWriter, EndsThePollOfAnotherEngineAsIfThereWereNoItem) {
    startStream(fourOfTenBytes());
    const auto another = std::make_shared<TopFileUploadXpcService>(context_);
    EngineProbe probe(*another);
    server_.enqueue(pollTarget, HttpReply::json(item(R"(\\Docs\\a.txt)")));
    another->GetTopFileUpload();
    ASSERT_TRUE(waitFor(pollTarget, 2));
    ASSERT_TRUE(runUntil([&] { return probe.gateIsOpen(); }));
    EXPECT_EQ(count(streamTarget), 1U);
    EXPECT_EQ(probe.filePath(), std::nullopt) << "nothing was begun";
    server_.enqueue(pollTarget, HttpReply::json(nothing));
    nextPass();
    EXPECT_TRUE(waitFor(pollTarget, 3)) << "the next pass asks again";
}

TEST_P(AnItemsWriter, IsOneStreamAloneWhereACallOpensTheGate) {
    startStream(fourOfTenBytes());
    server_.enqueue(pollTarget, HttpReply::json(item(R"(\\Docs\\a.txt)")));
    server_.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    start();
    ASSERT_TRUE(waitFor(pollTarget, 2));
    ASSERT_TRUE(runUntil([&] { return probe_.gateIsOpen(); }));
    server_.send(last(streamTarget).connection, "efghij");
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_EQ(count(streamTarget), 1U);
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), "abcdefghij");
}

TEST_P(AnItemsWriter, HasTheItemUntilTheLastOfItsStreamsHasEnded) {
    startStream(fourOfTenBytes());
    const auto first = last(streamTarget).connection;
    // A call opens the gate, and its poll offers another item.
    server_.enqueue(pollTarget, HttpReply::json(item(R"(\\Docs\\b.txt)")));
    server_.enqueue(streamTarget, HttpReply::silence());
    start();
    ASSERT_TRUE(waitFor(streamTarget, 2));
    EXPECT_TRUE(isFree("Docs/a.txt"));
    EXPECT_FALSE(isFree("Docs/b.txt"));
    server_.close(first);
    ASSERT_TRUE(runUntil([&] { return server_.openConnections() == 1; }));
    for (int turn = 0; turn < 10; ++turn)
        loop_.runOnce(std::chrono::seconds(0));
    EXPECT_FALSE(isFree("Docs/b.txt"));
    server_.close(last(streamTarget).connection);
    EXPECT_TRUE(runUntil([&] { return isFree("Docs/b.txt"); }));
}

TEST_P(AnItemsWriter, EndsAPollThatWasSentBeforeTheItemWasAcknowledgedAsIfThereWereNoItem) {
    const auto another = std::make_shared<TopFileUploadXpcService>(context_);
    EngineProbe probe(*another);
    server_.enqueue(pollTarget, HttpReply::silence());
    another->GetTopFileUpload();
    ASSERT_TRUE(waitFor(pollTarget));
    const auto poll = last(pollTarget).connection;
    server_.enqueue(pollTarget, HttpReply::json(item(R"(\\Docs\\a.txt)")));
    auto headers = streamHeaders("\\Docs\\a.txt");
    headers[3] = {"FileUploadID", "12"};
    server_.enqueue(streamTarget, HttpReply::ok("content", headers));
    server_.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    start();
    ASSERT_TRUE(runUntil([&] { return probe_.returnStatus() == "99"; }));
    server_.send(poll, HttpReply::json(item(R"(\\Docs\\a.txt)")).bytes());
    ASSERT_TRUE(runUntil([&] { return probe.gateIsOpen(); }));
    EXPECT_EQ(count(streamTarget), 1U);
    EXPECT_EQ(count(acknowledgeTarget), 1U);
}

INSTANTIATE_TEST_SUITE_P(Transports, AnItemsWriter, ::testing::Values(1343.0, 1138.6),
                         [](const auto& suite) { return suite.param == 1343.0 ? "Session" : "Connection"; });

} // namespace Quenmark
