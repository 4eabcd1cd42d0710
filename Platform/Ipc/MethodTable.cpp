#include "Platform/Ipc/MethodTable.h"

#include <cstdint>
#include <cstring>

namespace Platform::Ipc {

namespace {

constexpr std::uint64_t flagBits = (std::uint64_t{1} << 56) - 1;

sd_bus_vtable blank(std::uint8_t type) {
    sd_bus_vtable entry;
    std::memset(&entry, 0, sizeof entry);
    entry.type = type;
    return entry;
}

} // namespace

MethodTable::MethodTable(const std::vector<BusMethod>& methods, sd_bus_message_handler_t handler) : methods_(methods) {
    entries_.push_back(blank(_SD_BUS_VTABLE_START));
    entries_.back().x.start.element_size = sizeof(sd_bus_vtable);
    entries_.back().x.start.features = _SD_BUS_VTABLE_PARAM_NAMES;
    entries_.back().x.start.vtable_format_reference = &sd_bus_object_vtable_format;
    for (const auto& method : methods_) {
        auto& names = argumentNames_.emplace_back();
        for (const auto& name : method.argumentNames)
            names.append(name).push_back('\0');
        sd_bus_vtable entry = blank(_SD_BUS_VTABLE_METHOD);
        const std::uint64_t noReply = method.noReply ? std::uint64_t{SD_BUS_VTABLE_METHOD_NO_REPLY} : 0;
        entry.flags = (SD_BUS_VTABLE_UNPRIVILEGED | noReply) & flagBits;
        entry.x.method.member = method.name.c_str();
        entry.x.method.signature = method.signature.c_str();
        entry.x.method.result = "";
        entry.x.method.handler = handler;
        entry.x.method.names = names.c_str();
        entries_.push_back(entry);
    }
    entries_.push_back(blank(_SD_BUS_VTABLE_END));
}

} // namespace Platform::Ipc
