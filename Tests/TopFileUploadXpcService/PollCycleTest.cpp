// The poll cycle: when a pass asks, what it asks, and what it does with the response.

#include "Platform/Files/Files.h"
#include "Platform/Settings/DeploymentReader.h"
#include "TopFileUploadXpcService/EngineFixture.h"

#include <unistd.h>

#include <algorithm>

namespace Quenmark {

using TestSupport::HttpReply;

class APollCycle : public EngineFixture {};

TEST_F(APollCycle, AsksAtOnceWhenItIsStartedAndEveryTwoSecondsAfterwards) {
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    ASSERT_TRUE(waitFor(pollTarget, 1));
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));

    clock.advance(std::chrono::milliseconds(1999));
    loop.runOnce(std::chrono::seconds(0));
    EXPECT_EQ(questions(), 1U);
    clock.advance(std::chrono::milliseconds(1));
    ASSERT_TRUE(waitFor(pollTarget, 2));
    EXPECT_EQ(questions(), 2U);
}

TEST_F(APollCycle, SendsTheComputersIdentifierAndNothingElse) {
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    ASSERT_TRUE(waitFor(pollTarget));
    EXPECT_EQ(last(pollTarget).method, "POST");
    EXPECT_EQ(last(pollTarget).body, "{\n  \"ToComputerID\" : \"7\"\n}");
    EXPECT_EQ(last(pollTarget).header("Content-Type"), "application/json");
    EXPECT_EQ(last(pollTarget).header("Accept"), std::nullopt);
}

TEST_F(APollCycle, LogsThatTheConnectionIsAvailableWithItsTrailingBlank) {
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    EXPECT_EQ(log.entries(),
              (std::vector<std::string>{"Connection available... ", "Json String {\n  \"ToComputerID\" : \"7\"\n}",
                                        "response {\n    \"ReturnStatus\" = \"1\";\n}"}));
}

TEST_F(APollCycle, RunsItsLaterPassesOnTheGlobalBackgroundQueue) {
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    std::optional<Platform::Queue> queue;
    readFlags = [&] {
        if (!queue)
            queue = Platform::Queue::current();
        return flags;
    };
    nextPass();
    ASSERT_TRUE(queue);
    EXPECT_EQ(*queue, Platform::Queue::global(Platform::Priority::Background));
}

TEST_F(APollCycle, CountsTheTwoSecondsFromTheEndOfAPass) {
    // The test of the network takes a second.
    readFlags = [&] {
        clock.advance(std::chrono::seconds(1));
        return 0;
    };
    start();
    int passes = 0;
    readFlags = [&] {
        ++passes;
        return 0;
    };
    clock.advance(std::chrono::milliseconds(1999));
    loop.runOnce(std::chrono::seconds(0));
    EXPECT_EQ(passes, 0);
    clock.advance(std::chrono::milliseconds(1));
    loop.runOnce(std::chrono::seconds(0));
    EXPECT_EQ(passes, 1);
}

TEST_F(APollCycle, ReadsThePreferencesAnewInEveryPass) {
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    setPreferences(R"({"computerIdKey":"8"})");
    nextPass();
    ASSERT_TRUE(waitFor(pollTarget, 2));
    EXPECT_EQ(last(pollTarget).body, "{\n  \"ToComputerID\" : \"8\"\n}");
}

TEST_F(APollCycle, AsksNobodyWhileItsHostIsNotKnownAndGoesOnOnceItIs) {
    const std::string file = home.config().path("quenmark/deployment.json");
    ASSERT_EQ(::symlink("deployment.json", file.c_str()), 0) << "a link in a circle, which cannot be read";
    Platform::DeploymentReader reader;
    readSettings = [&reader] { return reader.current(); };
    start();
    EXPECT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    EXPECT_EQ(server.acceptedConnections(), 0U);
    EXPECT_EQ(log.count("A settings file cannot be read; the deployment settings are not known, and no request can be "
                        "sent: " +
                        file + ": Too many levels of symbolic links"),
              1U);
    EXPECT_TRUE(std::ranges::any_of(log.entries(), [](const auto& entry) {
        return entry.find("Code=-1000") != std::string::npos;
    })) << "nothing is sent anywhere: there is no URL";
    ASSERT_EQ(::unlink(file.c_str()), 0);
    home.setDeployment(R"({"serviceHost": ")" + server.host() + "\"}");
    nextPass();
    EXPECT_TRUE(waitFor(pollTarget));
}

