#include "XPCWrappers/XPCParse.h"

namespace Quenmark::XPCParse {

std::string stringWithXPCObject(const Value& object) {
    return std::get<std::string>(object.storage());
}

Value newXPCObject(const std::string& string) {
    // A text of the message ends where a zero byte is.
    return string.substr(0, string.find('\0'));
}

} // namespace Quenmark::XPCParse
