// quenmark start: which front end of the service it calls, and how it ends where there is none.

#include "Platform/Ipc/Listener.h"
#include "Platform/Ipc/MessageService.h"
#include "RunningTool.h"
#include "Support/PrivateBus.h"
#include "ToolFixture.h"

#include <optional>

namespace ToolTest {

namespace Ipc = Platform::Ipc;

namespace {

constexpr const char* name = "Velkarin.Quenmark.TopFileUploadXpcService";
constexpr const char* path = "/Velkarin/Quenmark/TopFileUploadXpcService";
const Ipc::Interface engine{"Velkarin.Quenmark.TopFileUploadXpcServiceProtocol", {"GetTopFileUpload"}};

/// Accepts every peer, and counts the calls of the engine's method.
class Engine final : public Ipc::ListenerDelegate {
public:
    bool listenerShouldAcceptNewConnection(Ipc::Listener&,
                                           const std::shared_ptr<Ipc::Connection>& connection) override {
        connection->setExportedInterface(engine);
        connection->setExportedObject({{"GetTopFileUpload", [this] {
                                            ++calls;
                                            if (fails)
                                                throw std::runtime_error("no engine");
                                        }}});
        connection->resume();
        return true;
    }
    int calls = 0;
    bool fails = false;
};

} // namespace

class AStart : public AQuenmarkTool {
protected:
    std::optional<TestSupport::PrivateBus> bus;
};

TEST_F(AStart, CallsTheEngineWhereTheServiceListensForCalls) {
    bus.emplace();
    Engine delegate;
    Ipc::Listener listener({name, path}, engine);
    listener.setDelegate(&delegate);
    listener.resume();
    const auto result = run({"start"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(delegate.calls, 1);
}

TEST_F(AStart, SendsAnEmptyMessageWhereTheServiceReceivesMessages) {
    bus.emplace();
    std::vector<Ipc::Value> received;
    Ipc::MessageService service({{name, path}, "Velkarin.Quenmark.XPC"}, [&](const auto& connection) {
        connection->setEventHandler([&](const Ipc::ConnectionEvent& event) {
            if (const auto* message = std::get_if<Ipc::Value>(&event))
                received.push_back(*message);
        });
        connection->resume();
    });
    service.resume();
    const auto result = run({"start"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(received, std::vector<Ipc::Value>{Ipc::Dictionary()});
}

TEST_F(AStart, LaunchesTheServiceByItsName) {
    const auto mark = folder.path("launched");
    folder.write("service", "#!/bin/sh\n: > '" + mark + "'\nexit 3\n");
    bus.emplace(std::vector<TestSupport::PrivateBus::Service>{{name, "/bin/sh " + folder.path("service")}});
    const auto result = run({"start"});
    EXPECT_EQ(result.status, 69) << "the program takes no name";
    EXPECT_TRUE(result.errors.starts_with("quenmark: the service cannot be started: ")) << result.errors;
    EXPECT_EQ(folder.read("launched"), "");
}

TEST_F(AStart, EndsWith69WhereTheEngineFails) {
    bus.emplace();
    Engine delegate;
    delegate.fails = true;
    Ipc::Listener listener({name, path}, engine);
    listener.setDelegate(&delegate);
    listener.resume();
    const auto result = run({"start"});
    EXPECT_EQ(result.status, 69);
    EXPECT_EQ(delegate.calls, 1);
    EXPECT_TRUE(result.errors.starts_with("quenmark: the service cannot be started: ")) << result.errors;
}

TEST_F(AStart, EndsWith69WhereNobodyHasTheName) {
    bus.emplace();
    const auto result = run({"start"});
    EXPECT_EQ(result.status, 69);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(result.errors.starts_with("quenmark: the service cannot be started: ")) << result.errors;
    EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1);
}

TEST_F(AStart, EndsWith69WhereThereIsNoBus) {
    const auto result = run({"start"});
    EXPECT_EQ(result.status, 69);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(result.errors.starts_with("quenmark: the service cannot be started: ")) << result.errors;
    EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1);
}

} // namespace ToolTest
