#include "XPCWrappers/XPCParse.h"

namespace Quenmark::XPCParse {

std::string stringWithXPCObject(const Value& object) {
    return std::get<std::string>(object.storage());
}

std::string textThatTravels(const std::string& string) {
    return string.substr(0, string.find('\0'));
}

Value newXPCObject(const std::string& string) {
    return textThatTravels(string);
}

} // namespace Quenmark::XPCParse
