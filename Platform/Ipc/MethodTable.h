#pragma once

#include "Platform/Ipc/Endpoint.h"

#include <systemd/sd-bus.h>

#include <list>
#include <string>
#include <vector>

namespace Platform::Ipc {

/// The methods of an exported interface as libsystemd takes them (sd_bus_add_object_vtable(3)). Must outlive the
/// export.
class MethodTable {
public:
    /// Every method is handled by `handler`.
    MethodTable(const std::vector<BusMethod>& methods, sd_bus_message_handler_t handler);
    MethodTable(const MethodTable&) = delete;
    MethodTable& operator=(const MethodTable&) = delete;

    const sd_bus_vtable* entries() const { return entries_.data(); }

private:
    std::vector<BusMethod> methods_;
    std::list<std::string> argumentNames_;
    std::vector<sd_bus_vtable> entries_;
};

} // namespace Platform::Ipc
