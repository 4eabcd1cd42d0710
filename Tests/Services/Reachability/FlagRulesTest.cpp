#include "Platform/NetworkFlags.h"
#include "Services/NetWorkConnectionStatus.h"
#include "Services/Reachability/Reachability.h"

#include <gtest/gtest.h>

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

/// Gives every target that is made while it lives the same flags.
class GivenFlags {
public:
    explicit GivenFlags(std::optional<std::uint32_t> flags) {
        NetworkTarget::replaceSource([flags] { return flags; });
    }
    GivenFlags(const GivenFlags&) = delete;
    GivenFlags& operator=(const GivenFlags&) = delete;
    ~GivenFlags() { NetworkTarget::replaceSource({}); }
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
    const GivenFlags given{GetParam().flags};
};

TEST_P(FlagRules, DecideWhetherTheConnectionCounts) {
    EXPECT_EQ(NetWorkConnectionStatus::ConectionStatus(), GetParam().conectionStatus);
}

TEST_P(FlagRules, DecideTheStatusOfTheInternet) {
    const auto internet = Reachability::reachabilityForInternetConnection();
    ASSERT_NE(internet, nullptr);
    EXPECT_EQ(internet->currentReachabilityStatus(), GetParam().internet);
    EXPECT_EQ(Reachability::isReachable(), GetParam().internet != ReachabilityNone);
    EXPECT_EQ(Reachability::reachabilityWithHostName("host.example")->currentReachabilityStatus(), GetParam().internet);
}

TEST_P(FlagRules, DecideTheStatusOfTheLocalNetwork) {
    const auto local = Reachability::reachabilityForLocalWiFi();
    ASSERT_NE(local, nullptr);
    EXPECT_EQ(local->currentReachabilityStatus(), GetParam().localWiFi);
}

TEST_P(FlagRules, DecideWhetherAConnectionIsRequired) {
    const bool expected = (GetParam().flags.value_or(0) & connectionRequired) != 0;
    EXPECT_EQ(Reachability::reachabilityForInternetConnection()->connectionRequired(), expected);
    EXPECT_EQ(Reachability::reachabilityForLocalWiFi()->connectionRequired(), expected);
}

TEST_P(FlagRules, AreOperationsOfTheirOwn) {
    const Reachability reachability;
    const std::uint32_t flags = GetParam().flags.value_or(0);
    EXPECT_EQ(reachability.networkStatusForFlags(flags), GetParam().internet);
    EXPECT_EQ(reachability.localWiFiStatusForFlags(flags), GetParam().localWiFi);
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

/// The rules as one would say them aloud, for every combination of the bits.
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
        const GivenFlags given(flags);
        EXPECT_EQ(NetWorkConnectionStatus::ConectionStatus(), usable || direct) << flags;
    }
}

} // namespace
