#pragma once

#include "Platform/Ipc/Endpoint.h"

#include <string>

namespace Quenmark {

/// Where the service of a bus name exchanges messages: at the object of the same name with "/" for "." and "_" for
/// "-", which paths do not have (D-Bus Specification, "Valid Object Paths"), by the interface "Velkarin.Quenmark.XPC".
Platform::Ipc::MessageAddress messageAddress(const std::string& serviceName);

} // namespace Quenmark
