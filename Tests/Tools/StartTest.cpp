// quenmark start: which front end of the service it calls, and how it ends where there is none.

#include "Platform/Ipc/Listener.h"
#include "Platform/Ipc/MessageService.h"
#include "RunningTool.h"
#include "StatusPeer.h"
#include "Support/PrivateBus.h"
#include "ToolFixture.h"
#include "UserUnitPeer.h"

#include <systemd/sd-bus.h>

#include <filesystem>
#include <optional>

namespace ToolTest {

namespace Ipc = Platform::Ipc;

namespace {

constexpr const char* startedName = "Velkarin.Quenmark.TopFileUploadXpcService";
constexpr const char* startedPath = "/Velkarin/Quenmark/TopFileUploadXpcService";
const Ipc::Interface startedInterface{"Velkarin.Quenmark.TopFileUploadXpcServiceProtocol", {"GetTopFileUpload"}};

/// Accepts every peer, and counts the calls of the engine's method.
class Engine final : public Ipc::ListenerDelegate {
public:
    bool listenerShouldAcceptNewConnection(Ipc::Listener&,
                                           const std::shared_ptr<Ipc::Connection>& connection) override {
        connection->setExportedInterface(startedInterface);
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
    AStart() {
        folder.write("Quenmark/.keep", "");
        home.setPreferences(home.preferencesFor(folder.path()));
    }
    /// What is written where nothing is started, for a settings file or folder that is not as it should be.
    void expectRefusal(int status, const std::string& errors) const {
        const auto result = run({"start"});
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, errors);
    }

