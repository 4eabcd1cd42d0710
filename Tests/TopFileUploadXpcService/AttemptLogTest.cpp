// What the engine's log says of items that arrive and of attempts that fail: a line each, with what follows.

#include "TopFileUploadXpcService/ManagedFixture.h"

#include <filesystem>

namespace Quenmark {

using Platform::Log::Priority;
using TestSupport::HttpReply;

class ALineOfTheLog : public EngineFixture {
protected:
    /// Waits for an entry that begins and ends so, which must be the only one.
    void expectOne(const std::string& start, const std::string& end, Priority priority) {
        ASSERT_TRUE(runUntil([&] { return countOf(start, end) > 0; })) << ::testing::PrintToString(log.entries());
        EXPECT_EQ(countOf(start, end), 1U) << ::testing::PrintToString(log.entries());
        EXPECT_EQ(log.priorityOf(start), priority) << start;
    }
    std::size_t countOf(const std::string& start, const std::string& end) const {
        return static_cast<std::size_t>(std::ranges::count_if(
            log.entries(), [&](const auto& entry) { return entry.starts_with(start) && entry.ends_with(end); }));
    }
    /// Answers each acknowledgement after that time.
    void confirmAfter(std::chrono::milliseconds time) {
        server.setHandler([this, time](const auto& request) {
            if (request.target == acknowledgeTarget)
                clock.advance(time);
            return HttpReply::json(R"({"ReturnStatus":"0"})");
        });
    }

    static constexpr const char* nextPass = "; the next pass asks again";
    static constexpr const char* stall = "; nothing is asked for until GetTopFileUpload is called";
};

TEST_F(ALineOfTheLog, TellsOfAFileThatHasArrived) {
    for (const double release : {release10_10, release10_7}) {
        setRelease(release);
        log.clear();
        confirmAfter(std::chrono::milliseconds(1500));
        server.enqueue(pollTarget, HttpReply::json(item(R"(\\a.txt)")));
        server.enqueue(streamTarget, HttpReply::ok("content", streamHeaders("\\a.txt")));
        start();
        expectOne("The item ", "\\a.txt is in place: 7 bytes in 1.5 s", Priority::Info);
        ASSERT_TRUE(std::filesystem::remove(placed("a.txt")));
    }
}

TEST_F(ALineOfTheLog, CountsThePartThatWasThereBefore) {
    writeFile(temporary("a.txt"), "con");
    confirmAfter(std::chrono::milliseconds(0));
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\a.txt)")));
    server.enqueue(streamTarget, HttpReply::ok("tent", streamHeaders("\\a.txt")));
    start();
    expectOne("The item ", "\\a.txt is in place: 7 bytes in 0.0 s", Priority::Info);
}

TEST_F(ALineOfTheLog, TellsOfAFolderThatHasArrived) {
    confirmAfter(std::chrono::milliseconds(0));
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\Docs)", "False")));
    start();
    expectOne("The item ", "\\Docs is in place: 0 bytes in 0.0 s", Priority::Info);
}

TEST_F(ALineOfTheLog, IsOneLineWhateverAnItemsName) {
    confirmAfter(std::chrono::milliseconds(0));
    server.enqueue(pollTarget, HttpReply::json(item("\\\\a\\nforged\\r\u0085\u2028\\u001b[2J", "False")));
    start();
    expectOne("The item ", "\\a\\x0Aforged\\x0D\\xC2\\x85\\xE2\\x80\\xA8\\x1B[2J is in place: 0 bytes in 0.0 s",
              Priority::Info);
}

TEST_F(ALineOfTheLog, IsOneLineWhereAnItemOfAnyNameFails) {
    server.enqueue(pollTarget, HttpReply::json(item("\\\\a\\nforged")));
    server.enqueue(streamTarget, HttpReply::ok("", {{"ReturnStatus", "3"}}));
    start();
    expectOne("status 3 (\\a\\x0Aforged, HTTP 200)", stall, Priority::Error);
}

TEST_F(ALineOfTheLog, SaysWhyAPollFailedOnceAMinute) {
    server.stopListening();
    start();
    const std::string failure = "transport -1004 (Could not connect to the host";
    expectOne(failure, nextPass, Priority::Warning);
    for (int pass = 0; pass < 3; ++pass) {
        ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
        EngineFixture::nextPass();
    }
    EXPECT_EQ(countOf(failure, nextPass), 1U);
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    clock.advance(std::chrono::minutes(1));
    ASSERT_TRUE(runUntil([&] { return countOf(failure, nextPass) == 2; }));
}

