#include "Platform/ServiceManager.h"

#include "Support/ScopedEnvironment.h"
#include "Support/ServiceManagerSocket.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/un.h>
#include <unistd.h>

#include <optional>
#include <string>

namespace {

using TestSupport::ScopedEnvironment;
using TestSupport::ServiceManagerSocket;
namespace ServiceManager = Platform::ServiceManager;

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
