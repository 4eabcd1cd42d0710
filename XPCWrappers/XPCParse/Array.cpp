#include "XPCWrappers/XPCParse.h"

namespace Quenmark::XPCParse {

XPC::Array arrayWithContentsOfXPCObject(const Value& object) {
    XPC::Array array;
    for (const auto& element : std::get<Platform::Ipc::Array>(object.storage())) {
        if (auto decoded = objectWithXPCObject(element))
            array.push_back(std::move(*decoded));
    }
    return array;
}

Value newXPCObject(const XPC::Array& array) {
    Platform::Ipc::Array elements;
    for (const auto& object : array) {
        if (auto encoded = newXPCObject(object))
            elements.push_back(std::move(*encoded));
    }
    return elements;
}

} // namespace Quenmark::XPCParse
