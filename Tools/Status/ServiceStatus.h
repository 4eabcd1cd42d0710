#pragma once

#include "Platform/Ipc/Value.h"
#include "Tools/Failure.h"

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <variant>
#include <vector>

namespace Tools {

/// A point in time, in microseconds since 1970-01-01 UTC.
struct Moment {
    std::int64_t microseconds = 0;
    auto operator<=>(const Moment&) const = default;
};

/// A property of the service's status on the bus, and the member of a record that holds it. A member that is an
/// optional is one that the service leaves out while there is nothing to say.
template <class Record, class Member>
struct StatusField {
    const char* name;
    Member Record::*member;
};

/// What one engine of the service does.
struct EngineStatus {
    std::uint64_t id = 0;
    /// The bus name of the connection that it belongs to; empty in managed mode.
    std::string peer;
    std::string state;
    std::string reason;
    Moment since;
    /// The current item; empty where there is none.
    std::string item;
    std::uint64_t bytes = 0;
    std::optional<std::uint64_t> total;
    std::uint64_t passes = 0;
    std::optional<Moment> lastResponse;
    std::optional<std::string> lastItem;
    std::optional<Moment> lastItemTime;
    std::optional<std::uint64_t> itemsLost;
    std::optional<std::string> lastLostItem;
    std::optional<std::string> lastLostReason;

    bool operator==(const EngineStatus&) const = default;

    static constexpr auto fields() {
        return std::tuple{
            StatusField{"Id", &EngineStatus::id},
            StatusField{"Peer", &EngineStatus::peer},
            StatusField{"State", &EngineStatus::state},
            StatusField{"Reason", &EngineStatus::reason},
            StatusField{"Since", &EngineStatus::since},
            StatusField{"Item", &EngineStatus::item},
            StatusField{"Bytes", &EngineStatus::bytes},
            StatusField{"Total", &EngineStatus::total},
            StatusField{"Passes", &EngineStatus::passes},
            StatusField{"LastResponse", &EngineStatus::lastResponse},
            StatusField{"LastItem", &EngineStatus::lastItem},
            StatusField{"LastItemTime", &EngineStatus::lastItemTime},
            StatusField{"ItemsLost", &EngineStatus::itemsLost},
            StatusField{"LastLostItem", &EngineStatus::lastLostItem},
            StatusField{"LastLostReason", &EngineStatus::lastLostReason},
        };
    }
};

/// What the service does.
struct ServiceStatus {
    std::string version;
    std::string mode;
    std::string frontEnd;
    std::string serviceRoot;
    Moment started;
    std::uint64_t itemsReceived = 0;
    std::uint64_t bytesReceived = 0;
    std::vector<EngineStatus> engines;

    bool operator==(const ServiceStatus&) const = default;

    static constexpr auto fields() {
        return std::tuple{
            StatusField{"Version", &ServiceStatus::version},
            StatusField{"Mode", &ServiceStatus::mode},
            StatusField{"FrontEnd", &ServiceStatus::frontEnd},
            StatusField{"ServiceRoot", &ServiceStatus::serviceRoot},
            StatusField{"Started", &ServiceStatus::started},
            StatusField{"ItemsReceived", &ServiceStatus::itemsReceived},
            StatusField{"BytesReceived", &ServiceStatus::bytesReceived},
            StatusField{"Engines", &ServiceStatus::engines},
        };
    }
};

/// The status in the properties of the service's status object, a dictionary. Properties without a meaning here are
/// ignored. The text says which property is missing or of another type.
std::variant<ServiceStatus, std::string> serviceStatus(const Platform::Ipc::Value& properties);

/// What an engine's state means for a person. A state without a meaning here counts as working.
enum class Condition { NotStarted, Idle, Working, Failing, Unconfigured };
Condition conditionOf(const EngineStatus& engine);

/// The exit status that tells a script how the service is: Success where an engine has been started and none has a
/// problem, TimedOut where one is failing or none was started, Configuration where one is not configured.
ExitStatus exitStatusOf(const ServiceStatus& status);

} // namespace Tools
