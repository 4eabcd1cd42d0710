// When the real service announces that its status has changed, on the bus and to a service manager.

#include "EndToEnd/ChildService.h"
#include "EndToEnd/RealServiceFixture.h"
#include "EndToEnd/StatusReader.h"
#include "Platform/Files/FileDescriptor.h"
#include "Support/PropertyChanges.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <chrono>
#include <cstring>

namespace Quenmark {

using TestSupport::BusPeer;
using TestSupport::HttpReply;
using TestSupport::PropertyChanges;

class AChangeOfTheStatus : public RealServiceFixture {};

TEST_P(AChangeOfTheStatus, IsAnnouncedAtMostFourTimesASecond) {
    std::string content(60, 'x');
    const auto whole = HttpReply::ok(content, streamHeaders("\\a.txt"));
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\a.txt)")));
    server.enqueue(streamTarget, whole.cutAfter(whole.bytes().size() - content.size()));
    deploy(server.host());
    BusPeer observer;
    const PropertyChanges changes(observer, "/Velkarin/Quenmark/Status");
    const Platform::Duration begin = std::chrono::steady_clock::now().time_since_epoch();
    BusPeer peer;
    askToStart(peer);
    ASSERT_TRUE(pollUntil([&] { return count(streamTarget) == 1; }));
    // The bytes come one by one, for some three seconds.
    for (std::size_t sent = 0; sent < content.size(); ++sent) {
        server.send(last(streamTarget).connection, "x");
        pollUntil([] { return false; }, std::chrono::milliseconds(50));
    }
    ASSERT_TRUE(pollUntil([&] { return count(acknowledgeTarget) == 1; }));
    const auto& announcements = changes.announcements();
    ASSERT_GE(announcements.size(), 5U);
    for (std::size_t index = 0; index < announcements.size(); ++index) {
        EXPECT_EQ(announcements[index].interface, "Velkarin.Quenmark.Status1");
        EXPECT_EQ(announcements[index].told, std::vector<std::string>{});
        EXPECT_EQ(announcements[index].invalidated,
                  (std::vector<std::string>{"ItemsReceived", "BytesReceived", "Engines"}));
    }
    // No fewer seconds have passed at the service.
    const auto passed = announcements.back().time - begin;
    const auto most = static_cast<std::size_t>(passed / std::chrono::milliseconds(250)) + 1;
    EXPECT_LE(announcements.size(), most);
}

TEST_P(AChangeOfTheStatus, IsNoIdlePass) {
    deploy(server.host());
    BusPeer observer;
    const PropertyChanges changes(observer, "/Velkarin/Quenmark/Status");
    BusPeer peer;
    askToStart(peer);
    ASSERT_TRUE(pollUntil([&] { return count(pollTarget) >= 2 && !changes.announcements().empty(); }));
    const auto announced = changes.announcements().size();
    ASSERT_TRUE(pollUntil([&] { return count(pollTarget) >= 5; }));
    EXPECT_EQ(StatusReader::state(), "idle");
    EXPECT_EQ(changes.announcements().size(), announced);
}

TEST_P(AChangeOfTheStatus, ReachesAServiceManagerThatIsToldOfTheStartFirst) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const auto path = data.path("notify");
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const Platform::FileDescriptor manager(::socket(AF_UNIX, SOCK_DGRAM, 0));
    ASSERT_EQ(::bind(manager.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    deploy(server.host());
    // The bus keeps this variable from what it launches.
    environment.set("NOTIFY_SOCKET", path);
    const ChildService service(data.path("log"));
    BusPeer peer;
    ASSERT_TRUE(peer.waitForOwner(busName));
    askToStart(peer);
    std::string all;
    const auto receive = [&] {
        std::string text(4096, '\0');
        for (;;) {
            const auto size = ::recv(manager.get(), text.data(), text.size(), MSG_DONTWAIT);
            if (size < 0)
                return;
            all += text.substr(0, static_cast<std::size_t>(size)) + '\n';
        }
    };
    EXPECT_TRUE(pollUntil([&] {
        receive();
        return all.find("READY=1\nSTATUS=") != std::string::npos && all.find("STATUS=idle\n") != std::string::npos;
    })) << all;
}

INSTANTIATE_TEST_SUITE_P(Variations, AChangeOfTheStatus,
                         ::testing::Values(modern, wrapper, managedModern, managedWrapper),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
