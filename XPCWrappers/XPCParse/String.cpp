#include "XPCWrappers/XPCParse.h"

namespace Quenmark::XPCParse {

std::string stringWithXPCObject(const Value& object) {
    return std::get<std::string>(object.storage());
}

Value newXPCObject(const std::string& string) {
    return std::string(string.c_str());
}

} // namespace Quenmark::XPCParse
