#include "Tools/Doctor/BusChecks.h"

#include "Tools/ServiceNames.h"
#include "Tools/Status/Advice.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <ranges>

namespace Tools {

namespace {

/// How many engines get a line of their own.
constexpr std::size_t maxEnginesChecked = 10;
constexpr const char* unitName = ServiceNames::unit;
constexpr const char* adviceToRestart = "Run: quenmark stop; then run: quenmark start";

Check activationCheck(const BusFindings& findings) {
    const std::string name = ServiceNames::service;
    if (findings.canLaunchService)
        return okCheck("activation", "the bus can launch the service");
    const std::string detail = "the bus knows no service file for " + name;
    const std::string advice = "Install " + name + ".service where the bus finds it (dbus-daemon(1)), and log in anew";
    return findings.isRunning ? warningCheck("activation", detail, advice) : failureCheck("activation", detail, advice);
}

Check managerCheck(const BusFindings& findings) {
    if (findings.unit)
        return okCheck("user manager", "on the session bus");
    return warningCheck("user manager", "none is on the session bus",
                        "The service starts when it is called, and not at login: run: quenmark start");
}

Check unitCheck(const UnitFindings& unit) {
    const std::string manager = "systemctl --user ";
    const std::string run = "Run: " + manager;
    if (unit.loadState == "not-found")
        return warningCheck(unitName, "is not installed",
                            "Install it: without it the service does not start at login, and a bus whose service "
                            "file names it launches nothing");
    if (unit.loadState == "masked")
        return warningCheck(unitName, "is masked", run + "unmask " + unitName);
    if (unit.loadState != "loaded")
        return warningCheck(unitName,
                            "cannot be loaded (" +
                                (unit.loadState.empty() ? "it does not tell" : shown(unit.loadState)) + ")",
                            "See why: " + manager + "status " + unitName);
    if (const auto failure = failureOf(unit))
        return warningCheck(unitName, "has failed: " + *failure,
                            "See why: " + manager + "status " + unitName + "; then run: " + manager + "restart " +
                                unitName);
    const std::string detail = shown(unit.unitFileState) + ", " + shown(unit.activeState);
    if (unit.unitFileState == "disabled")
        return warningCheck(unitName, detail, run + "enable --now " + unitName);
    if (unit.activeState == "inactive")
        return warningCheck(unitName, detail, run + "start " + unitName);
    return okCheck(unitName, detail);
}

Check serviceCheck(const BusFindings& findings, const std::string& installedVersion, const std::string& mode) {
    if (!findings.isRunning)
        return warningCheck("service", "does not run", adviceToStart);
    if (!findings.status)
        return warningCheck("service", shown(findings.statusError), adviceToRestart);
    const auto& status = *findings.status;
    const std::string detail = "version " + shown(status.version) + ", " + shown(status.mode) + " mode";
    if (status.version != installedVersion)
        return warningCheck("service", detail + "; version " + installedVersion + " is installed", adviceToRestart);
    if (status.mode != mode)
        return warningCheck("service", detail + "; deployment.json says " + mode, adviceToRestart);
    return okCheck("service", detail);
}

/// How bad an engine's state is.
CheckState stateOf(const EngineStatus& engine) {
    if (engine.state == "stalled" || engine.state == "blocked" || engine.state == "unconfigured")
        return CheckState::Failure;
    if (engine.state == "created" || engine.state == "retrying" || engine.state == "offline")
        return CheckState::Warning;
    return CheckState::Ok;
}

std::vector<const EngineStatus*> worstFirst(const std::vector<EngineStatus>& engines) {
    std::vector<const EngineStatus*> sorted;
    for (const auto& engine : engines)
        sorted.push_back(&engine);
    std::ranges::stable_sort(sorted, std::ranges::greater(),
                             [](const EngineStatus* engine) { return stateOf(*engine); });
    return sorted;
}

/// How many of those behind the first have a problem.
std::ptrdiff_t problemsBehind(const std::vector<const EngineStatus*>& engines, std::size_t first) {
    return std::ranges::count_if(engines | std::views::drop(first),
                                 [](const EngineStatus* engine) { return stateOf(*engine) != CheckState::Ok; });
}

Check engineCheck(const EngineStatus& engine, const std::string& serviceRoot) {
    const std::string reason = engine.reason.empty() ? "" : " (" + shown(engine.reason) + ")";
    return {"engine " + std::to_string(engine.id), stateOf(engine), shown(engine.state) + reason,
            adviceOn(engine, serviceRoot).value_or("")};
}

} // namespace

std::vector<Check> busChecks(const BusFindings& findings, const std::string& installedVersion,
                             const std::string& mode) {
    if (findings.busError)
        return {failureCheck("session bus", shown(*findings.busError),
                             "Run it in a session that has a bus: DBUS_SESSION_BUS_ADDRESS names it")};
    std::vector<Check> checks{okCheck("session bus", "connected"), activationCheck(findings), managerCheck(findings)};
    if (findings.unit)
        checks.push_back(unitCheck(*findings.unit));
    checks.push_back(serviceCheck(findings, installedVersion, mode));
    return checks;
}

std::vector<Check> engineChecks(const BusFindings& findings) {
    if (!findings.status)
        return {};
    const auto& engines = findings.status->engines;
    if (engines.empty())
        return {warningCheck("engines", "none has been started", adviceToStart)};
    std::vector<Check> checks;
    if (engines.size() > 1)
        checks.push_back(warningCheck("engines", std::to_string(engines.size()) + ", of which each asks for items",
                                      adviceToRestart));
    const auto sorted = worstFirst(engines);
    for (std::size_t index = 0; index < std::min(sorted.size(), maxEnginesChecked); ++index) {
        checks.push_back(engineCheck(*sorted[index], findings.status->serviceRoot));
        if (const auto advice = adviceOnLostItems(*sorted[index]))
            checks.push_back(warningCheck("lost items", std::to_string(sorted[index]->itemsLost.value_or(0)), *advice));
    }
    if (const auto left = problemsBehind(sorted, maxEnginesChecked); left > 0)
        checks.push_back({"engines", stateOf(*sorted[maxEnginesChecked]), std::to_string(left) + " more have a problem",
                          "See all: quenmark status --json"});
    return checks;
}

} // namespace Tools
