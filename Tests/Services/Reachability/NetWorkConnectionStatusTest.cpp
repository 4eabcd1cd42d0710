#include "Services/NetWorkConnectionStatus.h"

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
void inANetwork(const Body& body) {
    EXPECT_TRUE(TestSupport::succeedsInNamespaces(CLONE_NEWNET, [&] {
        body();
        return !testing::Test::HasFailure();
    }));
}

/// The network of a machine whose web service is at that host.
Platform::NetworkSource withService(const char* host) {
    return {.settings = [host] { return Platform::DeploymentSettings{.serviceHost = host}; }};
}
const Platform::NetworkSource withRemoteService = withService("service.example");
const Platform::NetworkSource withLocalService = withService("127.0.0.1:8080");

TEST(TheConnectionStatus, FollowsTheRoutesOfTheMachine) {
    inANetwork([] {
        EXPECT_FALSE(NetWorkConnectionStatus::ConectionStatus(withRemoteService));
        EXPECT_FALSE(Reachability::isReachable(withRemoteService));
        ip("link add out type veth peer name peer");
        ip("link set out up");
        ip("link set peer up");
        ip("address add 10.0.0.1/24 dev out");
        ip("route add default via 10.0.0.2");
        EXPECT_TRUE(NetWorkConnectionStatus::ConectionStatus(withRemoteService));
        EXPECT_TRUE(Reachability::isReachable(withRemoteService));
        ip("link set peer down");
        EXPECT_FALSE(NetWorkConnectionStatus::ConectionStatus(withRemoteService));
        EXPECT_FALSE(Reachability::isReachable(withRemoteService));
    });
}

TEST(TheConnectionStatus, OfAServiceOnThisMachineNeedsNoNetwork) {
    inANetwork([] {
        EXPECT_FALSE(NetWorkConnectionStatus::ConectionStatus(withLocalService));
        ip("link set lo up");
        EXPECT_TRUE(NetWorkConnectionStatus::ConectionStatus(withLocalService));
        EXPECT_TRUE(Reachability::isReachable(withLocalService));
    });
}

TEST(TheConnectionStatus, IsNoWhereTheKernelCannotBeAsked) {
    inANetwork([] {
        ip("link set lo up");
        TestSupport::refuseNetlinkSockets();
        EXPECT_FALSE(NetWorkConnectionStatus::ConectionStatus(withLocalService));
        EXPECT_FALSE(Reachability::isReachable(withLocalService));
    });
}

TEST(TheConnectionStatus, MayBeAskedOnAnyThread) {
    inANetwork([] {
        ip("link set lo up");
        std::vector<std::thread> askers;
        for (int asker = 0; asker < 4; ++asker)
            askers.emplace_back([] {
                for (int time = 0; time < 500; ++time)
                    EXPECT_TRUE(NetWorkConnectionStatus::ConectionStatus(withLocalService) &&
                                Reachability::isReachable(withLocalService));
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
