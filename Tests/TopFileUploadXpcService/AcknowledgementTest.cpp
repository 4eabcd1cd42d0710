// What the engine tells the web service besides its polls, and the operations that nothing in the service calls.

#include "Platform/NetworkFlags.h"
#include "TopFileUploadXpcService/EngineFixture.h"

#include <any>
#include <stdexcept>

namespace Quenmark {

using TestSupport::HttpReply;

class TheEnginesReports : public EngineFixture {};

TEST_F(TheEnginesReports, NameFixedTextsAndTheIdentifiersOfThePreferences) {
    server_.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    ASSERT_TRUE(runUntil([&] { return probe_.gateIsOpen(); }));
    server_.enqueue(logErrorTarget, HttpReply::json(R"({"ReturnStatus":"0"})"));
    engine_->logErrorMethod(std::string("what was caught is not told"));
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
    Platform::NetworkTarget::replaceSource(
        []() -> std::optional<std::uint32_t> { throw std::runtime_error("the network test failed"); });
    start();
    EXPECT_FALSE(probe_.gateIsOpen()) << "the pass had closed it, and nothing opens it again";
    flags_ = 0x2;
    Platform::NetworkTarget::replaceSource([this] { return std::optional(flags_); });
    expectStalled();
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
