#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <cstring>

/// Entries of the library's tables, whose macros are for tables that are constants (sd_bus_add_object_vtable(3)).
namespace Platform::Ipc {

inline sd_bus_vtable vtableEntry(std::uint8_t type, std::uint64_t flags) {
    constexpr std::uint64_t flagBits = (std::uint64_t{1} << 56) - 1;
    sd_bus_vtable entry;
    std::memset(&entry, 0, sizeof entry);
    entry.type = type;
    entry.flags = flags & flagBits;
    return entry;
}

inline sd_bus_vtable vtableStart() {
    sd_bus_vtable entry = vtableEntry(_SD_BUS_VTABLE_START, 0);
    entry.x.start.element_size = sizeof(sd_bus_vtable);
    entry.x.start.features = _SD_BUS_VTABLE_PARAM_NAMES;
    entry.x.start.vtable_format_reference = &sd_bus_object_vtable_format;
    return entry;
}

} // namespace Platform::Ipc