    std::optional<TestSupport::PrivateBus> bus;
};

TEST_F(AStart, CallsTheEngineWhereTheServiceListensForCalls) {
    bus.emplace();
    Engine delegate;
    Ipc::Listener listener({startedName, startedPath}, startedInterface);
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
    Ipc::MessageService service({{startedName, startedPath}, "Velkarin.Quenmark.XPC"}, [&](const auto& connection) {
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
    bus.emplace(std::vector<TestSupport::PrivateBus::Service>{{startedName, "/bin/sh " + folder.path("service")}});
    const auto result = run({"start"});
    EXPECT_EQ(result.status, 69) << "the program takes no name";
    EXPECT_TRUE(result.errors.starts_with("quenmark: the service cannot be started: ")) << result.errors;
    EXPECT_EQ(folder.read("launched"), "");
}

TEST_F(AStart, EndsWith69WhereTheEngineFails) {
    bus.emplace();
    Engine delegate;
    delegate.fails = true;
    Ipc::Listener listener({startedName, startedPath}, startedInterface);
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

TEST_F(AStart, NamesAProgramThatIsMissing) {
    bus.emplace(std::vector<TestSupport::PrivateBus::Service>{{startedName, folder.path("none")}});
    const auto result = run({"start"});
    EXPECT_EQ(result.status, 69);
    EXPECT_EQ(result.errors, "quenmark: the service cannot be started: Failed to execute program " +
                                 std::string(startedName) + ": No such file or directory\n");
}

TEST_F(AStart, SaysWhyTheServiceManagerDoesNotLaunchTheService) {
    // A program that never takes the name stands for a bus that waits for the unit.
    bus.emplace(std::vector<TestSupport::PrivateBus::Service>{{startedName, "/bin/sleep 60"}});
    UserUnitPeer manager;
    manager.properties = {{"LoadState", "loaded"}, {"ActiveState", "activating"}, {"SubState", "auto-restart"}};
    manager.exitStatus = 203;
    const auto result = run({"start"});
    EXPECT_EQ(result.status, 69);
    EXPECT_EQ(result.errors,
              "quenmark: the service cannot be started: quenmark.service fails, since its program cannot "
              "be run; see: systemctl --user status quenmark.service\n");
}

TEST_F(AStart, EndsWith69WhereThereIsNoBus) {
    const auto result = run({"start"});
    EXPECT_EQ(result.status, 69);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(result.errors.starts_with("quenmark: the service cannot be started: ")) << result.errors;
    EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1);
}

/// A service with a status, whose engine's method is called.
class AStartedService {
public:
    AStartedService() {
        const auto receive = [](sd_bus_message* call, void* self, sd_bus_error*) {
            ++static_cast<AStartedService*>(self)->calls;
            return sd_bus_reply_method_return(call, "");
        };
        EXPECT_GE(sd_bus_add_object(status.peer.handle(), &slot_, startedPath, receive, this), 0);
    }
    AStartedService(const AStartedService&) = delete;
    AStartedService& operator=(const AStartedService&) = delete;
    ~AStartedService() { sd_bus_slot_unref(slot_); }

    StatusPeer status;
    int calls = 0;

private:
    sd_bus_slot* slot_ = nullptr;
};

TEST_F(AStart, StartsNoSecondEngine) {
    bus.emplace();
    AStartedService service;
    for (const char* state : {"idle", "polling", "downloading", "offline", "unconfigured", "retrying"}) {
        service.status.engines = {StatusPeer::engine("stalled"), StatusPeer::engine(state)};
        const auto result = run({"start"});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors,
                  "quenmark: an engine runs already (" + std::string(state) + "); --another starts one more\n");
    }
    EXPECT_EQ(service.calls, 0);
}

TEST_F(AStart, StartsAnEngineWhereNoneRunsOrOneIsStalled) {
    bus.emplace();
    AStartedService service;
    using Engines = std::vector<StatusPeer::Engine>;
    for (const auto& engines : {Engines{}, Engines{StatusPeer::engine("created")},
                                Engines{StatusPeer::engine("stalled"), StatusPeer::engine("stalled")}}) {
        service.calls = 0;
        service.status.engines = engines;
        const auto result = run({"start"});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.errors, "");
        EXPECT_EQ(service.calls, 1);
    }
}

TEST_F(AStart, StartsAnotherWhereItIsToldTo) {
    bus.emplace();
    AStartedService service;
    service.status.engines = {StatusPeer::engine("idle")};
    const auto result = run({"start", "--another"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(service.calls, 1);
}

TEST_F(AStart, HasTheEngineOfManagedModeAskNow) {
    bus.emplace();
    AStartedService service;
    StatusPeer::set(service.status.properties, "Mode", "managed");
    service.status.engines = {StatusPeer::engine("retrying", "transport -1004")};
    const auto result = run({"start"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "quenmark: an engine runs already (retrying), and asks now\n");
    EXPECT_EQ(service.calls, 1);
}

TEST_F(AStart, CallsAServiceThatHasAnotherStatus) {
    bus.emplace();
    AStartedService service;
    service.status.properties.clear();
    EXPECT_EQ(run({"start"}).status, 0);
    EXPECT_EQ(service.calls, 1);
}

TEST_F(AStart, NamesEverythingThatIsMissing) {
    home.setPreferences("{}");
    const std::string computer =
        "quenmark: computerIdKey is not set; set it with: quenmark prefs set computerIdKey ID\n";
    const std::string path =
        "quenmark: quenmarkPathKey is not set; set it with: quenmark prefs set quenmarkPathKey FOLDER\n";
    expectRefusal(78, computer + path);
    for (const char* nothing : {"\"\"", "null", "[]", "{}"}) {
        home.setPreferences(std::string("{\"computerIdKey\":") + nothing + ",\"quenmarkPathKey\":" + nothing + "}");
        expectRefusal(78, computer + path);
    }
    home.setPreferences(R"({"computerIdKey":7,"quenmarkPathKey":"here"})");
    expectRefusal(78, "quenmark: quenmarkPathKey is not an absolute path\n");
}

TEST_F(AStart, NamesAFolderThatDoesNotExist) {
    const auto missing = folder.path("none");
    const auto advice = [](const std::string& at, const std::string& setting) {
        return "quenmark: the folder " + at +
               " does not exist; mount its disk, or make it with: quenmark prefs set "
               "quenmarkPathKey " +
               setting + "\n";
    };
    home.setPreferences(home.preferencesFor(missing));
    expectRefusal(78, advice(missing, missing));
    folder.write("none/file", "");
    expectRefusal(78, advice(missing + "/Quenmark", missing));
    folder.write("none/Quenmark", "");
    expectRefusal(78, advice(missing + "/Quenmark", missing));
    home.setDeployment(R"({"mode":"managed"})");
    expectRefusal(69, "quenmark: the service cannot be started: there is no session bus (No such file or directory)\n");
    home.setPreferences(home.preferencesFor(folder.path("nowhere")));
    expectRefusal(78, advice(folder.path("nowhere"), folder.path("nowhere")));
}

TEST_F(AStart, TakesMembersThatNothingReads) {
    home.setDeployment(R"({"pollInterval":5,"mode":"compatible"})");
    bus.emplace();
    Engine delegate;
    Ipc::Listener listener({startedName, startedPath}, startedInterface);
    listener.setDelegate(&delegate);
    listener.resume();
    const auto result = run({"start"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(delegate.calls, 1);
}

TEST_F(AStart, NamesMalformedSettings) {
    home.setDeployment("{\"mode\":");
    const auto result = run({"start"});
    EXPECT_EQ(result.status, 78);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(
        result.errors.starts_with("quenmark: " + home.config().path("quenmark/deployment.json") + ": Not JSON: "))
        << result.errors;
    home.setDeployment("{}");
    home.setPreferences("[]");
    expectRefusal(78, "quenmark: " + preferencesFile() + ": Not a JSON object: the top level is an array at byte 0\n");
}

TEST_F(AStart, LooksAtTheDeploymentSettingsThatCount) {
    const TestSupport::ScopedEnvironment directories{
        {"XDG_CONFIG_DIRS", folder.path("first") + ":" + folder.path("second")}};
    folder.write("second/quenmark/deployment.json", "[");
    std::filesystem::remove(home.config().path("quenmark/deployment.json"));
    EXPECT_EQ(run({"start"}).status, 78);
    folder.write("first/quenmark/deployment.json", "{}");
    EXPECT_EQ(run({"start"}).status, 69) << "the second file does not matter";
    std::filesystem::remove(folder.path("first/quenmark/deployment.json"));
    std::filesystem::create_directories(folder.path("first/quenmark/deployment.json"));
    expectRefusal(74, "quenmark: " + folder.path("first/quenmark/deployment.json") + ": Is a directory\n");
}

} // namespace ToolTest
