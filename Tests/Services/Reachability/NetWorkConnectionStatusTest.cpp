#include "Services/NetWorkConnectionStatus.h"

#include "Platform/Settings/DeploymentSettings.h"
#include "Services/Reachability/Reachability.h"
#include "Support/Namespaces.h"

#include <gtest/gtest.h>

#include <sched.h>
#include <unistd.h>

#include <thread>

namespace {

using Quenmark::NetWorkConnectionStatus;
using Quenmark::Reachability;
using TestSupport::ip;

template <class Body>
void inANetwork(const std::string& serviceHost, const Body& body) {
    EXPECT_TRUE(TestSupport::succeedsInNamespaces(CLONE_NEWNET, [&] {
        Platform::DeploymentSettings::replace(Platform::DeploymentSettings{.serviceHost = serviceHost});
        body();
        return !testing::Test::HasFailure();
    }));
}

TEST(TheConnectionStatus, FollowsTheRoutesOfTheMachine) {
    inANetwork("service.example", [] {
        EXPECT_FALSE(NetWorkConnectionStatus::ConectionStatus());
        EXPECT_FALSE(Reachability::isReachable());
        ip("link add out type veth peer name peer");
        ip("link set out up");
        ip("link set peer up");
        ip("address add 10.0.0.1/24 dev out");
        ip("route add default via 10.0.0.2");
        EXPECT_TRUE(NetWorkConnectionStatus::ConectionStatus());
        EXPECT_TRUE(Reachability::isReachable());
        ip("link set peer down");
        EXPECT_FALSE(NetWorkConnectionStatus::ConectionStatus());
        EXPECT_FALSE(Reachability::isReachable());
    });
}

TEST(TheConnectionStatus, OfAServiceOnThisMachineNeedsNoNetwork) {
    inANetwork("127.0.0.1:8080", [] {
        EXPECT_FALSE(NetWorkConnectionStatus::ConectionStatus());
        ip("link set lo up");
        EXPECT_TRUE(NetWorkConnectionStatus::ConectionStatus());
        EXPECT_TRUE(Reachability::isReachable());
    });
}

TEST(TheConnectionStatus, IsNoWhereTheKernelCannotBeAsked) {
    inANetwork("127.0.0.1:8080", [] {
        ip("link set lo up");
        TestSupport::refuseNetlinkSockets();
        EXPECT_FALSE(NetWorkConnectionStatus::ConectionStatus());
        EXPECT_FALSE(Reachability::isReachable());
    });
}

TEST(TheConnectionStatus, MayBeAskedOnAnyThread) {
    inANetwork("127.0.0.1:8080", [] {
        ip("link set lo up");
        std::vector<std::thread> askers;
        for (int asker = 0; asker < 4; ++asker)
            askers.emplace_back([] {
                for (int time = 0; time < 500; ++time)
                    EXPECT_TRUE(NetWorkConnectionStatus::ConectionStatus() && Reachability::isReachable());
            });
        for (auto& asker : askers)
            asker.join();
    });
}

TEST(TheConnectionStatus, KeepsNoDescriptor) {
    const int lowest = ::dup(0);
    ::close(lowest);
    for (int time = 0; time < 1000; ++time) {
        NetWorkConnectionStatus::ConectionStatus();
        Reachability::isReachable();
    }
    const int again = ::dup(0);
    EXPECT_EQ(again, lowest);
    ::close(again);
}

} // namespace
