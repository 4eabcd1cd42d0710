// The gate's transitions, one by one, and every way to stall.

#include "Platform/Files/Files.h"
#include "TopFileUploadXpcService/EngineFixture.h"

namespace Quenmark {

using TestSupport::HttpReply;

class TheGate : public EngineFixture {};

TEST_F(TheGate, IsClosedInAnEngineThatWasNeverStarted) {
    EXPECT_FALSE(engineProbe.gateIsOpen());
}

TEST_F(TheGate, OpensWhenTheEngineIsStartedAndClosesWhenAPassAsks) {
    setPreferences("{}");
    start();
    EXPECT_TRUE(engineProbe.gateIsOpen()) << "a pass that cannot ask leaves it as the start set it";
    setPreferences(usualPreferences());
    server.enqueue(pollTarget, HttpReply::silence());
    nextPass();
    EXPECT_FALSE(engineProbe.gateIsOpen());
    EXPECT_EQ(questions(), 1U);
}

TEST_F(TheGate, OpensAgainWhenTheNetworkIsNotAvailable) {
    flags = 0;
    start();
    EXPECT_TRUE(engineProbe.gateIsOpen());
    EXPECT_EQ(log.entries(),
              (std::vector<std::string>{"connection not availble........", "no network; the next pass asks again"}));
    flags = 0x2;
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    nextPass();
    EXPECT_TRUE(waitFor(pollTarget));
}

TEST_F(TheGate, OpensAgainWhenThePollIsNotSentBecauseTheConnectorFindsNoNetwork) {
    // Reachable and direct, but a connection is required: enough for the pass, not for the connector.
    flags = 0x20006;
    start();
    EXPECT_TRUE(engineProbe.gateIsOpen());
    EXPECT_EQ(log.entries(),
              (std::vector<std::string>{"Connection available... ", "no network; the next pass asks again"}));
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(TheGate, OpensAgainWhenThePollFails) {
    server.enqueue(pollTarget, HttpReply::raw("").thenClose());
    server.enqueue(pollTarget, HttpReply::raw("").thenClose());
    start();
    EXPECT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
}

TEST_F(TheGate, OpensAgainWhenThePollsResponseIsNotJson) {
    server.enqueue(pollTarget, HttpReply::ok("<html>"));
    start();
    EXPECT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
}

TEST_F(TheGate, OpensAgainForEveryStatusButTheTextZero) {
    for (const char* status : {R"("1")", R"("00")", R"(" 0")", R"("")", "0", "0.0", "null", "[]", "{}", "false"}) {
        server.enqueue(pollTarget, HttpReply::json(std::string(R"({"FileName":"\\a","IsFile":"True","ReturnStatus":)") +
                                                   status + "}"));
        const auto before = count(pollTarget);
        start();
        ASSERT_TRUE(waitFor(pollTarget, before + 1)) << status;
        ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); })) << status;
        EXPECT_EQ(count(streamTarget), 0U) << status;
        EXPECT_EQ(count(acknowledgeTarget), 0U) << status;
    }
}

TEST_F(TheGate, StaysClosedWhileAFileIsDownloaded) {
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\a)")));
    server.enqueue(streamTarget, HttpReply::silence());
    start();
    ASSERT_TRUE(waitFor(streamTarget));
    expectStalled();
}

TEST_F(TheGate, OpensWhenTheAcknowledgementIsConfirmed) {
    enqueueFile(R"(\\a)", "\\a", "content");
    start();
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_FALSE(engineProbe.gateIsOpen());
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    EXPECT_EQ(engineProbe.returnStatus(), "99");
}

TEST_F(TheGate, StaysClosedWhenTheAcknowledgementIsRefused) {
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\a)")));
    server.enqueue(streamTarget, HttpReply::ok("x", streamHeaders("\\a")));
    server.enqueue(acknowledgeTarget, HttpReply::json(R"({"ReturnStatus":"1"})"));
    start();
    ASSERT_TRUE(runUntil([&] { return log.count("response {\n    \"ReturnStatus\" = \"1\";\n}") == 1; }));
    expectStalled();
    EXPECT_EQ(engineProbe.returnStatus(), "0");
}

TEST_F(TheGate, StaysClosedWhenTheAcknowledgementFails) {
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\a)")));
    server.enqueue(streamTarget, HttpReply::ok("x", streamHeaders("\\a")));
    server.enqueue(acknowledgeTarget, HttpReply::ok("not json"));
    start();
    ASSERT_TRUE(runUntil([&] { return log.count("response (null)") == 1; }));
    expectStalled();
}

TEST_F(TheGate, OpensOnAnAcknowledgementWhoseStatusReadsAsZero) {
    for (const char* response :
         {"{}", R"({"ReturnStatus":0})", R"({"ReturnStatus":"none"})", R"({"ReturnStatus":null})"}) {
        server.enqueue(acknowledgeTarget, HttpReply::json(response));
        engineProbe.setGate(false);
        engine->acknowledgeFileUploadProcess({});
        EXPECT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); })) << response;
    }
}

TEST_F(TheGate, IsOpenedByAnotherStartAfterAStall) {
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\a)")));
    server.enqueue(streamTarget, HttpReply::ok("", {{"ReturnStatus", "1"}}));
    start();
    ASSERT_TRUE(runUntil([&] { return engineProbe.returnStatus() == "1"; }));
    expectStalled();
    server.enqueue(pollTarget, HttpReply::json(nothing));
    start();
    ASSERT_TRUE(waitFor(pollTarget, 2));
}

