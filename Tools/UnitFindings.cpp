#include "Tools/UnitFindings.h"

#include "Platform/Ipc/Bus.h"

#include <memory>
#include <utility>
#include <variant>

namespace Tools {

namespace Ipc = Platform::Ipc;

namespace {

// org.freedesktop.systemd1(5).
constexpr const char* managerName = "org.freedesktop.systemd1";
constexpr const char* unitPath = "/org/freedesktop/systemd1/unit/quenmark_2eservice";
constexpr const char* unitInterface = "org.freedesktop.systemd1.Unit";
constexpr const char* serviceInterface = "org.freedesktop.systemd1.Service";

// systemd.exec(5), "Process Exit Codes".
constexpr std::int64_t programCannotBeRun = 203;
constexpr std::int64_t firstOfTheManager = 200;
constexpr std::int64_t lastOfTheManager = 245;

/// The properties received so far.
struct Reading {
    UnitFindings findings;
    int awaited = 0;
    UnitHandler handler;
};

template <class Kind, class Taken>
void readProperty(Ipc::Bus& bus, const std::shared_ptr<Reading>& reading, const char* interface, const char* name,
                  Taken UnitFindings::*member) {
    ++reading->awaited;
    bus.readProperty(managerName, unitPath, interface, name, [reading, member](const Ipc::Bus::Reply& reply) {
        const auto* value = std::get_if<Ipc::Value>(&reply);
        if (const auto* property = value == nullptr ? nullptr : value->as<Kind>())
            reading->findings.*member = *property;
        --reading->awaited;
        reading->handler(reading->findings, reading->awaited == 0);
    });
}

} // namespace

void readUnit(Ipc::Bus& bus, UnitHandler handler) {
    const auto reading = std::make_shared<Reading>();
    reading->handler = std::move(handler);
    bus.callBus("GetNameOwner", managerName, [&bus, reading](const Ipc::Bus::Reply& reply) {
        if (!std::holds_alternative<Ipc::Value>(reply))
            return reading->handler(std::nullopt, true);
        reading->handler(reading->findings, false);
        readProperty<std::string>(bus, reading, unitInterface, "LoadState", &UnitFindings::loadState);
        readProperty<std::string>(bus, reading, unitInterface, "ActiveState", &UnitFindings::activeState);
        readProperty<std::string>(bus, reading, unitInterface, "UnitFileState", &UnitFindings::unitFileState);
        readProperty<std::string>(bus, reading, unitInterface, "SubState", &UnitFindings::subState);
        readProperty<std::int64_t>(bus, reading, serviceInterface, "ExecMainStatus", &UnitFindings::exitStatus);
    });
}

std::optional<std::string> failureOf(const UnitFindings& unit) {
    if (unit.activeState != "failed" && unit.subState != "auto-restart")
        return std::nullopt;
    if (unit.exitStatus == programCannotBeRun)
        return "its program cannot be run";
    const auto status = std::to_string(unit.exitStatus);
    if (unit.exitStatus >= firstOfTheManager && unit.exitStatus <= lastOfTheManager)
        return "its sandbox cannot be set up (status " + status + ")";
    return unit.exitStatus == 0 ? "it does not come to run" : "its program has ended with " + status;
}

} // namespace Tools
