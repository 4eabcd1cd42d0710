// The state and the reason that follow each way in which an attempt can end, and what ends them.

#include "TopFileUploadXpcService/EngineStatusFixture.h"

#include <vector>

namespace Quenmark {

using std::chrono::seconds;

/// How an attempt ends, whether the gate is open then, and what is shown.
struct Outcome {
    AttemptEnd end;
    bool isGateOpen;
    State state;
    const char* reason;
};

template <class Fixture>
class AFailure : public Fixture {
protected:
    /// Expects that of an attempt that had come to a download.
    void expectAfterDownload(const Outcome& outcome) {
        SCOPED_TRACE(reasonOf(outcome.end));
        this->download(++number);
        this->end(number, outcome.end, outcome.isGateOpen);
        EXPECT_EQ(nameOf(this->state()), nameOf(outcome.state));
        EXPECT_EQ(this->reason(), outcome.reason);
    }

private:
    EngineObserver::AttemptNumber number = 0;
};

class TheStatusAfterAFailure : public AFailure<EngineStatusFixture> {};
class TheManagedStatusAfterAFailure : public AFailure<ManagedEngineStatusFixture> {};

TEST_F(TheStatusAfterAFailure, IsStalledWhereTheGateIsClosedAndIdleWithTheReasonOtherwise) {
    start();
    const std::vector<Outcome> outcomes{
        {{Kind::StreamFailed, -1001}, false, State::Stalled, "transport -1001"},
        {{Kind::StreamFailed, -1005}, true, State::Idle, "transport -1005"},
        {{Kind::NoStreamResponse, -1004}, true, State::Idle, "transport -1004"},
        {{Kind::Refused, 3}, false, State::Stalled, "status 3"},
        {{Kind::Refused, 2}, true, State::Idle, "status 2"},
        {{Kind::BadResponse}, false, State::Stalled, "bad response"},
        {{Kind::NotDurable}, true, State::Idle, "not flushed"},
        {{Kind::NotAcknowledged}, false, State::Stalled, "acknowledgement failed"},
        {{Kind::AcknowledgementRefused, 5}, false, State::Stalled, "acknowledgement refused 5"},
        {{Kind::AcknowledgementRefused, 5}, true, State::Idle, "acknowledgement refused 5"},
    };
    for (const auto& outcome : outcomes)
        expectAfterDownload(outcome);
}

TEST_F(TheManagedStatusAfterAFailure, IsRetryingOrBlocked) {
    start();
    const std::vector<Outcome> outcomes{
        {{Kind::StreamFailed, -1001}, true, State::Retrying, "transport -1001"},
        {{Kind::NoStreamResponse, -1004}, true, State::Retrying, "transport -1004"},
        {{Kind::PollFailed, -1004}, true, State::Retrying, "transport -1004"},
        {{.kind = Kind::PollFailed, .reason = "bad response"}, true, State::Retrying, "bad response"},
        {{Kind::Refused, 3}, true, State::Retrying, "status 3"},
        {{Kind::BadResponse}, true, State::Retrying, "bad response"},
        {{Kind::NotDurable}, true, State::Retrying, "not flushed"},
        {{Kind::NotAcknowledged}, true, State::Retrying, "acknowledgement failed"},
        {{Kind::AcknowledgementRefused, 5}, true, State::Retrying, "acknowledgement refused 5"},
        {{.kind = Kind::NotPlaced, .reason = "name leaves the folder"}, true, State::Blocked, "name leaves the folder"},
        {{.kind = Kind::NotPlaced, .reason = "file in the way"}, true, State::Blocked, "file in the way"},
        {{.kind = Kind::NotWritten, .reason = "disk full: 7 bytes missing"},
         true,
         State::Blocked,
         "disk full: 7 bytes missing"},
        {{.kind = Kind::NotWritten, .reason = "not writable: /x"}, true, State::Blocked, "not writable: /x"},
    };
    for (const auto& outcome : outcomes)
        expectAfterDownload(outcome);
}

TEST_F(TheManagedStatusAfterAFailure, LooksAtTheFirstEndOfAnAttemptAlone) {
    start();
    engine->pollSent(1);
    end(1, {Kind::NoItem});
    engine->ended(1, {Kind::StreamFailed, -1005}, false, true);
    EXPECT_EQ(look(), "idle () 0");
}

TEST_F(TheStatusAfterAFailure, LooksAtALaterEndOfAnAttemptToo) {
    start();
    download(1);
    end(1, {Kind::Refused, 1}, false);
    EXPECT_EQ(state(), State::Stalled);
    engine->ended(1, {Kind::StreamFailed, -1005}, false, true);
    EXPECT_EQ(state(), State::Idle);
    EXPECT_EQ(reason(), "transport -1005");
}

TEST_F(TheStatusAfterAFailure, IsOfflineWithoutANetworkUntilThereIsAResponse) {
    start();
    clock.advance(seconds(2));
    end(1, {Kind::NoNetwork});
    EXPECT_EQ(look(), "offline (no network) 1");
    EXPECT_EQ(entry().since, 1'002'000'000);
    clock.advance(seconds(2));
    end(2, {Kind::NoNetwork});
    engine->pollSent(3);
    EXPECT_EQ(look(), "offline (no network) 0");
    EXPECT_EQ(entry().since, 1'002'000'000);
    end(3, {Kind::NoItem});
    EXPECT_EQ(look(), "idle () 1");
    EXPECT_EQ(entry().since, 1'004'000'000);
}

TEST_F(TheStatusAfterAFailure, IsOfflineAfterAPollWithoutAResponse) {
    start();
    engine->pollSent(1);
    end(1, {Kind::PollFailed, -1004});
    EXPECT_EQ(look(), "offline (transport -1004) 1");
    clock.advance(seconds(2));
    engine->pollSent(2);
    end(2, {Kind::PollFailed, -1003});
    EXPECT_EQ(look(), "offline (transport -1003) 1");
    EXPECT_EQ(entry().since, 1'000'000'000);
}

TEST_F(TheStatusAfterAFailure, NamesAPollsBadResponseUntilThereIsAGoodOne) {
    start();
    engine->pollSent(1);
    end(1, {.kind = Kind::PollFailed, .reason = "bad response"});
    EXPECT_EQ(look(), "idle (bad response) 1");
    idlePass(2);
    EXPECT_EQ(look(), "idle () 1");
}

TEST_F(TheStatusAfterAFailure, NamesADownloadsFailureUntilAnItemSucceeds) {
    start();
    download(1);
    end(1, {Kind::StreamFailed, -1005});
    idlePass(2);
    end(3, {Kind::NoNetwork});
    idlePass(4);
    EXPECT_EQ(reason(), "transport -1005");
    EXPECT_EQ(entry().item, "");
    download(5);
    end(5, {Kind::Acknowledged});
    EXPECT_EQ(state(), State::Idle);
    EXPECT_EQ(reason(), "");
    idlePass(6);
    EXPECT_EQ(reason(), "");
}

TEST_F(TheManagedStatusAfterAFailure, NamesADownloadsFailureWhileItIsIdle) {
    start();
    download(1);
    end(1, {Kind::StreamFailed, -1005});
    idlePass(2);
    EXPECT_EQ(state(), State::Idle);
    EXPECT_EQ(reason(), "transport -1005");
    engine->pollSent(3);
    end(3, {Kind::BadResponse});
    EXPECT_EQ(reason(), "bad response");
    idlePass(4);
    EXPECT_EQ(reason(), "transport -1005");
}

TEST_F(TheManagedStatusAfterAFailure, IsOfflineOnlyWithoutANetwork) {
    start();
    end(1, {Kind::NoNetwork});
    EXPECT_EQ(state(), State::Offline);
    EXPECT_EQ(reason(), "no network");
}

TEST_F(TheStatusAfterAFailure, IsUnconfiguredWithTheKey) {
    start();
    end(1, {Kind::NotConfigured});
    EXPECT_EQ(look(), "unconfigured (computerIdKey) 1");
    engine->pollSent(2);
    EXPECT_EQ(look(), "unconfigured (computerIdKey) 0");
    end(2, {Kind::NoItem});
    EXPECT_EQ(look(), "idle () 1");
}

TEST_F(TheStatusAfterAFailure, IsStalledAgainOnceTheKeyIsSet) {
    start();
    download(1);
    end(1, {Kind::StreamFailed, -1001}, false);
    end(2, {Kind::NotConfigured}, false);
    EXPECT_EQ(state(), State::Unconfigured);
    changes = 0;
    engine->foundGateClosed();
    EXPECT_EQ(look(), "stalled (transport -1001) 1");
}

TEST_F(TheStatusAfterAFailure, OfTheKeyGivesWayToADownloadThatGoesOn) {
    start();
    download(1);
    end(2, {Kind::NotConfigured}, false);
    EXPECT_EQ(state(), State::Downloading);
    engine->foundGateClosed();
    end(1, {Kind::StreamFailed, -1005}, true);
    EXPECT_EQ(state(), State::Idle);
}

TEST_F(TheStatusAfterAFailure, OfTheKeyStaysWhileAPollIsPending) {
    start();
    engine->pollSent(1);
    end(2, {Kind::NotConfigured}, false);
    engine->foundGateClosed();
    EXPECT_EQ(state(), State::Unconfigured);
}

TEST_F(TheStatusAfterAFailure, IsNoStallForAGateThatAPollHasClosed) {
    start();
    engine->pollSent(1);
    changes = 0;
    engine->foundGateClosed();
    EXPECT_EQ(look(), "idle () 0");
    end(1, {Kind::NoItem});
    EXPECT_EQ(look(), "idle () 0");
}

TEST_F(TheStatusAfterAFailure, OfAStallEndsWithACall) {
    start();
    download(1);
    end(1, {Kind::Refused, 1}, false);
    EXPECT_EQ(entry().item, "\\a.txt");
    clock.advance(seconds(9));
    changes = 0;
    engine->started();
    EXPECT_EQ(look(), "idle (status 1) 1");
    EXPECT_EQ(entry().since, 1'009'000'000);
    EXPECT_EQ(entry().item, "");
}

TEST_F(TheStatusAfterAFailure, IsNoStallWhileAPollIsInFlight) {
    start();
    download(1);
    engine->started();
    engine->pollSent(2);
    end(1, {Kind::StreamFailed, -1001}, false);
    EXPECT_EQ(state(), State::Idle);
    EXPECT_EQ(reason(), "transport -1001");
    end(2, {Kind::NoItem});
    EXPECT_EQ(state(), State::Idle);
    EXPECT_EQ(reason(), "transport -1001");
}

TEST_F(TheStatusAfterAFailure, OfACallChangesNothingElse) {
    start();
    end(1, {Kind::NoNetwork});
    changes = 0;
    engine->started();
    EXPECT_EQ(look(), "offline (no network) 0");
}

TEST_F(TheStatusAfterAFailure, NamesTheLastStallOfSeveral) {
    start();
    download(1);
    end(1, {Kind::StreamFailed, -1001}, false);
    engine->started();
    engine->pollSent(2);
    end(2, {Kind::BadResponse}, false);
    EXPECT_EQ(state(), State::Stalled);
    EXPECT_EQ(reason(), "bad response");
    end(3, {Kind::NotConfigured}, false);
    engine->foundGateClosed();
    EXPECT_EQ(reason(), "bad response");
}

TEST_F(TheStatusAfterAFailure, NamesNoStallThatNeverWas) {
    start();
    download(1);
    end(1, {Kind::Refused, 4}, false);
    engine->started();
    download(2);
    end(2, {Kind::StreamFailed, -1005}, true);
    end(3, {Kind::NotConfigured}, true);
    engine->foundGateClosed();
    EXPECT_EQ(state(), State::Stalled);
    EXPECT_EQ(reason(), "status 4");
}

} // namespace Quenmark