/// What happens to the stream of a file, on both transports.
class TheGateOnBothTransports : public EngineFixture, public ::testing::WithParamInterface<double> {
protected:
    TheGateOnBothTransports() { setRelease(GetParam()); }
    /// Bytes of a stream that announces ten bytes and brings four.
    static HttpReply fourOfTenBytes() {
        return HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 10\r\nReturnStatus: 0\r\nIsFile: True\r\n\r\nabcd");
    }
};

TEST_P(TheGateOnBothTransports, OpensWhenTheConnectionIsLost) {
    startStream(fourOfTenBytes().thenClose());
    EXPECT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    EXPECT_EQ(contentOf(temporary("Docs/a.txt")), "abcd");
    EXPECT_EQ(count(acknowledgeTarget), 0U);
}

TEST_P(TheGateOnBothTransports, OpensWhenTheConnectionIsReset) {
    startStream(fourOfTenBytes().thenReset());
    EXPECT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
}

TEST_P(TheGateOnBothTransports, OpensWhenNobodyListensForTheStream) {
    server.setHandler([this](const auto&) {
        server.stopListening();
        return HttpReply::json(item(R"(\\a)")).thenClose();
    });
    start();
    ASSERT_TRUE(waitFor(pollTarget));
    EXPECT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    EXPECT_EQ(count(streamTarget), 0U);
}

TEST_P(TheGateOnBothTransports, StaysClosedWhenTheStreamStandsStillAfterItsHeaderFields) {
    startStream(fourOfTenBytes());
    ASSERT_TRUE(runUntil([&] { return contentOf(temporary("Docs/a.txt")) == "abcd"; }));
    const auto asked = questions();
    clock.advance(std::chrono::seconds(61));
    ASSERT_TRUE(runUntil([&] { return server.openConnections() == 0 || questions() > asked; }));
    expectStalled();
}

TEST_P(TheGateOnBothTransports, OpensAndTheItemIsFinishedOnAStatusOfTwo) {
    startStream(HttpReply::ok("", {{"ReturnStatus", "2"}}));
    EXPECT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    EXPECT_EQ(engineProbe.returnStatus(), "99");
    nextPass();
    EXPECT_EQ(count(acknowledgeTarget), 0U);
}

TEST_P(TheGateOnBothTransports, StaysClosedOnAnyOtherStatus) {
    for (const char* status : {"1", "3", "-1", "+5", "99"}) {
        startStream(HttpReply::ok("", {{"ReturnStatus", status}, {"IsFile", "False"}, {"FileName", "\\other"}}));
        ASSERT_TRUE(runUntil([&] { return engineProbe.returnStatus() == status; })) << status;
        expectStalled();
        EXPECT_EQ(engineProbe.fileName(), "\\Docs\\a.txt") << "no other header field is read";
        EXPECT_FALSE(Platform::Files::exists(placed("other")));
        ASSERT_TRUE(runUntil([&] { return isFree("Docs/a.txt"); }));
    }
}

TEST_P(TheGateOnBothTransports, OpensWhenAWriteFails) {
    // A folder stands where the temporary file is to be.
    Platform::Files::createDirectory(temporary("Docs/a.txt"));
    startStream(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 10\r\nReturnStatus: 0\r\nIsFile: True\r\n\r\nabcd"));
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    EXPECT_EQ(log.count("Bytes Written : -1"), 1U);
    EXPECT_TRUE(
        log.contains("Stream error: Error Domain=POSIX Code=21 \"" + temporary("Docs/a.txt") + ": Is a directory\""));
}

INSTANTIATE_TEST_SUITE_P(Transports, TheGateOnBothTransports, ::testing::Values(release10_10, release10_7),
                         transportName);

TEST_F(TheGate, ClosesAgainOnTheNextPieceAfterAFailedWriteOnTheSessionTransport) {
    Platform::Files::createDirectory(temporary("a"));
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\a)")));
    server.enqueue(streamTarget, HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 8\r\nReturnStatus: 0\r\n\r\nabcd"));
    start();
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    // The folder makes way; the next piece is written, and the gate closes.
    Platform::Files::removeItem(temporary("a"));
    server.send(last(streamTarget).connection, "ef");
    ASSERT_TRUE(runUntil([&] { return contentOf(temporary("a")) == "ef"; }));
    EXPECT_FALSE(engineProbe.gateIsOpen());
}

TEST_F(TheGate, StaysOpenOnTheNextPieceAfterAFailedWriteOnTheOlderTransport) {
    setRelease(release10_7);
    Platform::Files::createDirectory(temporary("a"));
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\a)")));
    server.enqueue(streamTarget, HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 8\r\nReturnStatus: 0\r\n\r\nabcd"));
    start();
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    Platform::Files::removeItem(temporary("a"));
    server.send(last(streamTarget).connection, "ef");
    ASSERT_TRUE(runUntil([&] { return contentOf(temporary("a")) == "ef"; }));
    EXPECT_TRUE(engineProbe.gateIsOpen());
}

TEST_F(TheGate, OpensWhenTheSessionTransportEndsWithoutAnyResponseWhateverTheError) {
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\a)")));
    server.enqueue(streamTarget, HttpReply::silence());
    start();
    ASSERT_TRUE(waitFor(streamTarget));
    EXPECT_FALSE(engineProbe.gateIsOpen());
    // Error -1001, without a response.
    clock.advance(std::chrono::seconds(61));
    EXPECT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
}

TEST_F(TheGate, StaysClosedWhenTheOlderTransportTimesOutWithoutAnyResponse) {
    setRelease(release10_7);
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\a)")));
    server.enqueue(streamTarget, HttpReply::silence());
    start();
    ASSERT_TRUE(waitFor(streamTarget));
    clock.advance(std::chrono::seconds(61));
    ASSERT_TRUE(runUntil([&] { return server.openConnections() == 0; }));
    expectStalled();
}

} // namespace Quenmark