TEST_F(APollCycle, SendsANumericIdentifierAsItsText) {
    setPreferences(R"({"computerIdKey":1234})");
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    ASSERT_TRUE(waitFor(pollTarget));
    EXPECT_EQ(last(pollTarget).body, "{\n  \"ToComputerID\" : \"1234\"\n}");
}

TEST_F(APollCycle, WithoutAComputerIdentifierReportsAnErrorEveryPassAndNeverPolls) {
    setPreferences(R"({"userIdKey":"42"})");
    server.setHandler([](const auto&) { return HttpReply::json(R"({"ReturnStatus":"0"})"); });
    start();
    ASSERT_TRUE(waitFor(logErrorTarget, 1));
    nextPass();
    ASSERT_TRUE(waitFor(logErrorTarget, 2));
    EXPECT_EQ(last(logErrorTarget).body, "{\n  \"ErrorClass\" : \"TopFileUploadtXpcService\",\n"
                                         "  \"ErrorMethod\" : \"UpdateFileUploadQuery\",\n"
                                         "  \"ErrorMessage\" : \"Exception has occured\",\n"
                                         "  \"UserID\" : \"42\"\n}");
    EXPECT_EQ(count(pollTarget), 0U);
    EXPECT_TRUE(engineProbe.gateIsOpen());
}

TEST_F(APollCycle, WithoutAPreferencesDomainReadsEveryKeyAsNil) {
    Platform::Files::removeItem(home.config().path("quenmark"));
    server.setHandler([](const auto&) { return HttpReply::json(R"({"ReturnStatus":"0"})"); });
    start();
    ASSERT_TRUE(waitFor(logErrorTarget));
    EXPECT_EQ(engineProbe.iAppsPrefs(), std::nullopt);
    EXPECT_EQ(last(logErrorTarget).body, "{\n  \"ErrorClass\" : \"TopFileUploadtXpcService\",\n"
                                         "  \"ErrorMethod\" : \"UpdateFileUploadQuery\",\n"
                                         "  \"ErrorMessage\" : \"Exception has occured\"\n}");
}

TEST_F(APollCycle, RecoversWhenTheIdentifierIsSetWhileItRuns) {
    setPreferences("[1, 2");
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    ASSERT_TRUE(waitFor(logErrorTarget));
    setPreferences(usualPreferences());
    nextPass();
    EXPECT_TRUE(waitFor(pollTarget));
}

TEST_F(APollCycle, WithAClosedGateSendsAndLogsNothingAndStillSchedulesTheNextPass) {
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    engineProbe.setGate(false);
    log.clear();
    nextPass();
    EXPECT_TRUE(log.entries().empty());
    engineProbe.setGate(true);
    nextPass();
    EXPECT_EQ(questions(), 1U);
}

TEST_F(APollCycle, StartedTwiceHasTwoChainsOfPassesThatShareOneGate) {
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    start();
    ASSERT_TRUE(waitFor(pollTarget, 2));
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    log.clear();

    clock.advance(std::chrono::seconds(2));
    loop.runOnce(std::chrono::seconds(0));
    EXPECT_EQ(questions(), 1U) << "the first chain's pass closes the gate for the second's";
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    engineProbe.setGate(true);
    flags = 0;
    log.clear();
    clock.advance(std::chrono::seconds(2));
    loop.runOnce(std::chrono::seconds(0));
    EXPECT_EQ(log.count("connection not availble........"), 2U) << "one for each chain";
}

TEST_F(APollCycle, MakesAndAcknowledgesAFolderAndOpensTheGateInTheSameCompletion) {
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\Docs\\New)", "False")));
    server.enqueue(acknowledgeTarget, HttpReply::silence());
    start();
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    EXPECT_TRUE(Platform::Files::isDirectory(placed("Docs/New")));
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_EQ(last(acknowledgeTarget).body, "{\n  \"FileUploadID\" : \"12\",\n"
                                            "  \"FileName\" : \"\\\\Docs\\\\New\",\n"
                                            "  \"ServerPath\" : \"C:\\\\up\\\\12\",\n"
                                            "  \"TransitUploadPath\" : \"t\\\\12\"\n}");
    EXPECT_EQ(count(streamTarget), 0U);
}

