#pragma once

#include <systemd/sd-bus.h>

#include <memory>

namespace Platform::Ipc {

/// Releases what libsystemd hands out. A bus connection is closed as well.
struct ReleaseBusHandle {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
    void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};

using OwnedBus = std::unique_ptr<sd_bus, ReleaseBusHandle>;
using OwnedSlot = std::unique_ptr<sd_bus_slot, ReleaseBusHandle>;
using OwnedMessage = std::unique_ptr<sd_bus_message, ReleaseBusHandle>;

} // namespace Platform::Ipc
