#include "XPCWrappers/XPCParse.h"

namespace Quenmark::XPCParse {

namespace {

using namespace Platform;

struct Decode {
    const Value& value;

    std::optional<XPC::Object> operator()(Ipc::Null) const { return std::nullopt; }
    std::optional<XPC::Object> operator()(const Ipc::Dictionary&) const {
        return dictionaryWithContentsOfXPCObject(value);
    }
    std::optional<XPC::Object> operator()(const Ipc::Array&) const { return arrayWithContentsOfXPCObject(value); }
    std::optional<XPC::Object> operator()(Ipc::Date) const { return dateWithXPCObject(value); }
    std::optional<XPC::Object> operator()(const Ipc::Data&) const { return data(); }
    // data() returns nil for shared memory.
    std::optional<XPC::Object> operator()(const Ipc::SharedMemory&) const { return data(); }
    std::optional<XPC::Object> operator()(const std::string&) const { return stringWithXPCObject(value); }
    std::optional<XPC::Object> operator()(const Ipc::Uuid&) const { return XPCUUID::uuidWithXPCObject(value); }
    std::optional<XPC::Object> operator()(const Ipc::Descriptor&) const { return fileHandleWithXPCObject(value); }
    /// Booleans, integers and doubles.
    template <class Scalar>
    std::optional<XPC::Object> operator()(Scalar) const {
        return numberWithXPCObject(value);
    }

    std::optional<XPC::Object> data() const { return dataWithXPCObject(value); }
};

struct Encode {
    std::optional<Value> operator()(XPC::Null) const { return std::nullopt; }
    std::optional<Value> operator()(const XPCUUID& uuid) const { return uuid.newXPCObject(); }
    template <class Kind>
    std::optional<Value> operator()(const Kind& kind) const {
        return newXPCObject(kind);
    }
};

} // namespace

std::optional<XPC::Object> objectWithXPCObject(const Value& object) {
    return std::visit(Decode{object}, object.storage());
}

std::optional<Value> newXPCObject(const XPC::Object& object) {
    return std::visit(Encode(), object.storage());
}

} // namespace Quenmark::XPCParse
