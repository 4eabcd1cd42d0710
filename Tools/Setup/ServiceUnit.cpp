#include "Tools/Setup/ServiceUnit.h"

#include "Platform/Ipc/UserUnit.h"
#include "Platform/Loop/RunLoop.h"
#include "Tools/Output.h"
#include "Tools/ServiceStop.h"

#include <chrono>
#include <string>

namespace Tools {

namespace {

constexpr const char* unitName = "quenmark.service";
constexpr auto stepLimit = std::chrono::seconds(30);

/// What cannot be ended, since there is no bus or the service is another user's, cannot be enabled either.
void endService() {
    Platform::RunLoop loop;
    ServiceStop stopping([&](const ServiceStop::Outcome&) { loop.stop(0); });
    stopping.start();
    loop.run();
}

} // namespace

void enableService(bool isRestarted) {
    if (isRestarted)
        endService();
    const auto failure = Platform::Ipc::enableUserUnit(unitName, stepLimit);
    if (!failure)
        return complain(std::string(unitName) + " is enabled and runs");
    const std::string reason =
        failure->hasManager ? " does not run (" : " cannot be enabled, since there is no user manager (";
    complain(unitName + reason + failure->text + "); start the service with: quenmark start");
}

} // namespace Tools
