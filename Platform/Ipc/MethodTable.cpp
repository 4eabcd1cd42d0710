#include "Platform/Ipc/MethodTable.h"

#include "Platform/Ipc/VtableEntry.h"

#include <cstdint>

namespace Platform::Ipc {

MethodTable::MethodTable(const std::vector<BusMethod>& methods, sd_bus_message_handler_t handler) : methods_(methods) {
    entries_.push_back(vtableStart());
    for (const auto& method : methods_) {
        auto& names = argumentNames_.emplace_back();
        for (const auto& name : method.argumentNames)
            names.append(name).push_back('\0');
        const std::uint64_t noReply = method.noReply ? std::uint64_t{SD_BUS_VTABLE_METHOD_NO_REPLY} : 0;
        sd_bus_vtable entry = vtableEntry(_SD_BUS_VTABLE_METHOD, SD_BUS_VTABLE_UNPRIVILEGED | noReply);
        entry.x.method.member = method.name.c_str();
        entry.x.method.signature = method.signature.c_str();
        entry.x.method.result = "";
        entry.x.method.handler = handler;
        entry.x.method.names = names.c_str();
        entries_.push_back(entry);
    }
    entries_.push_back(vtableEntry(_SD_BUS_VTABLE_END, 0));
}

} // namespace Platform::Ipc
