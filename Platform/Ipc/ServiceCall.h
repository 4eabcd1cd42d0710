#pragma once

#include "Platform/Ipc/Endpoint.h"
#include "Platform/Ipc/Value.h"
#include "Platform/Loop/Clock.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace Platform::Ipc {

/// Why a call failed.
struct CallFailure {
    /// The error's name (D-Bus Specification, "Message Bus Messages" and the service's own), such as
    /// "org.freedesktop.DBus.Error.UnknownMethod"; empty where there is no session bus.
    std::string name;
    /// For people.
    std::string text;

    bool operator==(const CallFailure&) const = default;
};

/// A call whose reply is pending. Destroying it drops the reply; what has been sent stays sent.
class ServiceCall {
public:
    virtual ~ServiceCall() = default;
};

/// Calls `method` of `interface` at a service, which the bus launches where it does not run. `argument`, where there is
/// one, travels as a variant. `handler` is called once, on the main queue, with nil once the service has replied, or
/// with the failure; a reply that has not come within `timeout` is one (org.freedesktop.DBus.Error.NoReply).
[[nodiscard]] std::unique_ptr<ServiceCall>
callService(const ServiceAddress& service, const std::string& interface, const std::string& method,
            std::optional<Value> argument, Duration timeout,
            std::function<void(const std::optional<CallFailure>& failure)> handler);

} // namespace Platform::Ipc
