// What an engine tells its observer, event by event.

#include "Platform/Files/Files.h"
#include "TopFileUploadXpcService/EngineFixture.h"
#include "TopFileUploadXpcService/ManagedPolicy.h"

#include <vector>

namespace Quenmark {

using TestSupport::HttpReply;
using Strings = std::vector<std::string>;

namespace {

/// Writes each event down in a few words.
class Recorder final : public EngineObserver {
public:
    explicit Recorder(Strings& events) : events_(events) {}
    ~Recorder() override { events_.emplace_back("destroyed"); }

    void started() override { events_.emplace_back("started"); }
    void passed() override { events_.emplace_back("pass"); }
    void foundGateClosed() override { events_.emplace_back("gate closed"); }
    void pollSent(AttemptNumber number) override { note(number, "poll sent"); }
    void responded() override { events_.emplace_back("response"); }
    void offered(AttemptNumber number, const std::string& item) override { note(number, "offered " + item); }
    void downloadBegan(AttemptNumber number, std::uint64_t offset) override {
        note(number, "download from " + std::to_string(offset));
    }
    void foundComplete(AttemptNumber number, std::uint64_t size) override {
        note(number, "complete " + std::to_string(size));
    }
    void totalKnown(AttemptNumber number, std::uint64_t total) override {
        note(number, "total " + std::to_string(total));
    }
    void wrote(AttemptNumber number, std::uint64_t bytes) override { note(number, "wrote " + std::to_string(bytes)); }
    void flushing(AttemptNumber number) override { note(number, "flushing"); }
    void acknowledging(AttemptNumber number) override { note(number, "acknowledging"); }
    void ended(AttemptNumber number, const AttemptEnd& end, bool isFirst, bool isGateOpen) override {
        std::string how = "ended " + reasonOf(end);
        if (end.kind == AttemptEnd::Kind::NoItem)
            how += "without an item";
        if (end.kind == AttemptEnd::Kind::Acknowledged)
            how += "well" + (end.reason.empty() ? "" : " but " + end.reason);
        note(number, how + (isFirst ? "" : " again") + (isGateOpen ? ", gate open" : ", gate closed"));
    }

private:
    void note(AttemptNumber number, const std::string& event) {
        events_.push_back(std::to_string(number) + " " + event);
    }

    Strings& events_;
};

} // namespace

class EngineReportsFixture : public EngineFixture {
protected:
    EngineReportsFixture() { observe(nullptr); }
    ~EngineReportsFixture() override { engine.reset(); }

    void observe(std::unique_ptr<EnginePolicy> policy) {
        engine =
            std::make_shared<TopFileUploadXpcService>(context, std::move(policy), std::make_unique<Recorder>(events));
    }
    bool waitForEnd(std::size_t number = 1) {
        const auto start = std::to_string(number) + " ended ";
        return runUntil([&] {
            return std::any_of(events.begin(), events.end(),
                               [&](const std::string& event) { return event.starts_with(start); });
        });
    }
    std::string lastEvent() const { return events.empty() ? "" : events.back(); }
    std::string lost(const std::string& name, const std::string& how) const {
        return "The item " + name + " is acknowledged, but not in place: " + how;
    }

