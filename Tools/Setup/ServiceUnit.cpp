#include "Tools/Setup/ServiceUnit.h"

#include "Platform/Ipc/ServiceCall.h"
#include "Platform/Ipc/UserUnit.h"
#include "Platform/Loop/RunLoop.h"
#include "Tools/EngineStart.h"
#include "Tools/Output.h"
#include "Tools/ServiceNames.h"
#include "Tools/ServiceStop.h"

#include <chrono>
#include <optional>
#include <string>

namespace Tools {

namespace {

constexpr const char* unitName = ServiceNames::unit;
constexpr auto stepLimit = std::chrono::seconds(30);

/// What cannot be ended, since there is no bus or the service is another user's, cannot be enabled either.
void endService() {
    Platform::RunLoop loop;
    ServiceStop stopping([&](const ServiceStop::Outcome&) { loop.stop(0); });
    stopping.start();
    loop.run();
}

/// Has the bus read the files of its services again: it does not see a folder that was made after its own start
/// (dbus-daemon(1)). Where that fails, calling the service tells why.
void readServiceFiles() {
    Platform::RunLoop loop;
    const auto call =
        Platform::Ipc::callService({"org.freedesktop.DBus", "/org/freedesktop/DBus"}, "org.freedesktop.DBus",
                                   "ReloadConfig", std::nullopt, stepLimit, [&](const auto&) { loop.stop(0); });
    loop.run();
}

} // namespace

void enableService(bool isRestarted) {
    if (isRestarted)
        endService();
    const auto enabled = Platform::Ipc::enableUserUnit(unitName, stepLimit);
    if (enabled)
        return printMessage(std::string(unitName) + " is enabled and runs");
    const std::string reason =
        enabled.error().hasManager ? " does not run (" : " cannot be enabled, since there is no user manager (";
    printMessage(unitName + reason + enabled.error().text + ")");
    readServiceFiles();
    if (startEngine(false) == ExitStatus::Success)
        printMessage("the service runs; it starts when it is called, and not at login");
}

} // namespace Tools
