#pragma once

#include "Platform/Ipc/PropertyObject.h"

#include <systemd/sd-bus.h>

#include <memory>
#include <vector>

namespace Platform::Ipc {

/// The properties of an object as libsystemd takes them (sd_bus_add_object_vtable(3)). Must outlive the slot.
class PropertyTable {
public:
    explicit PropertyTable(std::shared_ptr<const PropertyObject> object);
    PropertyTable(const PropertyTable&) = delete;
    PropertyTable& operator=(const PropertyTable&) = delete;

    const PropertyObject& object() const { return *object_; }

    /// As sd_bus_add_object_vtable(3).
    int publish(sd_bus& bus, sd_bus_slot** slot) const;
    /// As sd_bus_emit_properties_changed_strv(3), with every property whose changes are announced.
    static int announceChanges(sd_bus& bus, const PropertyObject& object);

private:
    static int read(sd_bus* bus, const char* path, const char* interface, const char* property, sd_bus_message* reply,
                    void* data, sd_bus_error* error);

    std::shared_ptr<const PropertyObject> object_;
    std::vector<sd_bus_vtable> entries_;
};

} // namespace Platform::Ipc
