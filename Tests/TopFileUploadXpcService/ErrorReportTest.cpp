// The error reports that the engine sends, and the operations that nothing in the service calls.

#include "Platform/Files/Files.h"
#include "TopFileUploadXpcService/EngineFixture.h"

#include <any>
#include <stdexcept>
#include <utility>

namespace Quenmark {

using TestSupport::HttpReply;

class TheEnginesReports : public EngineFixture {};

TEST_F(TheEnginesReports, NameFixedTextsAndTheIdentifiersOfThePreferences) {
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    server.enqueue(logErrorTarget, HttpReply::json(R"({"ReturnStatus":"0"})"));
    engine->logErrorMethod(std::string("the exception is not sent"));
    ASSERT_TRUE(waitFor(logErrorTarget));
    EXPECT_EQ(last(logErrorTarget).body, "{\n  \"ErrorClass\" : \"TopFileUploadtXpcService\",\n"
                                         "  \"ErrorMethod\" : \"UpdateFileUploadQuery\",\n"
                                         "  \"ErrorMessage\" : \"Exception has occured\",\n"
                                         "  \"ComputerID\" : \"7\",\n"
                                         "  \"UserID\" : \"42\"\n}");
    ASSERT_TRUE(runUntil([&] { return log.contains("Error occured....{\n    \"returnStatus\" = \"0\";\n}"); }));
}

TEST_F(TheEnginesReports, LogThatNothingCameBackWhenTheReportFails) {
    server.enqueue(logErrorTarget, HttpReply::ok("no json"));
    engine->logErrorMethod({});
    EXPECT_TRUE(runUntil([&] { return log.contains("Error occured....(null)"); }));
}

TEST_F(TheEnginesReports, AreNotSentWithoutANetwork) {
    flags = 0;
    engine->logErrorMethod({});
    EXPECT_EQ(log.entries().back(), "Error occured....(null)");
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(TheEnginesReports, LeaveTheGateAsItIs) {
    engineProbe.setGate(false);
    server.enqueue(logErrorTarget, HttpReply::json(R"({"ReturnStatus":"0"})"));
    engine->logErrorMethod({});
    ASSERT_TRUE(runUntil([&] { return log.contains("Error occured....{\n    \"returnStatus\" = \"0\";\n}"); }));
    EXPECT_FALSE(engineProbe.gateIsOpen());
}

TEST_F(TheEnginesReports, AreMadeWhenThePassIsEndedByAnExceptionOfTheNetworkTest) {
    readFlags = []() -> std::optional<std::uint32_t> { throw std::runtime_error("the network test failed"); };
    start();
    EXPECT_FALSE(engineProbe.gateIsOpen()) << "the pass had closed it, and nothing opens it again";
    readFlags = [this] { return flags; };
    expectStalled();
}

TEST_F(TheEnginesReports, AreMadeWhateverKindOfExceptionEndsThePassAndTheNextOneFollows) {
    int questions = 0;
    readFlags = [&]() -> std::optional<std::uint32_t> {
        if (++questions == 1)
            throw 7;
        return flags;
    };
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    EXPECT_TRUE(waitFor(logErrorTarget));
    engineProbe.setGate(true);
    nextPass();
    EXPECT_TRUE(waitFor(pollTarget));
}

TEST_F(TheEnginesReports, ThatFailByAnyKindOfExceptionDoNotEndTheChainOfPasses) {
    bool throws = true;
    readFlags = [&]() -> std::optional<std::uint32_t> {
        if (throws)
            throw 7;
        return flags;
    };
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    EXPECT_EQ(log.entries().back(), "The error report cannot be sent: an exception of no known kind");
    throws = false;
    engineProbe.setGate(true);
    nextPass();
    EXPECT_TRUE(waitFor(pollTarget));
}

TEST_F(TheEnginesReports, AreMadeWhateverKindOfExceptionEndsACompletion) {
    // The acknowledgement asks whether the network is there, and so does the report, which finds it.
    Platform::Files::createDirectory(placed("Docs"));
    bool throws = false;
    readFlags = [&]() -> std::optional<std::uint32_t> {
        if (std::exchange(throws, false))
            throw 7;
        return flags;
    };
    server.enqueue(logErrorTarget, HttpReply::json(nothing));
    startStream(HttpReply::silence());
    throws = true;
    server.send(last(streamTarget).connection, HttpReply::ok("content", streamHeaders("\\Docs\\a.txt")).bytes());
    ASSERT_TRUE(waitFor(logErrorTarget));
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), "content");
    EXPECT_EQ(count(acknowledgeTarget), 0U);
    EXPECT_FALSE(engineProbe.gateIsOpen());
}

TEST_F(TheEnginesReports, DoNotEndTheChainOfPasses) {
    setPreferences("{}");
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    ASSERT_TRUE(waitFor(logErrorTarget, 1));
    setPreferences(usualPreferences());
    nextPass();
    EXPECT_TRUE(waitFor(pollTarget));
}

TEST_F(TheEnginesReports, RepresentedObjectsAreIgnored) {
    engine->setRepresentedObject(std::string("anything"));
    EXPECT_FALSE(engineProbe.gateIsOpen());
    EXPECT_TRUE(log.entries().empty());
}

} // namespace Quenmark
