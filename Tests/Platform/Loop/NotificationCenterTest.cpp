#include "Platform/Loop/NotificationCenter.h"

#include "Platform/Loop/RunLoop.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using Platform::Notification;
using Platform::NotificationCenter;
using Platform::Queue;
using Platform::RunLoop;
using Calls = std::vector<std::string>;

class ANotificationCenter : public testing::Test {
protected:
    NotificationCenter::Handler note(std::string what) {
        return [this, what = std::move(what)](const Notification&) { calls.push_back(what); };
    }
    void runAll() {
        bool done = false;
        Queue::main().async([&] { done = true; });
        EXPECT_TRUE(loop.runUntil([&] { return done; }));
    }

    RunLoop loop;
    NotificationCenter center;
    Calls calls;
};

TEST_F(ANotificationCenter, HandsNameAndObjectToTheObserversOfTheName) {
    int object = 5;
    std::string name;
    int* seen = nullptr;
    const auto observer = center.addObserver("a", std::nullopt, [&](const Notification& notification) {
        name = notification.name;
        seen = std::any_cast<int*>(notification.object);
    });
    const auto other = center.addObserver("b", std::nullopt, note("b"));
    center.post("a", &object);
    EXPECT_EQ(name, "a");
    EXPECT_EQ(seen, &object);
    EXPECT_EQ(calls, Calls{});
}

TEST_F(ANotificationCenter, CallsObserversInTheOrderInWhichTheyRegistered) {
    const auto first = center.addObserver("a", std::nullopt, note("1"));
    const auto second = center.addObserver("a", std::nullopt, note("2"));
    const auto third = center.addObserver("a", std::nullopt, note("3"));
    center.post("a", {});
    EXPECT_EQ(calls, (Calls{"1", "2", "3"}));
}

TEST_F(ANotificationCenter, CallsObserversOnTheirQueueLater) {
    const Queue queue = Queue::serial("observer");
    std::optional<Queue> ranOn;
    std::string seen;
    const auto observer = center.addObserver("a", queue, [&](const Notification& notification) {
        ranOn = Queue::current();
        seen = std::any_cast<std::string>(notification.object);
    });
    center.post("a", std::string("object"));
    EXPECT_EQ(ranOn, std::nullopt);
    EXPECT_TRUE(loop.runUntil([&] { return ranOn.has_value(); }));
    EXPECT_EQ(*ranOn, queue);
    EXPECT_EQ(seen, "object");
}

TEST_F(ANotificationCenter, ForgetsAnObserverThatIsGone) {
    auto observer = center.addObserver("a", std::nullopt, note("1"));
    center.post("a", {});
    observer.reset();
    center.post("a", {});
    EXPECT_EQ(calls, Calls{"1"});
}

TEST_F(ANotificationCenter, DropsWhatIsOnItsWayToAnObserverThatIsGone) {
    auto observer = center.addObserver("a", Queue::main(), note("1"));
    center.post("a", {});
    observer.reset();
    runAll();
    EXPECT_EQ(calls, Calls{});
}

TEST_F(ANotificationCenter, LetsAHandlerEndItsOwnRegistration) {
    std::unique_ptr<NotificationCenter::Observer> observer;
    observer = center.addObserver("a", std::nullopt, [&](const Notification&) {
        observer.reset();
        calls.emplace_back("1");
    });
    center.post("a", {});
    center.post("a", {});
    EXPECT_EQ(calls, Calls{"1"});
}

TEST_F(ANotificationCenter, PassesOverAnObserverThatAnEarlierOneEnded) {
    std::unique_ptr<NotificationCenter::Observer> second;
    const auto first = center.addObserver("a", std::nullopt, [&](const Notification&) { second.reset(); });
    second = center.addObserver("a", std::nullopt, note("2"));
    const auto third = center.addObserver("a", std::nullopt, note("3"));
    center.post("a", {});
    EXPECT_EQ(calls, Calls{"3"});
}

TEST_F(ANotificationCenter, LeavesOutAnObserverThatRegistersDuringAPost) {
    std::vector<std::unique_ptr<NotificationCenter::Observer>> late;
    const auto first = center.addObserver("a", std::nullopt, [&](const Notification&) {
        late.push_back(center.addObserver("a", std::nullopt, note("late")));
    });
    center.post("a", {});
    EXPECT_EQ(calls, Calls{});
    center.post("a", {});
    EXPECT_EQ(calls, Calls{"late"});
}

TEST_F(ANotificationCenter, CanBePostedToFromAHandler) {
    const auto inner = center.addObserver("inner", std::nullopt, note("inner"));
    const auto outer = center.addObserver("outer", std::nullopt, [&](const Notification&) {
        center.post("inner", {});
        calls.emplace_back("outer");
    });
    center.post("outer", {});
    EXPECT_EQ(calls, (Calls{"inner", "outer"}));
}

TEST_F(ANotificationCenter, MayGoBeforeItsObservers) {
    auto brief = std::make_unique<NotificationCenter>();
    auto observer = brief->addObserver("a", std::nullopt, note("1"));
    brief.reset();
    observer.reset();
    EXPECT_EQ(calls, Calls{});
}

TEST(TheDefaultCenter, IsOneForTheProcess) {
    EXPECT_EQ(&NotificationCenter::defaultCenter(), &NotificationCenter::defaultCenter());
    int calls = 0;
    const auto observer =
        NotificationCenter::defaultCenter().addObserver("a", std::nullopt, [&](const Notification&) { ++calls; });
    NotificationCenter::defaultCenter().post("a", {});
    EXPECT_EQ(calls, 1);
}

} // namespace
