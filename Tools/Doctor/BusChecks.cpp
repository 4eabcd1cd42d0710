#include "Tools/Doctor/BusChecks.h"

#include "Tools/ServiceNames.h"
#include "Tools/Status/Advice.h"

namespace Tools {

namespace {

constexpr const char* unitName = "quenmark.service";
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
                            "The service starts when it is called, and not at login: run: quenmark start");
    if (unit.loadState == "masked")
        return warningCheck(unitName, "is masked", run + "unmask " + unitName);
    if (unit.loadState != "loaded")
        return warningCheck(unitName, "cannot be loaded (" + shown(unit.loadState) + ")",
                            "See why: " + manager + "status " + unitName);
    if (unit.activeState == "failed")
        return warningCheck(unitName, "has failed",
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
    for (const auto& engine : engines) {
        checks.push_back(engineCheck(engine, findings.status->serviceRoot));
        if (const auto advice = adviceOnLostItems(engine))
            checks.push_back(warningCheck("lost items", "", *advice));
    }
    return checks;
}

} // namespace Tools
