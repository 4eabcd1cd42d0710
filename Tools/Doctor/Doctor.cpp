#include "Tools/Doctor/Doctor.h"

#include "Platform/Loop/RunLoop.h"
#include "Platform/StandardStreams.h"
#include "Platform/Terminal.h"
#include "Tools/Doctor/BusChecks.h"
#include "Tools/Doctor/CheckTable.h"
#include "Tools/Doctor/FolderChecks.h"
#include "Tools/Doctor/HostChecks.h"
#include "Tools/Doctor/SettingsChecks.h"
#include "Tools/Doctor/TemporaryChecks.h"
#include "Tools/Output.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

namespace Tools {

namespace Terminal = Platform::Terminal;

namespace {

constexpr auto longestExamination = std::chrono::minutes(1);

void append(std::vector<Check>& checks, std::vector<Check> more) {
    std::ranges::move(more, std::back_inserter(checks));
}

} // namespace

Examination examine(Platform::RunLoop& loop) {
    const auto settings = examineSettings();
    const bool isManaged = settings.deployment.mode == Platform::DeploymentSettings::Mode::Managed;

    std::optional<BusFindings> bus;
    BusProbe busProbe([&](const BusFindings& findings) { bus = findings; });
    busProbe.start();
    // Without a host nothing is sent, which the checks of the settings say.
    std::optional<HostFindings> host;
    const bool hasHost = !settings.deployment.serviceHost.empty();
    HostProbe hostProbe(settings.deployment, [&](const HostFindings& findings) { host = findings; });
    if (hasHost)
        hostProbe.start();
    // Each has a time limit of its own, by the loop's clock.
    loop.runUntil([&] { return bus && (host || !hasHost); }, longestExamination);
    constexpr const char* tooLong = "the check takes too long";
    if (!bus)
        bus.emplace().busError = tooLong;

    std::vector<Check> checks = busChecks(*bus, QUENMARK_VERSION, isManaged ? "managed" : "compatible");
    append(checks, engineChecks(*bus));
    append(checks, settings.checks);
    if (host)
        append(checks, hostChecks(*host));
    else if (hasHost)
        checks.push_back(failureCheck("HTTP", tooLong, "Check that the web service runs"));
    append(checks, folderChecks(settings.quenmarkPath, settings.deployment));
    append(checks, temporaryChecks(settings.quenmarkPath
                                       ? std::optional(placementFolder(*settings.quenmarkPath, settings.deployment))
                                       : std::nullopt));
    return {std::move(checks), bus->status, settings.deploymentFile};
}

std::vector<Check> runChecks(Platform::RunLoop& loop) {
    return examine(loop).checks;
}

bool isHealthy(const std::vector<Check>& checks) {
    return std::ranges::none_of(checks, [](const Check& check) { return check.state == CheckState::Failure; });
}

void printChecks(const std::vector<Check>& checks) {
    std::optional<std::size_t> columns;
    if (Platform::StandardStreams::outputIsTerminal())
        columns = Terminal::outputSize().columns;
    print(checkTable(checks, Terminal::outputTakesColours(), columns));
}

} // namespace Tools
