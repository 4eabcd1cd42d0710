// How grave the engine's log entries are: a pass that finds nothing is for debugging, a failure stands out.

#include "TopFileUploadXpcService/EngineFixture.h"

#include <filesystem>

namespace Quenmark {

using Platform::Log::Priority;
using TestSupport::HttpReply;

class AnEnginesLog : public EngineFixture {
protected:
    void expectPriority(std::string_view entry, Priority priority) const {
        const auto found = log.priorityOf(entry);
        ASSERT_TRUE(found) << entry;
        EXPECT_EQ(*found, priority) << entry;
    }
};

TEST_F(AnEnginesLog, HasAnIdlePassForDebugging) {
    for (const double release : {release10_10, release10_7}) {
        setRelease(release);
        log.clear();
        server.setHandler([](const auto&) { return HttpReply::json(nothing); });
        start();
        ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
        expectPriority("Connection available... ", Priority::Debug);
        expectPriority("Json String ", Priority::Debug);
        expectPriority("response ", Priority::Debug);
        EXPECT_EQ(log.entries().size(), 3U);
    }
}

TEST_F(AnEnginesLog, HasTheCourseOfAnItemAsInformation) {
    enqueueFile(R"(\\a.txt)", "\\a.txt", "content");
    start();
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    ASSERT_TRUE(runUntil([&] { return log.contains("The item \\a.txt is in place: 7 bytes in 0.0 s"); }));
    expectPriority("{\n  \"ToComputerID\" : \"7\",\n  \"Length\"", Priority::Info);
    expectPriority("Bytes Written : 7", Priority::Info);
    expectPriority("Json String {\n  \"FileUploadID\"", Priority::Info);
    expectPriority("response {\n    \"ReturnStatus\" = \"0\";\n}", Priority::Info);
}

TEST_F(AnEnginesLog, WarnsWhereThereIsNoNetwork) {
    flags = 0;
    start();
    expectPriority("connection not availble........", Priority::Warning);
}

TEST_F(AnEnginesLog, WarnsOfARequestThatFails) {
    server.setHandler([](const auto&) { return HttpReply::json(nothing).cutAfter(20).thenReset(); });
    start();
    ASSERT_TRUE(runUntil([&] { return log.contains("network error"); }));
    expectPriority("error code ....", Priority::Warning);
    expectPriority("network error", Priority::Warning);
}

TEST_F(AnEnginesLog, WarnsOfAResponseThatIsNotJson) {
    server.setHandler([](const auto&) { return HttpReply::ok("<html>"); });
    start();
    ASSERT_TRUE(waitFor(pollTarget));
    ASSERT_TRUE(runUntil([&] { return log.contains("response (null)"); }));
    expectPriority("response (null)", Priority::Warning);
}

TEST_F(AnEnginesLog, HasAFailedWriteAsAnError) {
    std::filesystem::create_directories(temporary("Docs/a.txt"));
    startStream(HttpReply::ok("content", streamHeaders("\\Docs\\a.txt")));
    ASSERT_TRUE(runUntil([&] { return log.priorityOf("Stream error: ").has_value(); }));
    expectPriority("Stream error: ", Priority::Error);
}

TEST_F(AnEnginesLog, HasAnErrorReportAsAnError) {
    setPreferences("{}");
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    ASSERT_TRUE(runUntil([&] { return log.priorityOf("Error occured....").has_value(); }));
    expectPriority("Error occured....", Priority::Error);
}

} // namespace Quenmark
