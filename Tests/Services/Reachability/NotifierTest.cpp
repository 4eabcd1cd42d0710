#include "Platform/Loop/NotificationCenter.h"
#include "Platform/Loop/RunLoop.h"
#include "Services/Reachability/Reachability.h"
#include "Support/Namespaces.h"

#include <gtest/gtest.h>

#include <sched.h>

namespace {

using Platform::Notification;
using Platform::NotificationCenter;
using Platform::Queue;
using Platform::RunLoop;
using Quenmark::Reachability;
using Quenmark::ReachabilityAvailable;
using Quenmark::ReachabilityNone;
using Quenmark::ReachabilityStatus;
using TestSupport::ip;

/// The Internet, for a machine whose service host is somewhere else.
std::unique_ptr<Reachability> internetOfAMachine() {
    return Reachability::reachabilityForInternetConnection(
        {.settings = [] { return Platform::DeploymentSettings{.serviceHost = "service.example"}; }});
}

/// A network of the test's own in which the Internet is reachable, and what was posted there.
class ANotifier : public testing::Test {
protected:
    struct Posted {
        Reachability* object;
        ReachabilityStatus status;
        bool operator==(const Posted&) const = default;
    };
    using Posts = std::vector<Posted>;

    template <class Body>
    static void inItsOwnNamespace(const Body& body) {
        EXPECT_TRUE(TestSupport::succeedsInNamespaces(CLONE_NEWNET, [&] {
            ip("link add out type veth peer name peer");
            ip("link set out up");
            ip("link set peer up");
            ip("address add 10.0.0.1/24 dev out");
            ip("route add default via 10.0.0.2");
            RunLoop loop;
            Posts posts;
            const auto observer = NotificationCenter::defaultCenter().addObserver(
                "kNetworkReachabilityChangedNotification", std::nullopt, [&](const Notification& notification) {
                    auto* object = std::any_cast<Reachability*>(notification.object);
                    EXPECT_EQ(Queue::current(), Queue::main());
                    posts.push_back({object, object->currentReachabilityStatus()});
                });
            body(loop, posts);
            return !HasFailure();
        }));
    }
};

TEST_F(ANotifier, PostsWithItsObjectWhenTheNetworkChanges) {
    inItsOwnNamespace([](RunLoop& loop, const Posts& posts) {
        const auto internet = internetOfAMachine();
        ASSERT_TRUE(internet->startNotifier());
        ip("link set peer down");
        EXPECT_TRUE(loop.runUntil([&] { return posts == Posts{{internet.get(), ReachabilityNone}}; }));
        ip("link set peer up");
        EXPECT_TRUE(loop.runUntil([&] {
            return posts == Posts{{internet.get(), ReachabilityNone}, {internet.get(), ReachabilityAvailable}};
        }));
    });
}

TEST_F(ANotifier, PostsForTheAddressThatItsObjectIsFor) {
    inItsOwnNamespace([](RunLoop& loop, const Posts& posts) {
        const auto local = Reachability::reachabilityForLocalWiFi();
        ASSERT_TRUE(local->startNotifier());
        ip("route add 169.254.0.0/16 dev out");
        EXPECT_TRUE(loop.runUntil([&] { return posts == Posts{{local.get(), ReachabilityAvailable}}; }));
    });
}

TEST_F(ANotifier, PostsNothingOnceItIsStopped) {
    inItsOwnNamespace([](RunLoop& loop, const Posts& posts) {
        const auto stopped = internetOfAMachine();
        const auto other = internetOfAMachine();
        ASSERT_TRUE(stopped->startNotifier());
        ASSERT_TRUE(other->startNotifier());
        ip("route del default");
        stopped->stopNotifier();
        stopped->stopNotifier();
        EXPECT_TRUE(loop.runUntil([&] { return !posts.empty(); }));
        EXPECT_EQ(posts, (Posts{{other.get(), ReachabilityNone}}));
    });
}

TEST_F(ANotifier, PostsAgainOnceItIsStartedAgain) {
    inItsOwnNamespace([](RunLoop& loop, const Posts& posts) {
        const auto internet = internetOfAMachine();
        ASSERT_TRUE(internet->startNotifier());
        internet->stopNotifier();
        ip("route del default");
        ASSERT_TRUE(internet->startNotifier());
        ip("route add default via 10.0.0.2");
        EXPECT_TRUE(loop.runUntil([&] { return !posts.empty(); }));
        EXPECT_EQ(posts, (Posts{{internet.get(), ReachabilityAvailable}}));
    });
}

TEST_F(ANotifier, PostsNothingOnceItsObjectHasEnded) {
    inItsOwnNamespace([](RunLoop& loop, const Posts& posts) {
        auto ended = internetOfAMachine();
        const auto other = internetOfAMachine();
        ASSERT_TRUE(ended->startNotifier());
        ASSERT_TRUE(other->startNotifier());
        ip("route del default");
        ended.reset();
        EXPECT_TRUE(loop.runUntil([&] { return !posts.empty(); }));
        EXPECT_EQ(posts, (Posts{{other.get(), ReachabilityNone}}));
    });
}

TEST_F(ANotifier, LetsAnObserverEndItsObject) {
    inItsOwnNamespace([](RunLoop& loop, const Posts& posts) {
        auto internet = internetOfAMachine();
        const auto observer = NotificationCenter::defaultCenter().addObserver(
            Quenmark::kNetworkReachabilityChangedNotification, std::nullopt,
            [&](const Notification&) { internet.reset(); });
        ASSERT_TRUE(internet->startNotifier());
        ip("route del default");
        EXPECT_TRUE(loop.runUntil([&] { return internet == nullptr; }));
        EXPECT_EQ(posts.size(), 1U);
    });
}

TEST(ANotifierWithoutATarget, CannotBeStarted) {
    RunLoop loop;
    Reachability reachability;
    EXPECT_FALSE(reachability.startNotifier());
    reachability.stopNotifier();
}

TEST(ANotifierWithoutALoop, CannotBeStarted) {
    const auto internet = internetOfAMachine();
    EXPECT_FALSE(internet->startNotifier());
    internet->stopNotifier();
}

} // namespace
