#include "XPCWrappers/XPCParse.h"

namespace Quenmark::XPCParse {

std::optional<XPC::Data> dataWithXPCObject(const Value& object) {
    const auto* data = object.as<Platform::Ipc::Data>();
    return data == nullptr ? std::nullopt : std::optional(*data);
}

Value newXPCObject(const XPC::Data& data) {
    return data;
}

} // namespace Quenmark::XPCParse