TEST_F(APollCycle, OpensTheGateASecondTimeWhenTheFoldersAcknowledgementIsConfirmed) {
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\F)", "False")));
    server.enqueue(acknowledgeTarget, HttpReply::json(R"({"ReturnStatus":"0"})"));
    start();
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    ASSERT_TRUE(runUntil([&] { return engineProbe.returnStatus() == "99"; }));
    EXPECT_TRUE(engineProbe.gateIsOpen());
}

TEST_F(APollCycle, TakesAnItemForAFolderUnlessItIsCalledAFileExactly) {
    for (const char* isFile : {R"("true")", "null", "true", R"("")", R"("Perhaps")", "1"}) {
        server.enqueue(pollTarget, HttpReply::json(std::string(R"({"ReturnStatus":"0","FileName":"\\D","IsFile":)") +
                                                   isFile + "}"));
        server.enqueue(acknowledgeTarget, HttpReply::json(R"({"ReturnStatus":"0"})"));
        const auto before = count(acknowledgeTarget);
        engine = std::make_shared<TopFileUploadXpcService>(context);
        start();
        ASSERT_TRUE(waitFor(acknowledgeTarget, before + 1)) << isFile;
        EXPECT_TRUE(Platform::Files::isDirectory(placed("D"))) << isFile;
        ASSERT_TRUE(runUntil([&] { return isFree("D"); }));
        Platform::Files::removeItem(placed("D"));
    }
}

TEST_F(APollCycle, LeavesAFileThatStandsInTheFoldersPlaceAndAcknowledgesAllTheSame) {
    writeFile(placed("F"), "kept");
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\F)", "False")));
    server.enqueue(acknowledgeTarget, HttpReply::json(R"({"ReturnStatus":"0"})"));
    start();
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_EQ(contentOf(placed("F")), "kept");
}

TEST_F(APollCycle, ReadsThePendingIdentifiersOfItsOwnStoreWithEveryItem) {
    home.setOwnPreferences(R"({"PENDING_UPLOAD_IDS":["1","2"]})");
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\F)", "False")));
    server.enqueue(acknowledgeTarget, HttpReply::json(R"({"ReturnStatus":"0"})"));
    start();
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_EQ(engineProbe.pendingUploadIDs(), (boost::json::array{"1", "2"}));
}

TEST_F(APollCycle, KeepsNoPendingIdentifiersWhenItsOwnStoreHasNone) {
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\F)", "False")));
    server.enqueue(acknowledgeTarget, HttpReply::json(R"({"ReturnStatus":"0"})"));
    start();
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_EQ(engineProbe.pendingUploadIDs(), std::nullopt);
}

TEST_F(APollCycle, KeepsNoPendingIdentifiersWhereTheyAreNoArray) {
    home.setOwnPreferences(R"({"PENDING_UPLOAD_IDS":"1"})");
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\F)", "False")));
    server.enqueue(acknowledgeTarget, HttpReply::json(R"({"ReturnStatus":"0"})"));
    start();
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_EQ(engineProbe.pendingUploadIDs(), std::nullopt);
}

TEST_F(APollCycle, StartsWithANewOperationQueueOfFourOperationsAtOnce) {
    EXPECT_EQ(engineProbe.operationLimit(), std::nullopt);
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    const auto first = engineProbe.operationQueue();
    EXPECT_EQ(engineProbe.operationLimit(), 4);
    start();
    EXPECT_NE(engineProbe.operationQueue(), first);
    EXPECT_EQ(engineProbe.operationLimit(), 4);
}

TEST_F(APollCycle, KeepsAnEngineAliveThatNobodyElseHolds) {
    server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    start();
    engine.reset();
    const auto responses = [&] { return log.count("response {\n    \"ReturnStatus\" = \"1\";\n}"); };
    for (std::size_t pass = 1; pass <= 3; ++pass) {
        ASSERT_TRUE(runUntil([&] { return responses() == pass; })) << pass;
        clock.advance(std::chrono::seconds(2));
    }
}

} // namespace Quenmark
