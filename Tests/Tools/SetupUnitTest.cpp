// quenmark setup and the user's service manager.

#include "Platform/Loop/Signals.h"
#include "SetupFixture.h"
#include "StatusPeer.h"
#include "Support/PrivateBus.h"
#include "UserManagerPeer.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace ToolTest {

class TheUnit : public ASetup {
protected:
    using Calls = std::vector<std::string>;

    TheUnit() { home.setDeployment(deploymentText("h")); }

    /// What a set-up that succeeds says of it.
    std::string said() const {
        const auto result = run({"setup", "--user", "1", "--computer", "2", "--path", home.path("items")});
        EXPECT_EQ(result.status, 0);
        const std::string first =
            "quenmark: computer 2 of user 1 receives from h into " + home.path("items/Quenmark") + "\n";
        EXPECT_TRUE(result.errors.starts_with(first)) << result.errors;
        return result.errors.substr(std::min(first.size(), result.errors.size()));
    }

    /// Said where the bus cannot launch the service either.
    const std::string notProvided =
        "quenmark: the service cannot be started: The name Velkarin.Quenmark.TopFileUploadXpcService was not "
        "provided by any .service files\n";
    const Calls allCalls{"EnableUnitFiles quenmark.service for good", "Reload", "Subscribe",
                         "StartUnit quenmark.service replace"};
};

TEST_F(TheUnit, IsEnabledAndStarted) {
    const TestSupport::PrivateBus bus;
    UserManagerPeer manager;
    EXPECT_EQ(said(), "quenmark: quenmark.service is enabled and runs\n");
    EXPECT_EQ(manager.calls, allCalls);
    manager.saysResultFirst = true;
    manager.startResult = "failed";
    EXPECT_EQ(said(), "quenmark: quenmark.service does not run (its start has ended with failed)\n" + notProvided);
}

TEST_F(TheUnit, IsRestartedWhereTheModeOrTheSandboxHasChanged) {
    const TestSupport::PrivateBus bus;
    UserManagerPeer manager;
    StatusPeer service;
    int signals = 0;
    const Platform::SignalWatch watch(SIGTERM, [&] {
        ++signals;
        service.leave();
    });
    EXPECT_EQ(said(), "quenmark: quenmark.service is enabled and runs\n");
    EXPECT_EQ(signals, 1) << "the sandbox is new";
    service.claim();
    EXPECT_EQ(said(), "quenmark: quenmark.service is enabled and runs\n");
    EXPECT_EQ(signals, 1) << "nothing has changed";
    home.setDeployment(R"({"serviceHost":"h"})");
    EXPECT_EQ(said(), "quenmark: quenmark.service is enabled and runs\n");
    EXPECT_EQ(signals, 2) << "the mode was the compatible one";
    service.claim();
    EXPECT_EQ(run({"setup", "--path", home.path("elsewhere")}).status, 0);
    EXPECT_EQ(signals, 3) << "the sandbox is another one";
}

TEST_F(TheUnit, IsNotStartedWhereItIsNotInstalled) {
    const TestSupport::PrivateBus bus;
    UserManagerPeer manager;
    manager.errors["EnableUnitFiles"] = {"org.freedesktop.systemd1.NoSuchUnit",
                                         "Unit file quenmark.service does not exist."};
    EXPECT_EQ(said(),
              "quenmark: quenmark.service does not run (Unit file quenmark.service does not exist.)\n" + notProvided);
    EXPECT_EQ(manager.calls, Calls{allCalls[0]});
}

TEST_F(TheUnit, IsLeftAloneWhereThereIsNoManager) {
    EXPECT_EQ(said(),
              "quenmark: quenmark.service cannot be enabled, since there is no user manager (no session bus: No "
              "such file or directory)\n"
              "quenmark: the service cannot be started: there is no session bus (No such file or directory)\n");
    const TestSupport::PrivateBus bus{{{"org.freedesktop.systemd1", "/bin/false"}}};
    const auto text = said();
    EXPECT_TRUE(
        text.starts_with("quenmark: quenmark.service cannot be enabled, since there is no user manager (Process "
                         "org.freedesktop.systemd1 exited with status 1"))
        << text;
}

TEST_F(TheUnit, LetsTheBusReadTheFilesOfItsServicesWhereItCannotBeEnabled) {
    const TestSupport::PrivateBus bus;
    // A folder of services that the bus does not know since its start.
    const auto place = std::filesystem::path(bus.socketPath()).parent_path();
    const auto services = place / "later";
    std::filesystem::create_directory(services);
    std::stringstream configuration;
    configuration << std::ifstream(place / "bus.conf").rdbuf();
    std::string changed = configuration.str();
    const auto end = changed.find("</busconfig>");
    ASSERT_NE(end, std::string::npos);
    std::ofstream(place / "bus.conf") << changed.insert(end, "<servicedir>" + services.string() + "</servicedir>");
    const std::string name = "Velkarin.Quenmark.TopFileUploadXpcService";
    std::ofstream(services / (name + ".service")) << "[D-BUS Service]\nName=" << name << "\nExec=/bin/false\n";
    const auto text = said();
    EXPECT_NE(text.find("quenmark: the service cannot be started: Process " + name + " exited with status 1"),
              std::string::npos)
        << text;
}

TEST_F(TheUnit, IsLeftAloneWhereThatIsWanted) {
    const TestSupport::PrivateBus bus;
    UserManagerPeer manager;
    const auto result = setUp({"--user", "1", "--computer", "2", "--path", home.path("items")});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(manager.calls, Calls());
}

} // namespace ToolTest