    /// Outlives the engines, which the loop may keep.
    static inline Strings events;
};

class AnEnginesReports : public EngineReportsFixture {
protected:
    AnEnginesReports() { events.clear(); }
};

class AnEnginesReportsOnBothTransports : public AnEnginesReports, public ::testing::WithParamInterface<double> {
protected:
    AnEnginesReportsOnBothTransports() { setRelease(GetParam()); }
    bool isSession() const { return GetParam() == release10_10; }
};

INSTANTIATE_TEST_SUITE_P(Transports, AnEnginesReportsOnBothTransports, ::testing::Values(release10_10, release10_7),
                         transportName);

TEST_P(AnEnginesReportsOnBothTransports, FollowAFileOnItsWay) {
    enqueueFile(R"(\\a.txt)", "\\a.txt", "the content");
    start();
    ASSERT_TRUE(waitForEnd());
    const Strings before{"started", "pass", "1 poll sent", "response", "1 offered \\a.txt", "1 download from 0"};
    const Strings stream =
        isSession() ? Strings{"1 total 11", "1 wrote 11", "response"} : Strings{"response", "1 total 11", "1 wrote 11"};
    const Strings after{"1 flushing", "1 acknowledging", "response", "1 ended well, gate open"};
    Strings expected = before;
    expected.insert(expected.end(), stream.begin(), stream.end());
    expected.insert(expected.end(), after.begin(), after.end());
    EXPECT_EQ(events, expected);
}

TEST_P(AnEnginesReportsOnBothTransports, TellTheOffsetAndTheWholeSizeOfAResumedFile) {
    writeFile(temporary("Docs/a.txt"), "01234");
    startStream(HttpReply::ok("567", streamHeaders("\\Docs\\a.txt")));
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(std::count(events.begin(), events.end(), "1 download from 5"), 1);
    EXPECT_EQ(std::count(events.begin(), events.end(), "1 total 8"), 1);
    EXPECT_EQ(std::count(events.begin(), events.end(), "1 wrote 3"), 1);
}

TEST_P(AnEnginesReportsOnBothTransports, TellNoSizeWhereTheStreamTellsNone) {
    startStream(HttpReply::raw("HTTP/1.1 200 OK\r\nReturnStatus: 0\r\nIsFile: True\r\n\r\nabc").thenClose());
    ASSERT_TRUE(runUntil([&] { return count(acknowledgeTarget) == 1; }));
    EXPECT_EQ(std::count_if(events.begin(), events.end(),
                            [](const std::string& event) { return event.starts_with("1 total"); }),
              0);
    EXPECT_EQ(std::count(events.begin(), events.end(), "1 wrote 3"), 1);
}

TEST_P(AnEnginesReportsOnBothTransports, SayThatAMoveFailed) {
    writeFile(placed("a.txt"), "old");
    enqueueFile(R"(\\a.txt)", "\\a.txt", "new");
    start();
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(lastEvent(), "1 ended well but move failed, gate open");
    EXPECT_EQ(contentOf(placed("a.txt")), "old");
    EXPECT_EQ(log.count(lost("\\a.txt", "move failed")), 1U);
    EXPECT_EQ(log.priorityOf("The item \\a.txt is"), Platform::Log::Priority::Error);
}

TEST_P(AnEnginesReportsOnBothTransports, SayThatAnItemHadNoBytes) {
    enqueueFile(R"(\\a.txt)", "\\a.txt", "");
    start();
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(lastEvent(), "1 ended well but no bytes, gate open");
    EXPECT_EQ(log.count(lost("\\a.txt", "no bytes")), 1U);
}

TEST_P(AnEnginesReportsOnBothTransports, SayThatAWriteFailed) {
    Platform::Files::createDirectory(temporary("a.txt"));
    enqueueFile(R"(\\a.txt)", "\\a.txt", "new");
    start();
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(lastEvent(), "1 ended well but write failed, gate open");
    EXPECT_EQ(std::count_if(events.begin(), events.end(),
                            [](const std::string& event) { return event.starts_with("1 wrote"); }),
              0);
    EXPECT_EQ(log.count(lost("\\a.txt", "write failed")), 1U);
}

TEST_P(AnEnginesReportsOnBothTransports, SayNothingOfALossInAnItemThatIsInPlace) {
    enqueueFile(R"(\\a.txt)", "\\a.txt", "new");
    start();
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(log.priorityOf("The item "), Platform::Log::Priority::Info) << "it has arrived";
}

TEST_P(AnEnginesReportsOnBothTransports, TellOfAStreamThatBreaksOff) {
    startStream(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 9\r\nReturnStatus: 0\r\nIsFile: True\r\n\r\nabc")
                    .thenReset());
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(lastEvent(), "1 ended transport -1005, gate open");
}

TEST_P(AnEnginesReportsOnBothTransports, TellOfAStreamThatIsRefused) {
    startStream(HttpReply::ok("", {{"ReturnStatus", "3"}}));
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(std::count(events.begin(), events.end(), "1 ended status 3, gate closed"), 1);
    EXPECT_EQ(std::count(events.begin(), events.end(), "response"), 2);
}

TEST_P(AnEnginesReportsOnBothTransports, AreTheSameInManagedMode) {
    observe(std::make_unique<ManagedPolicy>(context.network(), [] { return 0.0; }));
    events.clear();
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\a.txt)")));
    auto headers = streamHeaders("\\a.txt");
    for (auto& [name, value] : headers) {
        if (name == "FileUploadID")
            value = "12";
    }
    server.enqueue(streamTarget, HttpReply::ok("abc", headers));
    server.enqueue(acknowledgeTarget, HttpReply::json(R"({"ReturnStatus":"0"})"));
    start();
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(events.at(2), "1 poll sent");
    EXPECT_EQ(lastEvent(), "1 ended well, gate open");
}

