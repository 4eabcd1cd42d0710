#include "Services/Reachability/Reachability.h"

#include "Support/Namespaces.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/un.h>

namespace {

using Quenmark::Reachability;
using Quenmark::ReachabilityAvailable;
using Quenmark::ReachabilityNone;
using TestSupport::ip;

std::unique_ptr<Reachability> forAddress(const char* address) {
    sockaddr_in socketAddress{};
    socketAddress.sin_family = AF_INET;
    EXPECT_EQ(::inet_pton(AF_INET, address, &socketAddress.sin_addr), 1);
    return Reachability::reachabilityWithAddress(reinterpret_cast<const sockaddr*>(&socketAddress));
}

TEST(AReachabilityObject, IsNilForWhatIsNoAddressAndNoName) {
    sockaddr_un local{};
    local.sun_family = AF_UNIX;
    EXPECT_EQ(Reachability::reachabilityWithAddress(reinterpret_cast<const sockaddr*>(&local)), nullptr);
    EXPECT_EQ(Reachability::reachabilityWithAddress(nullptr), nullptr);
    EXPECT_EQ(Reachability::reachabilityWithHostName(""), nullptr);
}

TEST(AReachabilityObject, HasTwoStatusesOnly) {
    EXPECT_EQ(static_cast<int>(ReachabilityNone), 0);
    EXPECT_EQ(static_cast<int>(ReachabilityAvailable), 1);
}

template <class Operation>
void expectAssertion(const Operation& operation, const Reachability& object, const char* message, const char* method,
                     int line) {
    try {
        operation();
        FAIL() << "nothing was thrown";
    } catch (const Quenmark::ReachabilityAssertion& assertion) {
        EXPECT_STREQ(assertion.what(), message);
        EXPECT_EQ(assertion.place().method, method);
        EXPECT_EQ(assertion.place().object, &object);
        EXPECT_EQ(assertion.place().file, "Services/Reachability/Reachability.cpp");
        EXPECT_EQ(assertion.place().line, line);
    }
}

TEST(AReachabilityObject, WithoutATargetCannotBeAsked) {
    const Reachability reachability;
    expectAssertion([&] { (void)reachability.currentReachabilityStatus(); }, reachability,
                    "currentNetworkStatus called with NULL reachabilityRef", "currentReachabilityStatus", 256);
    expectAssertion([&] { (void)reachability.connectionRequired(); }, reachability,
                    "connectionRequired called with NULL reachabilityRef", "connectionRequired", 245);
    EXPECT_THROW((void)reachability.connectionRequired(), std::logic_error);
}

TEST(AReachabilityObject, EvaluatesARealNetworkByItsKind) {
    EXPECT_TRUE(TestSupport::succeedsInNamespaces(CLONE_NEWNET, [] {
        ip("link add out type veth peer name peer");
        ip("link set out up");
        ip("link set peer up");
        ip("address add 10.0.0.1/24 dev out");
        const auto internet = Reachability::reachabilityForInternetConnection(
            {.settings = [] { return Platform::DeploymentSettings{.serviceHost = "service.example"}; }});
        const auto local = Reachability::reachabilityForLocalWiFi();
        const auto neighbour = forAddress("10.0.0.2");
        const auto host = Reachability::reachabilityWithHostName("192.0.2.1");
        EXPECT_EQ(internet->currentReachabilityStatus(), ReachabilityNone);
        EXPECT_EQ(local->currentReachabilityStatus(), ReachabilityNone);
        EXPECT_EQ(neighbour->currentReachabilityStatus(), ReachabilityAvailable);
        EXPECT_EQ(host->currentReachabilityStatus(), ReachabilityNone);
        ip("route add default via 10.0.0.2");
        EXPECT_EQ(internet->currentReachabilityStatus(), ReachabilityAvailable);
        // Through a gateway is not the local network.
        EXPECT_EQ(local->currentReachabilityStatus(), ReachabilityNone);
        EXPECT_EQ(host->currentReachabilityStatus(), ReachabilityAvailable);
        EXPECT_FALSE(internet->connectionRequired());
        // The rest of the link-local network is not asked for.
        ip("route add 169.254.0.0/16 dev out");
        ip("route add unreachable 169.254.0.0/32");
        EXPECT_EQ(local->currentReachabilityStatus(), ReachabilityNone);
        ip("route del unreachable 169.254.0.0/32");
        EXPECT_EQ(local->currentReachabilityStatus(), ReachabilityAvailable);
        return !testing::Test::HasFailure();
    }));
}

} // namespace
