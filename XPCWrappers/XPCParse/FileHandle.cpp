#include "XPCWrappers/XPCParse.h"

namespace Quenmark::XPCParse {

using Platform::Ipc::Descriptor;

std::optional<XPC::FileHandle> fileHandleWithXPCObject(const Value& object) {
    const auto* descriptor = object.as<Descriptor>();
    if (descriptor == nullptr)
        return std::nullopt;
    auto duplicate = Descriptor::duplicate(descriptor->number());
    return duplicate ? std::optional<XPC::FileHandle>(std::move(*duplicate)) : std::nullopt;
}

std::optional<Value> newXPCObject(const XPC::FileHandle& handle) {
    auto duplicate = Descriptor::duplicate(handle.fileDescriptor());
    return duplicate ? std::optional<Value>(std::move(*duplicate)) : std::nullopt;
}

} // namespace Quenmark::XPCParse
