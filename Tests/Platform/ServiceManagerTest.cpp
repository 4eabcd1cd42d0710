#include "Platform/ServiceManager.h"

#include "Platform/Files/FileDescriptor.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <optional>
#include <string>

namespace {

using Platform::FileDescriptor;
using TestSupport::ScopedEnvironment;
namespace ServiceManager = Platform::ServiceManager;

/// The socket of a service manager.
class ServiceManagerSocket {
public:
    /// `name` as unix(7) has it: a path, or a zero byte and an abstract name.
    explicit ServiceManagerSocket(const std::string& name) : socket_(::socket(AF_UNIX, SOCK_DGRAM, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, name.data(), name.size());
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
        EXPECT_EQ(::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), size), 0);
    }

    /// What has come; nil where nothing waits.
    std::optional<std::string> receive() const {
        std::string text(4096, '\0');
        const auto size = ::recv(socket_.get(), text.data(), text.size(), MSG_DONTWAIT);
        if (size < 0)
            return std::nullopt;
        text.resize(static_cast<std::size_t>(size));
        return text;
    }

private:
    FileDescriptor socket_;
};

class TheServiceManager : public testing::Test {
protected:
    TestSupport::TemporaryDirectory folder;
};

TEST_F(TheServiceManager, IsNotThereWithoutItsVariable) {
    for (const auto& value : {std::optional<std::string>(), std::optional<std::string>("")}) {
        const ScopedEnvironment environment{{"NOTIFY_SOCKET", value}};
        EXPECT_FALSE(ServiceManager::isThere());
        ServiceManager::notify("READY=1");
    }
}

TEST_F(TheServiceManager, ReceivesWhatIsSentToItsPath) {
    const ServiceManagerSocket manager(folder.path("notify"));
    const ScopedEnvironment environment{{"NOTIFY_SOCKET", folder.path("notify")}};
    EXPECT_TRUE(ServiceManager::isThere());
    ServiceManager::notify("READY=1\nSTATUS=idle");
    EXPECT_EQ(manager.receive(), "READY=1\nSTATUS=idle");
    EXPECT_EQ(manager.receive(), std::nullopt);
}

TEST_F(TheServiceManager, ReceivesWhatIsSentToItsAbstractName) {
    const std::string name = "test-of-service-manager-" + std::to_string(::getpid());
    const ServiceManagerSocket manager(std::string(1, '\0') + name);
    const ScopedEnvironment environment{{"NOTIFY_SOCKET", "@" + name}};
    ServiceManager::notify("STATUS=idle");
    EXPECT_EQ(manager.receive(), "STATUS=idle");
}

TEST_F(TheServiceManager, ThatDoesNotReadHoldsNobodyUp) {
    const ServiceManagerSocket manager(folder.path("notify"));
    const ScopedEnvironment environment{{"NOTIFY_SOCKET", folder.path("notify")}};
    for (int count = 0; count < 10'000; ++count)
        ServiceManager::notify("STATUS=" + std::to_string(count));
    EXPECT_EQ(manager.receive(), "STATUS=0");
}

TEST_F(TheServiceManager, MayBeGoneOrHaveAnImpossibleName) {
    for (const auto& name : {folder.path("none"), std::string(107, 'x'), std::string(108, 'x'), std::string(109, 'x'),
                             std::string(100'000, 'x'), std::string("@")}) {
        const ScopedEnvironment environment{{"NOTIFY_SOCKET", name}};
        ServiceManager::notify("READY=1");
    }
}

TEST_F(TheServiceManager, MayHaveTheLongestName) {
    const std::string base = folder.path("");
    const std::string name = base + std::string(sizeof(sockaddr_un::sun_path) - base.size(), 'n');
    const ServiceManagerSocket manager(name);
    const ScopedEnvironment environment{{"NOTIFY_SOCKET", name}};
    ServiceManager::notify("READY=1");
    EXPECT_EQ(manager.receive(), "READY=1");
}

} // namespace
