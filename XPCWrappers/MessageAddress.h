#pragma once

#include "Platform/Ipc/Endpoint.h"

#include <string>

namespace Quenmark {

/// Where the service of a bus name exchanges messages: at the object of the same name with "/" for ".", by the
/// interface "Velkarin.Quenmark.XPC".
Platform::Ipc::MessageAddress messageAddress(const std::string& serviceName);

} // namespace Quenmark
