// What an engine's status says while nothing fails: its states one after the other, their times and the item at hand.

#include "TopFileUploadXpcService/EngineStatusFixture.h"

namespace Quenmark {

using std::chrono::milliseconds;
using std::chrono::seconds;

class TheStatusOfAnEngine : public EngineStatusFixture {};
class TheStatusOfTheManagedEngine : public ManagedEngineStatusFixture {};

TEST(AState, HasANameOnTheBus) {
    EXPECT_EQ(nameOf(State::Created), "created");
    EXPECT_EQ(nameOf(State::Idle), "idle");
    EXPECT_EQ(nameOf(State::Unconfigured), "unconfigured");
    EXPECT_EQ(nameOf(State::Offline), "offline");
    EXPECT_EQ(nameOf(State::Polling), "polling");
    EXPECT_EQ(nameOf(State::Downloading), "downloading");
    EXPECT_EQ(nameOf(State::Flushing), "flushing");
    EXPECT_EQ(nameOf(State::Acknowledging), "acknowledging");
    EXPECT_EQ(nameOf(State::Retrying), "retrying");
    EXPECT_EQ(nameOf(State::Blocked), "blocked");
    EXPECT_EQ(nameOf(State::Stalled), "stalled");
}

TEST_F(TheStatusOfAnEngine, ThatWasNeverStartedIsCreatedAndEmpty) {
    EXPECT_EQ(entry(), (EngineEntry{.id = 1, .peer = ":1.7", .state = State::Created, .since = 1'000'000'000}));
    EXPECT_EQ(look(), "created () 1");
    clock.advance(seconds(5));
    EXPECT_EQ(entry().since, 1'000'000'000);
}

TEST_F(TheStatusOfAnEngine, ThatIsStartedIsIdleFromThenOn) {
    changes = 0;
    clock.advance(seconds(3));
    engine->started();
    EXPECT_EQ(look(), "idle () 1");
    clock.advance(seconds(3));
    EXPECT_EQ(entry().since, 1'003'000'000);
}

TEST_F(TheStatusOfAnEngine, ChangesInAnIdlePassByNothingButItsCounts) {
    start();
    clock.advance(seconds(2));
    idlePass(1);
    clock.advance(seconds(2));
    idlePass(2);
    EXPECT_EQ(look(), "idle () 0");
    EXPECT_EQ(entry(), (EngineEntry{.id = 1,
                                    .peer = ":1.7",
                                    .state = State::Idle,
                                    .since = 1'000'000'000,
                                    .passes = 2,
                                    .lastResponse = 1'004'000'000}));
}

TEST_F(TheStatusOfAnEngine, IsPollingOnceAPollHasBeenPendingForASecond) {
    start();
    clock.advance(seconds(2));
    engine->pollSent(1);
    clock.advance(milliseconds(999));
    EXPECT_EQ(look(), "idle () 0");
    EXPECT_EQ(entry().since, 1'000'000'000);
    clock.advance(milliseconds(1));
    EXPECT_EQ(look(), "polling () 0");
    EXPECT_EQ(entry().since, 1'003'000'000);
    clock.advance(seconds(4));
    EXPECT_EQ(entry().since, 1'003'000'000);
    end(1, {Kind::NoItem});
    EXPECT_EQ(look(), "idle () 1");
    EXPECT_EQ(entry().since, 1'007'000'000);
}

TEST_F(TheStatusOfAnEngine, FollowsAnItemThroughItsSteps) {
    start();
    clock.advance(seconds(1));
    offer(1, "\\Docs\\a.txt");
    EXPECT_EQ(look(), "idle () 0");
    EXPECT_EQ(entry().item, "");
    engine->downloadBegan(1, 0);
    EXPECT_EQ(look(), "downloading () 1");
    EXPECT_EQ(entry().item, "\\Docs\\a.txt");
    EXPECT_EQ(entry().since, 1'001'000'000);
    EXPECT_EQ(entry().bytes, 0U);
    EXPECT_EQ(entry().total, std::nullopt);
    engine->totalKnown(1, 300);
    EXPECT_EQ(look(), "downloading () 1");
    EXPECT_EQ(entry().total, 300U);
    clock.advance(seconds(1));
    engine->wrote(1, 100);
    engine->wrote(1, 200);
    EXPECT_EQ(look(), "downloading () 2");
    EXPECT_EQ(entry().bytes, 300U);
    EXPECT_EQ(entry().since, 1'001'000'000);
    engine->flushing(1);
    EXPECT_EQ(look(), "flushing () 1");
    EXPECT_EQ(entry().since, 1'002'000'000);
    EXPECT_EQ(entry().item, "\\Docs\\a.txt");
    clock.advance(seconds(1));
    engine->acknowledging(1);
    EXPECT_EQ(look(), "acknowledging () 1");
    EXPECT_EQ(entry().since, 1'003'000'000);
    EXPECT_EQ(entry().bytes, 300U);
    EXPECT_EQ(entry().total, 300U);
    clock.advance(seconds(1));
    end(1, {Kind::Acknowledged});
    EXPECT_EQ(look(), "idle () 1");
    EXPECT_EQ(entry(), (EngineEntry{.id = 1,
                                    .peer = ":1.7",
                                    .state = State::Idle,
                                    .since = 1'004'000'000,
                                    .lastResponse = 1'002'000'000,
                                    .lastItem = "\\Docs\\a.txt",
                                    .lastItemTime = 1'004'000'000}));
}

TEST_F(TheStatusOfAnEngine, CountsTheBytesOnDiskFromTheOffset) {
    start();
    download(1, 1000);
    EXPECT_EQ(entry().bytes, 1000U);
    engine->wrote(1, 24);
    EXPECT_EQ(entry().bytes, 1024U);
}

TEST_F(TheStatusOfAnEngine, IsNotPollingWhileAnItemIsAtHand) {
    start();
    download(1);
    clock.advance(seconds(10));
    EXPECT_EQ(state(), State::Downloading);
}

TEST_F(TheStatusOfAnEngine, ShowsADownloadBesideAPollThatACallHasBroughtAbout) {
    start();
    download(1);
    changes = 0;
    engine->started();
    engine->pollSent(2);
    clock.advance(seconds(2));
    EXPECT_EQ(look(), "downloading () 0");
    end(2, {Kind::NoItem});
    EXPECT_EQ(look(), "downloading () 0");
    engine->wrote(1, 5);
    EXPECT_EQ(entry().bytes, 5U);
    end(1, {Kind::StreamFailed, -1005});
    EXPECT_EQ(look(), "idle (transport -1005) 2");
}

TEST_F(TheStatusOfAnEngine, ShowsTheFirstOfTwoDownloads) {
    start();
    download(1);
    offer(2, "\\b.txt");
    engine->downloadBegan(2, 0);
    EXPECT_EQ(entry().item, "\\a.txt");
    end(1, {Kind::Acknowledged});
    EXPECT_EQ(entry().item, "\\b.txt");
}

TEST_F(TheStatusOfAnEngine, TakesNoNoticeOfAnAttemptThatIsNotInFlight) {
    start();
    engine->offered(9, "\\b.txt");
    engine->downloadBegan(9, 0);
    engine->foundComplete(9, 10);
    engine->totalKnown(9, 10);
    engine->wrote(9, 10);
    engine->flushing(9);
    engine->acknowledging(9);
    EXPECT_EQ(look(), "idle () 0");
}

TEST_F(TheStatusOfAnEngine, CutsALongNameBetweenCharacters) {
    start();
    const std::string longest(4096, 'a');
    offer(1, longest);
    engine->downloadBegan(1, 0);
    EXPECT_EQ(entry().item, longest);
    end(1, {Kind::Acknowledged});
    offer(2, longest + "b");
    engine->downloadBegan(2, 0);
    EXPECT_EQ(entry().item, longest);
    end(2, {Kind::Acknowledged});
    offer(3, std::string(4094, 'a') + "\u20ac"
                                      "b");
    engine->downloadBegan(3, 0);
    EXPECT_EQ(entry().item, std::string(4094, 'a'));
    end(3, {Kind::Acknowledged});
    // No text at all, but not the end of the process.
    offer(4, std::string(5000, '\x80'));
    engine->downloadBegan(4, 0);
    EXPECT_EQ(entry().item, "");
}

TEST_F(TheStatusOfAnEngine, IsGoneWithTheEngine) {
    changes = 0;
    engine.reset();
    EXPECT_EQ(status->engines().size(), 0U);
    EXPECT_EQ(changes, 1);
}

TEST_F(TheStatusOfTheManagedEngine, KeepsWhyAnItemIsBlockedWhileItPolls) {
    start();
    offer(1);
    end(1, {.kind = Kind::NotPlaced, .reason = "folder in the way"});
    EXPECT_EQ(look(), "blocked (folder in the way) 1");
    clock.advance(seconds(2));
    engine->started();
    engine->pollSent(2);
    EXPECT_EQ(look(), "blocked (folder in the way) 0");
    clock.advance(seconds(1));
    EXPECT_EQ(look(), "polling () 0");
}

TEST_F(TheStatusOfTheManagedEngine, KnowsTheSizeOfAnItemThatWaitsForItsPlace) {
    start();
    offer(1);
    engine->foundComplete(1, 30);
    engine->flushing(1);
    EXPECT_EQ(entry().bytes, 30U);
    EXPECT_EQ(entry().total, 30U);
    end(1, {.kind = Kind::NotPlaced, .reason = "folder in the way"});
    EXPECT_EQ(entry().item, "\\a.txt");
    EXPECT_EQ(entry().bytes, 30U);
    EXPECT_EQ(entry().total, 30U);
}

TEST_F(TheStatusOfTheManagedEngine, KeepsTheItemThatFailed) {
    start();
    download(1, 10);
    engine->totalKnown(1, 30);
    engine->wrote(1, 5);
    end(1, {Kind::StreamFailed, -1005});
    EXPECT_EQ(look().substr(0, 26), "retrying (transport -1005)");
    EXPECT_EQ(entry().item, "\\a.txt");
    EXPECT_EQ(entry().bytes, 15U);
    EXPECT_EQ(entry().total, 30U);
}

} // namespace Quenmark
