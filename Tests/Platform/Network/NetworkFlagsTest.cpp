#include "Platform/Network/NetworkFlags.h"

#include "Support/Namespaces.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/un.h>

namespace {

using Platform::DeploymentSettings;
using Platform::NetworkTarget;
using TestSupport::ip;
using Flags = std::optional<std::uint32_t>;

constexpr std::uint32_t noFlags = 0;
constexpr std::uint32_t reachable = 0x2;
constexpr std::uint32_t direct = 0x20002;

/// The deployment settings of the machine, whose web service is somewhere else unless a test moves it.
DeploymentSettings machineSettings{.serviceHost = "service.example"};
const Platform::NetworkSource machineSource{.settings = [] { return machineSettings; }};

std::unique_ptr<NetworkTarget> target4(const char* address) {
    sockaddr_in socketAddress{};
    socketAddress.sin_family = AF_INET;
    EXPECT_EQ(::inet_pton(AF_INET, address, &socketAddress.sin_addr), 1);
    return NetworkTarget::createWithAddress(reinterpret_cast<const sockaddr&>(socketAddress), machineSource);
}

std::unique_ptr<NetworkTarget> target6(const char* address, const char* link = nullptr) {
    sockaddr_in6 socketAddress{};
    socketAddress.sin6_family = AF_INET6;
    socketAddress.sin6_scope_id = link != nullptr ? ::if_nametoindex(link) : 0;
    EXPECT_EQ(::inet_pton(AF_INET6, address, &socketAddress.sin6_addr), 1);
    return NetworkTarget::createWithAddress(reinterpret_cast<const sockaddr&>(socketAddress), machineSource);
}

Flags internet() {
    return target4("0.0.0.0")->flags();
}
Flags to(const char* address) {
    return target4(address)->flags();
}
Flags to6(const char* address, const char* link = nullptr) {
    return target6(address, link)->flags();
}
Flags toHost(const char* name) {
    return NetworkTarget::createWithName(name, machineSource)->flags();
}

/// Links and routes of the test's own, in a process of its own.
class ANetwork : public testing::Test {
protected:
    template <class Body>
    static void inItsOwnNamespace(const Body& body) {
        EXPECT_TRUE(TestSupport::succeedsInNamespaces(CLONE_NEWNET, [&] {
            body();
            return !HasFailure();
        }));
    }

