#pragma once

#include "Platform/Ipc/PropertyObject.h"
#include "TopFileUploadXpcService/ServiceStatus.h"

#include <memory>
#include <string>

namespace Quenmark {

/// What the status object says of the program that never changes.
struct ProgramFacts {
    std::string version;
    /// "listener" or "messages".
    std::string frontEnd;
};

/// The object of the bus by which other programs read the status (Docs/bus.md). It announces nothing by itself.
std::shared_ptr<Platform::Ipc::PropertyObject> statusObject(std::shared_ptr<const ServiceStatus> status,
                                                            ProgramFacts program);

} // namespace Quenmark