TEST_P(AnEnginesReportsOnBothTransports, SayThatAFileIsCompleteThatWaitsForItsPlace) {
    observe(std::make_unique<ManagedPolicy>(context.network(), [] { return 0.0; }));
    auto headers = streamHeaders("\\a.txt");
    for (auto& [name, value] : headers) {
        if (name == "FileUploadID")
            value = "12";
    }
    Platform::Files::createDirectory(placed("a.txt"));
    for (int poll = 0; poll < 2; ++poll)
        server.enqueue(pollTarget, HttpReply::json(item(R"(\\a.txt)")));
    server.enqueue(streamTarget, HttpReply::ok("abc", headers));
    start();
    ASSERT_TRUE(waitForEnd(1));
    EXPECT_EQ(lastEvent(), "1 ended folder in the way, gate open");
    EXPECT_EQ(std::count(events.begin(), events.end(), "1 complete 3"), 0);
    start();
    ASSERT_TRUE(waitForEnd(2));
    EXPECT_EQ(std::count(events.begin(), events.end(), "2 complete 3"), 1);
    EXPECT_EQ(count(streamTarget), 1U);
}

TEST_P(AnEnginesReportsOnBothTransports, TellNoSizeOfAStreamThatIsNotTaken) {
    observe(std::make_unique<ManagedPolicy>(context.network(), [] { return 0.0; }));
    events.clear();
    // It is of another item.
    startStream(HttpReply::ok("abc", streamHeaders("\\Docs\\a.txt")));
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(lastEvent(), "1 ended bad response, gate open");
    EXPECT_EQ(std::count(events.begin(), events.end(), "1 total 3"), 0);
}

TEST_F(AnEnginesReports, FollowAFolder) {
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\Docs)", "False")));
    server.enqueue(acknowledgeTarget, HttpReply::json(R"({"ReturnStatus":"0"})"));
    start();
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(events, (Strings{"started", "pass", "1 poll sent", "response", "1 offered \\Docs", "1 flushing",
                               "1 acknowledging", "response", "1 ended well, gate open"}));
}

TEST_F(AnEnginesReports, SayThatAFolderCouldNotBeMade) {
    writeFile(placed("Docs"), "a file in the way");
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\Docs)", "False")));
    server.enqueue(acknowledgeTarget, HttpReply::json(R"({"ReturnStatus":"0"})"));
    start();
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(lastEvent(), "1 ended well but not placed, gate open");
    EXPECT_EQ(log.count(lost("\\Docs", "not placed")), 1U);
}

TEST_F(AnEnginesReports, CountTheAttemptsAndTheIdlePasses) {
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    ASSERT_TRUE(waitForEnd(1));
    nextPass();
    ASSERT_TRUE(waitForEnd(2));
    EXPECT_EQ(events, (Strings{"started", "pass", "1 poll sent", "response", "1 ended without an item, gate open",
                               "pass", "2 poll sent", "response", "2 ended without an item, gate open"}));
}

TEST_F(AnEnginesReports, TellOfAPassThatFindsTheGateClosed) {
    server.setHandler([](const auto&) { return HttpReply::silence(); });
    start();
    nextPass();
    EXPECT_EQ(events, (Strings{"started", "pass", "1 poll sent", "pass", "gate closed"}));
}

TEST_F(AnEnginesReports, TellOfAPassWithoutANetwork) {
    flags = 0;
    start();
    EXPECT_EQ(events, (Strings{"started", "pass", "1 ended no network, gate open"}));
}

TEST_F(AnEnginesReports, TellOfAPassWithoutAnIdentifier) {
    setPreferences("{}");
    start();
    EXPECT_EQ(events, (Strings{"started", "pass", "1 ended computerIdKey, gate open"}));
}

TEST_F(AnEnginesReports, TellOfAResponseThatCannotBeRead) {
    server.enqueue(pollTarget, HttpReply::ok("<html>"));
    start();
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(events, (Strings{"started", "pass", "1 poll sent", "response", "1 ended bad response, gate open"}));
}

TEST_F(AnEnginesReports, TellOfNoResponseWhereNoneCame) {
    server.enqueue(pollTarget, HttpReply::raw("").thenReset());
    start();
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(events, (Strings{"started", "pass", "1 poll sent", "1 ended transport -1005, gate open"}));
}

TEST_F(AnEnginesReports, TellOfAnAcknowledgementThatIsRefused) {
    server.enqueue(acknowledgeTarget, HttpReply::json(R"({"ReturnStatus":"5"})"));
    enqueueFile(R"(\\a.txt)", "\\a.txt", "abc");
    start();
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(lastEvent(), "1 ended acknowledgement refused 5, gate closed");
}

TEST_F(AnEnginesReports, TellOfAnItemWithoutAName) {
    server.enqueue(pollTarget, HttpReply::json(R"({"ReturnStatus":"0","IsFile":"Maybe"})"));
    start();
    ASSERT_TRUE(runUntil([&] { return count(acknowledgeTarget) == 1; }));
    EXPECT_EQ(events.at(4), "1 offered ");
}

TEST_F(AnEnginesReports, EndWithTheEngine) {
    engine.reset();
    EXPECT_EQ(events, (Strings{"destroyed"}));
}

} // namespace Quenmark
