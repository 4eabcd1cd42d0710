#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace Platform::Ipc {
class Bus;
}

namespace Tools {

/// The user manager's unit of the service (systemd.unit(5)), by its properties on the bus; "" if a property is missing.
struct UnitFindings {
    std::string loadState = {};
    std::string activeState = {};
    std::string unitFileState = {};
    std::string subState = {};
    /// The exit status of the unit's last process, which may be the manager's own (systemd.exec(5), "Process Exit
    /// Codes"); 0 if it is missing.
    std::int64_t exitStatus = 0;

    bool operator==(const UnitFindings&) const = default;
};

/// Gets what is known of the unit, nil where no user manager is on the bus; and whether all is known.
using UnitHandler = std::function<void(const std::optional<UnitFindings>& unit, bool isAll)>;

/// Reads them. `bus` is open; where it fails, `handler` is not called any more.
void readUnit(Platform::Ipc::Bus& bus, UnitHandler handler);

/// What has ended the unit's last process where the unit has failed, or is started again and again.
std::optional<std::string> failureOf(const UnitFindings& unit);

} // namespace Tools
