// The line that says what the service is doing, and who hears of changes how often.

#include "TopFileUploadXpcService/StatusReport.h"

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Ipc/Listener.h"
#include "Support/PrivateBus.h"
#include "Support/PropertyChanges.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"
#include "TopFileUploadXpcService/EngineStatusFixture.h"
#include "TopFileUploadXpcService/ServiceNames.h"
#include "TopFileUploadXpcService/StatusObject.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <vector>

namespace Quenmark {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Strings = std::vector<std::string>;

TEST(TheSummary, NamesWhatASingleEngineDoes) {
    EXPECT_EQ(summaryOf({}), "no engine");
    EXPECT_EQ(summaryOf({EngineEntry{.state = State::Idle}}), "idle");
    EXPECT_EQ(summaryOf({EngineEntry{.state = State::Offline, .reason = "no network"}}), "offline: no network");
    EXPECT_EQ(summaryOf({EngineEntry{.state = State::Downloading, .item = "\\a.txt", .bytes = 10, .total = 300}}),
              "downloading \\a.txt, 10 of 300 bytes");
    EXPECT_EQ(summaryOf({EngineEntry{.state = State::Downloading, .item = "\\a.txt", .bytes = 10}}),
              "downloading \\a.txt, 10 bytes");
    EXPECT_EQ(summaryOf({EngineEntry{.state = State::Flushing, .item = "\\a.txt", .bytes = 10}}), "flushing \\a.txt");
    EXPECT_EQ(summaryOf({EngineEntry{.state = State::Blocked, .reason = "not writable: /x\n", .item = "\\a\n"}}),
              "blocked \\a\\x0A: not writable: /x\\x0A");
}

TEST(TheSummary, CountsTheStatesOfSeveralEngines) {
    const EngineEntry idle{.state = State::Idle};
    const EngineEntry stalled{.state = State::Stalled, .reason = "status 3"};
    EXPECT_EQ(summaryOf({stalled, idle, idle}), "2 idle, 1 stalled");
    EXPECT_EQ(summaryOf({idle, idle}), "2 idle");
}

class AReport : public EngineStatusFixture {
protected:
    AReport() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const auto path = folder.path("notify");
        std::memcpy(address.sun_path, path.c_str(), path.size());
        EXPECT_EQ(::bind(manager.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        environment.set("NOTIFY_SOCKET", path);
        reportChanges(*status, object);
        listener.publish(object);
    }

    /// What the service manager has received since the last look.
    Strings received() const {
        Strings all;
        std::string text(4096, '\0');
        for (;;) {
            const auto size = ::recv(manager.get(), text.data(), text.size(), MSG_DONTWAIT);
            if (size < 0)
                return all;
            all.push_back(text.substr(0, static_cast<std::size_t>(size)));
        }
    }
    void advance(Platform::Duration by) {
        clock.advance(by);
        loop.runOnce(seconds(0));
    }

    const TestSupport::TemporaryDirectory folder;
    const Platform::FileDescriptor manager{::socket(AF_UNIX, SOCK_DGRAM, 0)};
    TestSupport::ScopedEnvironment environment;
    TestSupport::PrivateBus bus;
    const std::shared_ptr<Platform::Ipc::PropertyObject> object = statusObject(status, {"1", "listener"});
    Platform::Ipc::Listener listener{ServiceNames::address, ServiceNames::exportedInterface};
};

TEST_F(AReport, TellsTheServiceManagerOfTheStart) {
    listener.resume();
    Strings all;
    ASSERT_TRUE(loop.runUntil([&] { return !(all = received()).empty(); }));
    EXPECT_EQ(all, (Strings{"READY=1\nSTATUS=created"}));
}

TEST_F(AReport, TellsTheServiceManagerOfChangesFourTimesASecond) {
    engine->started();
    EXPECT_EQ(received(), Strings{});
    advance({});
    EXPECT_EQ(received(), (Strings{"STATUS=idle"}));
    download(1);
    engine->totalKnown(1, 8);
    for (int count = 0; count < 8; ++count) {
        advance(milliseconds(125));
        engine->wrote(1, 1);
    }
    EXPECT_EQ(received(),
              (Strings{"STATUS=downloading \\a.txt, 1 of 8 bytes", "STATUS=downloading \\a.txt, 3 of 8 bytes",
                       "STATUS=downloading \\a.txt, 5 of 8 bytes", "STATUS=downloading \\a.txt, 7 of 8 bytes"}));
    advance(milliseconds(250));
    EXPECT_EQ(received(), (Strings{"STATUS=downloading \\a.txt, 8 of 8 bytes"}));
}

TEST_F(AReport, TellsNobodyOfAnIdlePass) {
    engine->started();
    advance({});
    EXPECT_EQ(received().size(), 1U);
    for (EngineObserver::AttemptNumber pass = 1; pass < 10; ++pass) {
        advance(seconds(2));
        idlePass(pass);
    }
    EXPECT_EQ(received(), Strings{});
}

TEST_F(AReport, TellsTheBusOfAChange) {
    TestSupport::BusPeer peer;
    const TestSupport::PropertyChanges onBus(peer, "/Velkarin/Quenmark/Status");
    listener.resume();
    ASSERT_TRUE(peer.waitForOwner(ServiceNames::address.name));
    ASSERT_EQ(onBus.announcements().size(), 0U);
    engine->started();
    ASSERT_TRUE(loop.runUntil([&] { return !onBus.announcements().empty(); }));
    EXPECT_EQ(onBus.announcements()[0].interface, "Velkarin.Quenmark.Status1");
    EXPECT_EQ(onBus.announcements()[0].invalidated, (Strings{"ItemsReceived", "BytesReceived", "Engines"}));
    clock.advance(seconds(2));
    idlePass(1);
    EXPECT_NE(peer.ownerOf(ServiceNames::address.name), "");
    EXPECT_EQ(onBus.announcements().size(), 1U);
}

TEST_F(AReport, TellsThatAnEngineIsGone) {
    engine.reset();
    advance({});
    EXPECT_EQ(received(), Strings{"STATUS=no engine"});
}

TEST_F(AReport, IsSilentWithoutAServiceManager) {
    environment.set("NOTIFY_SOCKET", std::nullopt);
    engine->started();
    advance({});
    listener.resume();
    TestSupport::BusPeer peer;
    ASSERT_TRUE(peer.waitForOwner(ServiceNames::address.name));
    EXPECT_EQ(received(), Strings{});
}

} // namespace Quenmark
