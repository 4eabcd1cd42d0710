#include "Platform/Network/NetworkFlags.h"
#include "Services/NetWorkConnectionStatus.h"
#include "Services/Reachability/Reachability.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>

namespace {

using Platform::NetworkTarget;
using Quenmark::NetWorkConnectionStatus;
using Quenmark::Reachability;
using Quenmark::ReachabilityAvailable;
using Quenmark::ReachabilityNone;
using Quenmark::ReachabilityStatus;

constexpr std::uint32_t reachable = 0x2;
constexpr std::uint32_t connectionRequired = 0x4;
constexpr std::uint32_t connectionOnTraffic = 0x8;
constexpr std::uint32_t interventionRequired = 0x10;
constexpr std::uint32_t connectionOnDemand = 0x20;
constexpr std::uint32_t isDirect = 0x20000;

/// A target with given flags.
class GivenTarget : public NetworkTarget {
public:
    explicit GivenTarget(std::optional<std::uint32_t> flags) : flags_(flags) {}
    std::optional<std::uint32_t> flags() const override { return flags_; }
    bool setCallback(std::function<void(std::uint32_t)>) override { return false; }

private:
    std::optional<std::uint32_t> flags_;
};

/// What each of the questions gives for some flags; nil are flags that cannot be read.
struct Row {
    std::optional<std::uint32_t> flags;
    bool conectionStatus;
    ReachabilityStatus internet;
    ReachabilityStatus localWiFi;
};

class FlagRules : public testing::TestWithParam<Row> {
protected:
    const std::unique_ptr<Reachability> internet =
        Reachability::reachabilityWithTarget(std::make_unique<GivenTarget>(GetParam().flags));
    const std::unique_ptr<Reachability> local =
        Reachability::reachabilityForLocalWiFiWithTarget(std::make_unique<GivenTarget>(GetParam().flags));
};

TEST_P(FlagRules, DecideWhetherTheConnectionCounts) {
    EXPECT_EQ(NetWorkConnectionStatus::connectionStatusForFlags(GetParam().flags), GetParam().conectionStatus);
}

TEST_P(FlagRules, DecideTheStatusOfTheInternet) {
    EXPECT_EQ(internet->currentReachabilityStatus(), GetParam().internet);
}

TEST_P(FlagRules, DecideTheStatusOfTheLocalNetwork) {
    EXPECT_EQ(local->currentReachabilityStatus(), GetParam().localWiFi);
}

TEST_P(FlagRules, DecideWhetherAConnectionIsRequired) {
    const bool expected = (GetParam().flags.value_or(0) & connectionRequired) != 0;
    EXPECT_EQ(internet->connectionRequired(), expected);
    EXPECT_EQ(local->connectionRequired(), expected);
}

TEST_P(FlagRules, AreOperationsOfTheirOwn) {
    const Reachability reachability;
    const std::uint32_t flags = GetParam().flags.value_or(0);
    EXPECT_EQ(reachability.networkStatusForFlags(flags), GetParam().internet);
    EXPECT_EQ(reachability.localWiFiStatusForFlags(flags), GetParam().localWiFi);
}

TEST(AReachabilityObject, IsNilWithoutATarget) {
    EXPECT_EQ(Reachability::reachabilityWithTarget(nullptr), nullptr);
    EXPECT_EQ(Reachability::reachabilityForLocalWiFiWithTarget(nullptr), nullptr);
}

INSTANTIATE_TEST_SUITE_P(EachCase, FlagRules,
                         testing::Values(Row{0x0, false, ReachabilityNone, ReachabilityNone},
                                         Row{0x2, true, ReachabilityAvailable, ReachabilityNone},
                                         Row{0x6, false, ReachabilityNone, ReachabilityNone},
                                         Row{0xE, true, ReachabilityAvailable, ReachabilityNone},
                                         Row{0x26, true, ReachabilityAvailable, ReachabilityNone},
                                         Row{0x2E, true, ReachabilityAvailable, ReachabilityNone},
                                         Row{0x1E, false, ReachabilityNone, ReachabilityNone},
                                         Row{0x36, false, ReachabilityNone, ReachabilityNone},
                                         Row{0x3E, false, ReachabilityNone, ReachabilityNone},
                                         Row{0x12, true, ReachabilityAvailable, ReachabilityNone},
                                         Row{0x3A, true, ReachabilityAvailable, ReachabilityNone},
                                         Row{0x20002, true, ReachabilityAvailable, ReachabilityAvailable},
                                         Row{0x20006, true, ReachabilityNone, ReachabilityAvailable},
                                         Row{0x2003E, true, ReachabilityNone, ReachabilityAvailable},
                                         Row{0x20000, false, ReachabilityNone, ReachabilityNone},
                                         Row{0x2003C, false, ReachabilityNone, ReachabilityNone},
                                         Row{0xFFFFFFFD, false, ReachabilityNone, ReachabilityNone},
                                         Row{0xFFFFFFFF, true, ReachabilityNone, ReachabilityAvailable},
                                         Row{std::nullopt, false, ReachabilityNone, ReachabilityNone}));

/// The rules, written out for every combination of the bits.
TEST(AllFlags, FollowTheRules) {
    const Reachability reachability;
    for (std::uint32_t bits = 0; bits < 64; ++bits) {
        const std::uint32_t flags = (bits & 0x1F) << 1 | (bits & 0x20) << 12;
        const bool isReachable = (flags & reachable) != 0;
        const bool automatic =
            (flags & (connectionOnDemand | connectionOnTraffic)) != 0 && (flags & interventionRequired) == 0;
        const bool usable = isReachable && ((flags & connectionRequired) == 0 || automatic);
        const bool direct = isReachable && (flags & isDirect) != 0;
        EXPECT_EQ(reachability.networkStatusForFlags(flags), usable ? ReachabilityAvailable : ReachabilityNone)
            << flags;
        EXPECT_EQ(reachability.localWiFiStatusForFlags(flags), direct ? ReachabilityAvailable : ReachabilityNone)
            << flags;
        EXPECT_EQ(NetWorkConnectionStatus::connectionStatusForFlags(flags), usable || direct) << flags;
    }
}

} // namespace