TEST_F(ALineOfTheLog, SaysOnceThatThereIsNoNetworkHoweverLongItLasts) {
    flags = 0;
    start();
    expectOne("no network", nextPass, Priority::Warning);
    for (int minute = 0; minute < 3; ++minute) {
        clock.advance(std::chrono::minutes(1));
        EngineFixture::nextPass();
    }
    const auto passes = std::ranges::count(log.entries(), "connection not availble........");
    EXPECT_GE(passes, 4);
    EXPECT_EQ(countOf("no network", nextPass), 1U);
}

TEST_F(ALineOfTheLog, NamesTheHttpStatusOfAnErrorPage) {
    for (const double release : {release10_10, release10_7}) {
        setRelease(release);
        log.clear();
        server.enqueue(pollTarget, HttpReply::status(503, "<html>"));
        server.setHandler([](const auto&) { return HttpReply::json(nothing); });
        start();
        expectOne("bad response (Not JSON: ", " (HTTP 503)); the next pass asks again", Priority::Warning);
        // What has worked meanwhile begins anew.
        ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
        EngineFixture::nextPass();
        ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
        server.enqueue(pollTarget, HttpReply::status(503, "<html>"));
        EngineFixture::nextPass();
        ASSERT_TRUE(runUntil([&] { return countOf("bad response (", nextPass) == 2; }));
        ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
        EngineFixture::nextPass();
        ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    }
}

TEST_F(ALineOfTheLog, TellsOfAFailureAnewOnceAnItemHasArrived) {
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    server.enqueue(pollTarget, HttpReply::status(503, "<html>"));
    start();
    expectOne("bad response (Not JSON: ", " (HTTP 503)); the next pass asks again", Priority::Warning);
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    enqueueFile(R"(\\a.txt)", "\\a.txt", "content");
    EngineFixture::nextPass();
    ASSERT_TRUE(runUntil([&] { return log.contains("The item \\a.txt is in place: 7 bytes in 0.0 s"); }));
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    server.enqueue(pollTarget, HttpReply::status(503, "<html>"));
    EngineFixture::nextPass();
    ASSERT_TRUE(runUntil([&] { return countOf("bad response (", nextPass) == 2; }));
}

TEST_F(ALineOfTheLog, SaysWhenNothingIsAskedForAnyMore) {
    for (const double release : {release10_10, release10_7}) {
        setRelease(release);
        log.clear();
        server.enqueue(pollTarget, HttpReply::json(item(R"(\\a.txt)")));
        server.enqueue(streamTarget, HttpReply::status(500, "", {{"ReturnStatus", "1"}}));
        start();
        expectOne("status 1 (\\a.txt, HTTP 500)", stall, Priority::Error);
    }
}

TEST_F(ALineOfTheLog, SaysThatAnAcknowledgementIsRefused) {
    enqueueFile(R"(\\a.txt)", "\\a.txt", "content");
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\Docs)", "False")));
    server.enqueue(acknowledgeTarget, HttpReply::ok("<html>"));
    start();
    ASSERT_TRUE(runUntil([&] { return log.contains("The item \\a.txt is in place: 7 bytes in 0.0 s"); }));
    EngineFixture::nextPass();
    // The gate opens with the folder.
    expectOne("acknowledgement failed (\\Docs, Not JSON: ", nextPass, Priority::Warning);
}

class ALineOfTheManagedLog : public ManagedFixture {};

TEST_P(ALineOfTheManagedLog, IsForDebuggingWhereAPassIsIdle) {
    answerNothing();
    start();
    ASSERT_TRUE(hasEnded(1));
    expectPollAfter(2, 2);
    ASSERT_TRUE(hasEnded(2));
    ASSERT_FALSE(log.entries().empty());
    for (const auto& entry : log.entries())
        EXPECT_EQ(log.priorityOf(entry), Priority::Debug) << entry;
}

TEST_P(ALineOfTheManagedLog, TellsOfFailureAndArrival) {
    answerNothing();
    offer(R"(\\a.txt)");
    server.enqueue(streamTarget, HttpReply::status(500, "", {{"ReturnStatus", "1"}}));
    enqueueItem(R"(\\a.txt)", "\\a.txt", "content");
    start();
    const std::string failure = "status 1 (\\a.txt, HTTP 500); the next attempt follows in 2 s";
    ASSERT_TRUE(runUntil([&] { return log.contains(failure); })) << ::testing::PrintToString(log.entries());
    EXPECT_EQ(log.priorityOf(failure), Priority::Warning);
    pass(2);
    const std::string arrival = "The item \\a.txt is in place: 7 bytes in 0.0 s";
    ASSERT_TRUE(runUntil([&] { return log.contains(arrival); })) << ::testing::PrintToString(log.entries());
    EXPECT_EQ(log.priorityOf(arrival), Priority::Info);
    EXPECT_EQ(log.count(arrival), 1U);
}

INSTANTIATE_TEST_SUITE_P(Transports, ALineOfTheManagedLog, ::testing::Values(release10_10, release10_7), transportName);

} // namespace Quenmark
