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
    server_.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    ASSERT_TRUE(runUntil([&] { return probe_.gateIsOpen(); }));
    server_.enqueue(logErrorTarget, HttpReply::json(R"({"ReturnStatus":"0"})"));
    engine_->logErrorMethod(std::string("the exception is not sent"));
    ASSERT_TRUE(waitFor(logErrorTarget));
    EXPECT_EQ(last(logErrorTarget).body, "{\n  \"ErrorClass\" : \"TopFileUploadtXpcService\",\n"
                                         "  \"ErrorMethod\" : \"UpdateFileUploadQuery\",\n"
                                         "  \"ErrorMessage\" : \"Exception has occured\",\n"
                                         "  \"ComputerID\" : \"7\",\n"
                                         "  \"UserID\" : \"42\"\n}");
    ASSERT_TRUE(runUntil([&] { return log_.contains("Error occured....{\n    \"returnStatus\" = \"0\";\n}"); }));
}

TEST_F(TheEnginesReports, LogThatNothingCameBackWhenTheReportFails) {
    server_.enqueue(logErrorTarget, HttpReply::ok("no json"));
    engine_->logErrorMethod({});
    EXPECT_TRUE(runUntil([&] { return log_.contains("Error occured....(null)"); }));
}

TEST_F(TheEnginesReports, AreNotSentWithoutANetwork) {
    flags_ = 0;
    engine_->logErrorMethod({});
    EXPECT_EQ(log_.entries().back(), "Error occured....(null)");
    EXPECT_TRUE(server_.requests().empty());
}

TEST_F(TheEnginesReports, LeaveTheGateAsItIs) {
    probe_.setGate(false);
    server_.enqueue(logErrorTarget, HttpReply::json(R"({"ReturnStatus":"0"})"));
    engine_->logErrorMethod({});
    ASSERT_TRUE(runUntil([&] { return log_.contains("Error occured....{\n    \"returnStatus\" = \"0\";\n}"); }));
    EXPECT_FALSE(probe_.gateIsOpen());
}

TEST_F(TheEnginesReports, AreMadeWhenThePassIsEndedByAnExceptionOfTheNetworkTest) {
    readFlags_ = []() -> std::optional<std::uint32_t> { throw std::runtime_error("the network test failed"); };
    start();
    EXPECT_FALSE(probe_.gateIsOpen()) << "the pass had closed it, and nothing opens it again";
    readFlags_ = [this] { return flags_; };
    expectStalled();
}

TEST_F(TheEnginesReports, AreMadeWhateverKindOfExceptionEndsThePassAndTheNextOneFollows) {
    int questions = 0;
    readFlags_ = [&]() -> std::optional<std::uint32_t> {
        if (++questions == 1)
            throw 7;
        return flags_;
    };
    server_.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    EXPECT_TRUE(waitFor(logErrorTarget));
    probe_.setGate(true);
    nextPass();
    EXPECT_TRUE(waitFor(pollTarget));
}

TEST_F(TheEnginesReports, ThatFailByAnyKindOfExceptionDoNotEndTheChainOfPasses) {
    bool throws = true;
    readFlags_ = [&]() -> std::optional<std::uint32_t> {
        if (throws)
            throw 7;
        return flags_;
    };
    server_.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    EXPECT_EQ(log_.entries().back(), "The error report cannot be sent: an exception of no known kind");
    throws = false;
    probe_.setGate(true);
    nextPass();
    EXPECT_TRUE(waitFor(pollTarget));
}

TEST_F(TheEnginesReports, AreMadeWhateverKindOfExceptionEndsACompletion) {
    // The acknowledgement asks whether the network is there, and so does the report, which finds it.
    Platform::Files::createDirectory(placed("Docs"));
    bool throws = false;
    readFlags_ = [&]() -> std::optional<std::uint32_t> {
        if (std::exchange(throws, false))
            throw 7;
        return flags_;
    };
    server_.enqueue(logErrorTarget, HttpReply::json(nothing));
    startStream(HttpReply::silence());
    throws = true;
    server_.send(last(streamTarget).connection, HttpReply::ok("content", streamHeaders("\\Docs\\a.txt")).bytes());
    ASSERT_TRUE(waitFor(logErrorTarget));
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), "content");
    EXPECT_EQ(count(acknowledgeTarget), 0U);
    EXPECT_FALSE(probe_.gateIsOpen());
}

TEST_F(TheEnginesReports, DoNotEndTheChainOfPasses) {
    setPreferences("{}");
    server_.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    ASSERT_TRUE(waitFor(logErrorTarget, 1));
    setPreferences(usualPreferences());
    nextPass();
    EXPECT_TRUE(waitFor(pollTarget));
}

TEST_F(TheEnginesReports, RepresentedObjectsAreIgnored) {
    engine_->setRepresentedObject(std::string("anything"));
    EXPECT_FALSE(probe_.gateIsOpen());
    EXPECT_TRUE(log_.entries().empty());
}

} // namespace Quenmark
