#include "XPCWrappers/XPCParse.h"

namespace Quenmark::XPCParse {

namespace {
constexpr double nanosecondsPerSecond = 1e9;
} // namespace

XPC::Date dateWithXPCObject(const Value& object) {
    const auto nanoseconds = std::get<Platform::Ipc::Date>(object.storage()).nanoseconds;
    return {static_cast<double>(nanoseconds) / nanosecondsPerSecond};
}

Value newXPCObject(XPC::Date date) {
    return Platform::Ipc::Date{XPC::integerPart(date.secondsSince1970 * nanosecondsPerSecond)};
}

} // namespace Quenmark::XPCParse
