#include "Platform/Loop/RunLoop.h"
#include "Platform/Network/NetworkFlags.h"
#include "Support/Namespaces.h"

#include <gtest/gtest.h>

#include <sched.h>

#include <fstream>
#include <sstream>

namespace {

using Platform::DeploymentSettings;
using Platform::NetworkTarget;
using Platform::Queue;
using Platform::RunLoop;
using TestSupport::ip;
using Reported = std::vector<std::uint32_t>;

/// The deployment settings of the machine, whose web service is somewhere else unless a test moves it.
DeploymentSettings currentSettings{.serviceHost = "service.example"};

std::unique_ptr<NetworkTarget> internetTarget(Platform::NetworkSource source = {
                                                  .settings = [] { return currentSettings; }}) {
    return NetworkTarget::createWithIPv4Address(NetworkTarget::zeroAddress, std::move(source));
}

/// A network of the test's own with a link, its cable's other end, and a default route: the Internet is reachable.
class ANetworkThatChanges : public testing::Test {
protected:
    template <class Body>
    static void inItsOwnNamespace(const Body& body) {
        EXPECT_TRUE(TestSupport::succeedsInNamespaces(CLONE_NEWNET, [&] {
            ip("link add out type veth peer name peer");
            ip("link set out up");
            ip("link set peer up");
            ip("address add 10.0.0.1/24 dev out");
            ip("route add default via 10.0.0.2");
            RunLoop loop;
            body(loop);
            return !HasFailure();
        }));
    }
};

TEST_F(ANetworkThatChanges, ReportsFlagsThatAreNewOnTheMainQueue) {
    inItsOwnNamespace([](RunLoop& loop) {
        Reported reported;
        const auto target = internetTarget();
        ASSERT_TRUE(target->setCallback([&](std::uint32_t flags) {
            EXPECT_EQ(Queue::current(), Queue::main());
            reported.push_back(flags);
        }));
        ip("route del default");
        EXPECT_TRUE(reported.empty());
        EXPECT_TRUE(loop.runUntil([&] { return reported == Reported{0}; }));
        ip("route add default via 10.0.0.2");
        EXPECT_TRUE(loop.runUntil([&] { return reported == Reported{0, 2}; }));
    });
}

TEST_F(ANetworkThatChanges, ReportsChangesOfCarrierAndLinks) {
    inItsOwnNamespace([](RunLoop& loop) {
        Reported reported;
        const auto target = internetTarget();
        ASSERT_TRUE(target->setCallback([&](std::uint32_t flags) { reported.push_back(flags); }));
        ip("link set peer down");
        EXPECT_TRUE(loop.runUntil([&] { return reported == Reported{0}; }));
        ip("link set peer up");
        EXPECT_TRUE(loop.runUntil([&] { return reported == Reported{0, 2}; }));
        ip("link del out");
        EXPECT_TRUE(loop.runUntil([&] { return reported == Reported{0, 2, 0}; }));
    });
}

TEST_F(ANetworkThatChanges, HasItsNewFlagsAtOnce) {
    inItsOwnNamespace([](RunLoop&) {
        EXPECT_EQ(internetTarget()->flags(), 2U);
        EXPECT_EQ(internetTarget()->flags(), 2U);
        ip("route del default");
        EXPECT_EQ(internetTarget()->flags(), 0U);
        ip("route add default via 10.0.0.2");
        EXPECT_EQ(internetTarget()->flags(), 2U);
        ip("link set out down");
        EXPECT_EQ(internetTarget()->flags(), 0U);
        ip("link set lo up");
        EXPECT_EQ(internetTarget()->flags(), 0U);
        currentSettings.serviceHost = "127.0.0.1:80";
        EXPECT_EQ(internetTarget()->flags(), 0x20002U);
        ip("link set lo down");
        EXPECT_EQ(internetTarget()->flags(), 0U);
    });
}

TEST_F(ANetworkThatChanges, ReportsChangesOfIPv6Routes) {
    inItsOwnNamespace([](RunLoop& loop) {
        ip("route del default");
        ip("-6 address add 2001:db8::1/64 dev out nodad");
        Reported reported;
        const auto target = internetTarget();
        ASSERT_TRUE(target->setCallback([&](std::uint32_t flags) { reported.push_back(flags); }));
        ip("-6 route add default via 2001:db8::2");
        EXPECT_TRUE(loop.runUntil([&] { return reported == Reported{2}; }));
    });
}

TEST_F(ANetworkThatChanges, ReportsNothingWhereTheFlagsStayTheSame) {
    inItsOwnNamespace([](RunLoop& loop) {
        Reported reported;
        const auto target = internetTarget();
        ASSERT_TRUE(target->setCallback([&](std::uint32_t flags) { reported.push_back(flags); }));
        ip("address add 10.0.0.9/24 dev out");
        ip("route add 192.0.2.0/24 via 10.0.0.2");
        // A second target, of an address that becomes reachable, shows when the changes have been seen.
        loop.runOnce(std::chrono::seconds(20));
        loop.runOnce(std::chrono::seconds(0));
        ip("route del default");
        EXPECT_TRUE(loop.runUntil([&] { return !reported.empty(); }));
        EXPECT_EQ(reported, Reported{0});
    });
}

TEST_F(ANetworkThatChanges, ReportsManyChangesAtOnceInOneCall) {
    inItsOwnNamespace([](RunLoop& loop) {
        int reads = 0;
        Reported reported;
        const auto target = internetTarget({.flags = [&] { return static_cast<std::uint32_t>(++reads); }});
        ASSERT_TRUE(target->setCallback([&](std::uint32_t flags) { reported.push_back(flags); }));
        std::string lines;
        for (int route = 0; route < 100; ++route)
            lines += "route add 192.0." + std::to_string(route) + ".0/24 via 10.0.0.2\n";
        TestSupport::ipBatch(lines);
        EXPECT_TRUE(loop.runUntil([&] { return !reported.empty(); }));
        EXPECT_EQ(reported, Reported{2});
        EXPECT_EQ(reads, 2);
    });
}

/// How many messages this network's netlink sockets have lost for want of room.
unsigned long lostMessages() {
    std::ifstream table("/proc/net/netlink");
    unsigned long lost = 0;
    std::string line;
    std::getline(table, line);
    while (std::getline(table, line)) {
        std::istringstream columns(line);
        std::vector<std::string> values{std::istream_iterator<std::string>(columns), {}};
        lost += values.size() > 8 ? std::stoul(values[8]) : 0;
    }
    return lost;
}

TEST_F(ANetworkThatChanges, IsReadAnewWhereChangesWereLost) {
    inItsOwnNamespace([](RunLoop& loop) {
        Reported reported;
        const auto target = internetTarget();
        ASSERT_TRUE(target->setCallback([&](std::uint32_t flags) { reported.push_back(flags); }));
        std::string lines;
        for (int route = 0; route < 10'000 && lostMessages() == 0; ++route) {
            lines += "route add 172." + std::to_string(16 + route / 250) + "." + std::to_string(route % 250) +
                     ".0/24 via 10.0.0.2\n";
            if (route % 500 == 499)
                TestSupport::ipBatch(std::exchange(lines, {}));
        }
        ASSERT_GT(lostMessages(), 0U);
        ip("route del default");
        EXPECT_TRUE(loop.runUntil([&] { return reported == Reported{0}; }));
        ip("route add default via 10.0.0.2");
        EXPECT_TRUE(loop.runUntil([&] { return reported == Reported{0, 2}; }));
    });
}

TEST_F(ANetworkThatChanges, CallsNobodyOnceTheCallbackIsRemoved) {
    inItsOwnNamespace([](RunLoop& loop) {
        Reported first;
        Reported second;
        const auto target = internetTarget();
        const auto other = internetTarget();
        ASSERT_TRUE(target->setCallback([&](std::uint32_t flags) { first.push_back(flags); }));
        ASSERT_TRUE(other->setCallback([&](std::uint32_t flags) { second.push_back(flags); }));
        ip("route del default");
        EXPECT_TRUE(target->setCallback({}));
        EXPECT_TRUE(loop.runUntil([&] { return second == Reported{0}; }));
        ip("route add default via 10.0.0.2");
        EXPECT_TRUE(loop.runUntil([&] { return second == Reported{0, 2}; }));
        EXPECT_EQ(first, Reported{});
    });
}

TEST_F(ANetworkThatChanges, CallsTheCallbackThatReplacedAnother) {
    inItsOwnNamespace([](RunLoop& loop) {
        Reported first;
        Reported second;
        const auto target = internetTarget();
        ASSERT_TRUE(target->setCallback([&](std::uint32_t flags) { first.push_back(flags); }));
        ASSERT_TRUE(target->setCallback([&](std::uint32_t flags) { second.push_back(flags); }));
        ip("route del default");
        EXPECT_TRUE(loop.runUntil([&] { return second == Reported{0}; }));
        EXPECT_EQ(first, Reported{});
    });
}

TEST_F(ANetworkThatChanges, LetsACallbackEndItsTarget) {
    inItsOwnNamespace([](RunLoop& loop) {
        int calls = 0;
        auto target = internetTarget();
        ASSERT_TRUE(target->setCallback([&, kept = std::make_shared<int>(1)](std::uint32_t) {
            target.reset();
            calls += *kept;
        }));
        ip("route del default");
        EXPECT_TRUE(loop.runUntil([&] { return calls == 1; }));
    });
}

TEST_F(ANetworkThatChanges, DoesNotCallATargetThatHasEndedMeanwhile) {
    inItsOwnNamespace([](RunLoop& loop) {
        auto target = internetTarget();
        ASSERT_TRUE(target->setCallback([](std::uint32_t) { FAIL() << "the target has ended"; }));
        ip("route del default");
        // The descriptor's handler has put the comparison on the main queue by then.
        loop.runOnce(std::chrono::seconds(20));
        target.reset();
        loop.runOnce(std::chrono::seconds(0));
    });
}

TEST_F(ANetworkThatChanges, MayEndAfterTheLoop) {
    inItsOwnNamespace([](RunLoop&) {
        // Held beyond the body, as a member of an object may be.
        static std::unique_ptr<NetworkTarget> target;
        target = internetTarget();
        ASSERT_TRUE(target->setCallback([](std::uint32_t) {}));
    });
}

TEST_F(ANetworkThatChanges, CannotBeFollowedWithoutANetlinkSocket) {
    inItsOwnNamespace([](RunLoop&) {
        const auto target = internetTarget();
        TestSupport::refuseNetlinkSockets();
        EXPECT_FALSE(target->setCallback([](std::uint32_t) {}));
        EXPECT_TRUE(target->setCallback({}));
    });
}

TEST(ANetworkTargetWithoutALoop, CannotFollowChanges) {
    ASSERT_FALSE(RunLoop::exists());
    const auto target = internetTarget();
    EXPECT_FALSE(target->setCallback([](std::uint32_t) {}));
    EXPECT_TRUE(target->setCallback({}));
}

} // namespace
