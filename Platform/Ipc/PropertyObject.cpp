#include "Platform/Ipc/PropertyObject.h"

#include "Platform/Ipc/Bus.h"

namespace Platform::Ipc {

PropertyObject::PropertyObject(std::string path, std::string interface, std::vector<BusProperty> properties)
    : path_(std::move(path)), interface_(std::move(interface)), properties_(std::move(properties)) {}

void PropertyObject::announceChanges() const {
    if (const auto bus = bus_.lock())
        bus->announceChanges(*this);
}

} // namespace Platform::Ipc
