#pragma once

#include <string>
#include <vector>

namespace Platform::Ipc {

/// Where a service is reached on the session bus (D-Bus Specification, "Valid Names"): by its well-known name, at one
/// object.
struct ServiceAddress {
    std::string name;
    std::string objectPath;
};

/// Where messages are exchanged: both sides of a connection have the object of that path, and on it the interface of
/// that name with one method, "Message", that takes one variant.
struct MessageAddress {
    ServiceAddress service;
    std::string interface;
};

/// Operations that a service offers on its object. None takes an argument or gives a result, and nobody needs to wait
/// for one; so each is marked no-reply in the introspection data (D-Bus Specification,
/// org.freedesktop.DBus.Method.NoReply).
struct Interface {
    std::string name;
    std::vector<std::string> methods;
};

} // namespace Platform::Ipc
