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

/// Where messages are exchanged: both ends of a connection export the object of that path, and on it the interface of
/// that name with one method, "Message", that takes one variant.
struct MessageAddress {
    ServiceAddress service;
    std::string interface;
};

/// Operations that a service exports on its object. None takes an argument or returns a result, and no caller needs to
/// wait for one; so each is marked no-reply in the introspection data (D-Bus Specification,
/// org.freedesktop.DBus.Method.NoReply).
struct Interface {
    std::string name;
    std::vector<std::string> methods;
};

/// A method as callers see it.
struct BusMethod {
    std::string name;
    /// Types of the arguments (D-Bus Specification, "Type System") and their names.
    std::string signature;
    std::vector<std::string> argumentNames;
    /// Whether the introspection data says that there is no reply to wait for.
    bool noReply = false;
};

/// An object of this process, with the interface that it exports.
struct BusObject {
    std::string path;
    std::string interface;
    std::vector<BusMethod> methods;
};

/// The object that either end of a message connection exports.
BusObject messageObject(const MessageAddress& address);

} // namespace Platform::Ipc
