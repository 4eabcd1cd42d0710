#include "Platform/Ipc/PropertyTable.h"

#include "Platform/Ipc/Guarded.h"
#include "Platform/Ipc/Message.h"
#include "Platform/Ipc/VtableEntry.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace Platform::Ipc {

namespace {

std::uint64_t flagsOf(BusProperty::Change change) {
    switch (change) {
    case BusProperty::Change::Never:
        return SD_BUS_VTABLE_PROPERTY_CONST;
    case BusProperty::Change::Announced:
        return SD_BUS_VTABLE_PROPERTY_EMITS_INVALIDATION;
    case BusProperty::Change::Unannounced:
        break;
    }
    return 0;
}

} // namespace

PropertyTable::PropertyTable(std::shared_ptr<const PropertyObject> object) : object_(std::move(object)) {
    entries_.push_back(vtableStart());
    for (const auto& property : object_->properties()) {
        sd_bus_vtable entry = vtableEntry(_SD_BUS_VTABLE_PROPERTY, flagsOf(property.change));
        entry.x.property.member = property.name.c_str();
        entry.x.property.signature = property.signature;
        entry.x.property.get = read;
        entries_.push_back(entry);
    }
    entries_.push_back(vtableEntry(_SD_BUS_VTABLE_END, 0));
}

int PropertyTable::publish(sd_bus& bus, sd_bus_slot** slot) const {
    return sd_bus_add_object_vtable(&bus, slot, object_->path().c_str(), object_->interface().c_str(), entries_.data(),
                                    const_cast<PropertyObject*>(object_.get()));
}

int PropertyTable::read(sd_bus*, const char*, const char*, const char* property, sd_bus_message* reply, void* data,
                        sd_bus_error* error) {
    return guarded(error, [&] {
        const auto& properties = static_cast<const PropertyObject*>(data)->properties();
        // The library asks for what is in its table alone.
        const auto found = std::ranges::find(properties, std::string_view(property), &BusProperty::name);
        const auto appended = appendProperty(*reply, found->value());
        return appended ? 1 : sd_bus_error_set(error, appended.error().errorName, appended.error().text.c_str());
    });
}

int PropertyTable::announceChanges(sd_bus& bus, const PropertyObject& object) {
    std::vector<char*> names;
    for (const auto& property : object.properties()) {
        if (property.change == BusProperty::Change::Announced)
            names.push_back(const_cast<char*>(property.name.c_str()));
    }
    names.push_back(nullptr);
    return sd_bus_emit_properties_changed_strv(&bus, object.path().c_str(), object.interface().c_str(), names.data());
}

} // namespace Platform::Ipc