    /// Makes the link "out" with the address 10.0.0.1 and the other end of its cable, "peer"; with both up there is
    /// carrier.
    static void makeLink() {
        ip("link add out type veth peer name peer");
        ip("link set out up");
        ip("link set peer up");
        ip("address add 10.0.0.1/24 dev out");
        ip("-6 address add 2001:db8::1/64 dev out nodad");
    }
};

TEST_F(ANetwork, WithoutALinkReachesNothing) {
    inItsOwnNamespace([] {
        EXPECT_EQ(internet(), noFlags);
        EXPECT_EQ(to("192.0.2.1"), noFlags);
        EXPECT_EQ(to6("2001:db8::1"), noFlags);
    });
}

TEST_F(ANetwork, ReachesTheInternetByADefaultRoute) {
    inItsOwnNamespace([] {
        makeLink();
        EXPECT_EQ(internet(), noFlags);
        ip("route add default via 10.0.0.2");
        EXPECT_EQ(internet(), reachable);
        ip("route del default");
        EXPECT_EQ(internet(), noFlags);
    });
}

TEST_F(ANetwork, ReachesTheInternetByADefaultRouteWithoutGateway) {
    inItsOwnNamespace([] {
        makeLink();
        ip("route add default dev out");
        EXPECT_EQ(internet(), reachable);
    });
}

TEST_F(ANetwork, ReachesTheInternetByIPv6Alone) {
    inItsOwnNamespace([] {
        makeLink();
        ip("-6 route add default via 2001:db8::2");
        EXPECT_EQ(internet(), reachable);
        ip("link set peer down");
        EXPECT_EQ(internet(), noFlags);
    });
}

TEST_F(ANetwork, DoesNotReachTheInternetWithoutCarrier) {
    inItsOwnNamespace([] {
        makeLink();
        ip("route add default via 10.0.0.2");
        ip("link set peer down");
        EXPECT_EQ(internet(), noFlags);
        ip("link set peer up");
        EXPECT_EQ(internet(), reachable);
    });
}

TEST_F(ANetwork, DoesNotReachTheInternetByALinkThatIsDown) {
    inItsOwnNamespace([] {
        makeLink();
        ip("route add default via 10.0.0.2");
        ip("link set out down");
        EXPECT_EQ(internet(), noFlags);
    });
}

TEST_F(ANetwork, DoesNotReachTheInternetByARouteThatLeadsNowhere) {
    inItsOwnNamespace([] {
        makeLink();
        for (const std::string kind : {"unreachable", "blackhole", "prohibit", "throw"}) {
            ip("route add " + kind + " default");
            ip("-6 route add " + kind + " default");
            EXPECT_EQ(internet(), noFlags) << kind;
            ip("route del " + kind + " default");
            ip("-6 route del " + kind + " default");
        }
    });
}

TEST_F(ANetwork, ReachesTheInternetWhereOneOfSeveralHopsHasCarrier) {
    inItsOwnNamespace([] {
        makeLink();
        ip("link add out2 type veth peer name peer2");
        ip("link set out2 up");
        ip("link set peer2 up");
        ip("address add 10.0.1.1/24 dev out2");
        ip("route add default nexthop via 10.0.0.2 dev out nexthop via 10.0.1.2 dev out2");
        EXPECT_EQ(internet(), reachable);
        ip("link set peer down");
        EXPECT_EQ(internet(), reachable);
        ip("link set peer2 down");
        EXPECT_EQ(internet(), noFlags);
        ip("link set peer up");
        EXPECT_EQ(internet(), reachable);
    });
}

TEST_F(ANetwork, ReachesTheInternetWhereOneOfSeveralDefaultRoutesHasCarrier) {
    inItsOwnNamespace([] {
        makeLink();
        ip("link add out2 type veth peer name peer2");
        ip("link set out2 up");
        ip("address add 10.0.1.1/24 dev out2");
        ip("route add default via 10.0.1.2 metric 1");
        EXPECT_EQ(internet(), noFlags);
        ip("route add default via 10.0.0.2 metric 2");
        EXPECT_EQ(internet(), reachable);
    });
}

TEST_F(ANetwork, ReachesTheInternetByARouteOfAnotherTable) {
    inItsOwnNamespace([] {
        makeLink();
        ip("route add default via 10.0.0.2 table 51820");
        EXPECT_EQ(internet(), reachable);
    });
}

TEST_F(ANetwork, ReachesTheInternetByANextHopObject) {
    inItsOwnNamespace([] {
        makeLink();
        ip("nexthop add id 5 via 10.0.0.2 dev out");
        ip("route add default nhid 5");
        EXPECT_EQ(internet(), reachable);
    });
}

TEST_F(ANetwork, FindsTheDefaultRouteAmongThousands) {
    inItsOwnNamespace([] {
        makeLink();
        std::string lines;
        for (int route = 0; route < 5000; ++route)
            lines += "route add 172." + std::to_string(16 + route / 250) + "." + std::to_string(route % 250) +
                     ".0/24 via 10.0.0.2\n";
        TestSupport::ipBatch(lines);
        EXPECT_EQ(internet(), noFlags);
        ip("route add default via 10.0.0.2");
        EXPECT_EQ(internet(), reachable);
    });
}

TEST_F(ANetwork, WithAServiceOfThisMachineNeedsTheLoopbackLinkAlone) {
    inItsOwnNamespace([] {
        machineSettings.serviceHost = "localhost:8080";
        EXPECT_EQ(internet(), noFlags);
        ip("link set lo up");
        EXPECT_EQ(internet(), direct);
        machineSettings.serviceHost = "service.example";
        EXPECT_EQ(internet(), noFlags);
    });
}

TEST_F(ANetwork, WithAServiceOfThisMachineCountsDefaultRoutesToo) {
    inItsOwnNamespace([] {
        machineSettings.serviceHost = "127.0.0.1";
        makeLink();
        ip("route add default via 10.0.0.2");
        EXPECT_EQ(internet(), reachable);
        ip("link set lo up");
        EXPECT_EQ(internet(), direct);
    });
}

TEST_F(ANetwork, ReachesAddressesOfItsLinkDirectly) {
    inItsOwnNamespace([] {
        makeLink();
        EXPECT_EQ(to("10.0.0.77"), direct);
        EXPECT_EQ(to("10.0.0.255"), direct);
        EXPECT_EQ(to6("2001:db8::77"), direct);
        EXPECT_EQ(to6("fe80::77", "out"), direct);
        EXPECT_EQ(to("10.0.1.1"), noFlags);
        EXPECT_EQ(to6("2001:db9::1"), noFlags);
    });
}

TEST_F(ANetwork, ReachesItsOwnAddressesDirectly) {
    inItsOwnNamespace([] {
        makeLink();
        ip("link set lo up");
        EXPECT_EQ(to("10.0.0.1"), direct);
        EXPECT_EQ(to6("2001:db8::1"), direct);
        EXPECT_EQ(to("127.0.0.1"), direct);
        EXPECT_EQ(to6("::1"), direct);
    });
}

TEST_F(ANetwork, ReachesOtherAddressesThroughAGateway) {
    inItsOwnNamespace([] {
        makeLink();
        ip("route add default via 10.0.0.2");
        ip("-6 route add default via 2001:db8::2");
        EXPECT_EQ(to("192.0.2.1"), reachable);
        EXPECT_EQ(to("169.254.0.0"), reachable);
        EXPECT_EQ(to6("2001:db9::1"), reachable);
        ip("route add 198.51.100.0/24 via inet6 fe80::2 dev out");
        EXPECT_EQ(to("198.51.100.1"), reachable);
    });
}

TEST_F(ANetwork, DoesNotReachAddressesWhoseRouteLeadsNowhere) {
    inItsOwnNamespace([] {
        makeLink();
        ip("route add default via 10.0.0.2");
        ip("-6 route add default via 2001:db8::2");
        for (const std::string kind : {"unreachable", "blackhole", "prohibit"}) {
            ip("route add " + kind + " 198.51.100.0/24");
            ip("-6 route add " + kind + " 2001:db9::/32");
            EXPECT_EQ(to("198.51.100.1"), noFlags) << kind;
            EXPECT_EQ(to6("2001:db9::1"), noFlags) << kind;
            ip("route del " + kind + " 198.51.100.0/24");
            ip("-6 route del " + kind + " 2001:db9::/32");
        }
        EXPECT_EQ(to("198.51.100.1"), reachable);
    });
}

TEST_F(ANetwork, ReachesHostsByTheirAddresses) {
    inItsOwnNamespace([] {
        makeLink();
        ip("link set lo up");
        ip("route add default via 10.0.0.2");
        EXPECT_EQ(toHost("10.0.0.9"), direct);
        EXPECT_EQ(toHost("192.0.2.1"), reachable);
        EXPECT_EQ(toHost("2001:db8::9"), direct);
        EXPECT_EQ(toHost("2001:db9::1"), noFlags);
        EXPECT_EQ(toHost("localhost"), direct);
    });
}

TEST_F(ANetwork, DoesNotReachHostsWithoutAnAddress) {
    inItsOwnNamespace([] { EXPECT_EQ(toHost("nobody.invalid"), noFlags); });
}

TEST_F(ANetwork, ReachesNothingThatTheKernelCannotBeAskedFor) {
    inItsOwnNamespace([] {
        const auto target = target4("0.0.0.0");
        const auto other = target4("10.0.0.1");
        TestSupport::refuseNetlinkSockets();
        EXPECT_EQ(target->flags(), std::nullopt);
        EXPECT_EQ(other->flags(), std::nullopt);
        machineSettings.serviceHost = "localhost";
        EXPECT_EQ(target->flags(), std::nullopt);
    });
}

TEST_F(ANetwork, IsReadAnewForEachQuestionThoughItIsAnotherOne) {
    inItsOwnNamespace([] {
        const auto target = target4("0.0.0.0");
        makeLink();
        ip("route add default via 10.0.0.2");
        EXPECT_EQ(target->flags(), reachable);
        ASSERT_EQ(::unshare(CLONE_NEWNET), 0);
        EXPECT_EQ(target->flags(), noFlags);
    });
}

TEST(ANetworkTarget, IsForIPv4AndIPv6AddressesOnly) {
    sockaddr_un local{};
    local.sun_family = AF_UNIX;
    EXPECT_EQ(NetworkTarget::createWithAddress(reinterpret_cast<const sockaddr&>(local)), nullptr);
    const sockaddr unspecified{};
    EXPECT_EQ(NetworkTarget::createWithAddress(unspecified), nullptr);
    EXPECT_NE(target4("0.0.0.0"), nullptr);
    EXPECT_NE(target6("::"), nullptr);
}

TEST(ANetworkTarget, IsForNamesThatAreNotEmpty) {
    EXPECT_EQ(NetworkTarget::createWithName(""), nullptr);
    EXPECT_EQ(NetworkTarget::createWithName(std::string("a\0b", 3)), nullptr);
    EXPECT_NE(NetworkTarget::createWithName("a"), nullptr);
}

TEST(ANetworkTarget, AsksItsSourceInTheKernelsPlace) {
    const Platform::NetworkSource own{.flags = [] { return 0x3EU; }};
    EXPECT_EQ(NetworkTarget::createWithIPv4Address(NetworkTarget::zeroAddress, own)->flags(), 0x3EU);
    EXPECT_EQ(NetworkTarget::createWithName("a", own)->flags(), 0x3EU);
}

} // namespace
