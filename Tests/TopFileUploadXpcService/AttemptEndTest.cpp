// The end of an attempt: what is said of it, and that it is never lost.

#include "TopFileUploadXpcService/AttemptEnd.h"

#include "TopFileUploadXpcService/Attempt.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

namespace Quenmark {

using Kind = AttemptEnd::Kind;

TEST(TheReasonOfAnAttemptsEnd, SaysInAFewWordsWhatFailed) {
    EXPECT_EQ(reasonOf({Kind::NoItem}), "");
    EXPECT_EQ(reasonOf({Kind::Acknowledged}), "");
    EXPECT_EQ(reasonOf({Kind::NoNetwork}), "no network");
    EXPECT_EQ(reasonOf({Kind::NotConfigured}), "computerIdKey");
    EXPECT_EQ(reasonOf({Kind::PollFailed, -1004}), "transport -1004");
    EXPECT_EQ(reasonOf({.kind = Kind::PollFailed, .reason = "bad response"}), "bad response");
    EXPECT_EQ(reasonOf({Kind::NoStreamResponse, -1001}), "transport -1001");
    EXPECT_EQ(reasonOf({Kind::StreamFailed, -1005}), "transport -1005");
    EXPECT_EQ(reasonOf({Kind::Refused, 2}), "status 2");
    EXPECT_EQ(reasonOf({Kind::BadResponse}), "bad response");
    EXPECT_EQ(reasonOf({Kind::NotDurable}), "not flushed");
    EXPECT_EQ(reasonOf({Kind::NotAcknowledged}), "acknowledgement failed");
    EXPECT_EQ(reasonOf({Kind::AcknowledgementRefused, 7}), "acknowledgement refused 7");
    EXPECT_EQ(reasonOf({.kind = Kind::NotWritten, .reason = "disk full: 3 bytes missing"}),
              "disk full: 3 bytes missing");
    EXPECT_EQ(reasonOf({.kind = Kind::NotPlaced, .reason = "folder in the way"}), "folder in the way");
}

class AnAttempt : public ::testing::Test {
protected:
    struct Report {
        AttemptEnd end;
        bool isFirst;

        bool operator==(const Report&) const = default;
    };

    std::vector<Report> reports;
    std::optional<Attempt> attempt{std::in_place, 7, [this](const Attempt&, const AttemptEnd& end, bool isFirst) {
                                       reports.push_back({end, isFirst});
                                   }};
};

TEST_F(AnAttempt, SaysWhichOfItsEndsIsTheFirst) {
    EXPECT_FALSE(attempt->isOver());
    attempt->end({Kind::NoItem});
    EXPECT_TRUE(attempt->isOver());
    attempt->end({Kind::Refused, 2});
    attempt.reset();
    EXPECT_EQ(reports, (std::vector<Report>{{{Kind::NoItem}, true}, {{Kind::Refused, 2}, false}}));
}

TEST_F(AnAttempt, HasTheNumberThatItWasGiven) {
    EXPECT_EQ(attempt->number(), 7U);
}

TEST_F(AnAttempt, KeepsTheFirstCauseOfALoss) {
    EXPECT_EQ(attempt->placementError(), "");
    attempt->setPlacementError("write failed");
    attempt->setPlacementError("move failed");
    EXPECT_EQ(attempt->placementError(), "write failed");
}

TEST_F(AnAttempt, ThatIsDroppedHasEndedWithABadResponse) {
    attempt.reset();
    EXPECT_EQ(reports, (std::vector<Report>{{{Kind::BadResponse}, true}}));
}

TEST_F(AnAttempt, ThatWasDismissedHasNoEnd) {
    attempt->dismiss();
    EXPECT_TRUE(attempt->isOver());
    attempt.reset();
    EXPECT_EQ(reports, std::vector<Report>{});
}

TEST(ADroppedAttempt, LetsNoExceptionOut) {
    int calls = 0;
    {
        const Attempt attempt(1, [&](const Attempt&, const AttemptEnd&, bool) {
            ++calls;
            throw std::runtime_error("no memory");
        });
    }
    EXPECT_EQ(calls, 1);
}

} // namespace Quenmark
