#pragma once

#include "Platform/Ipc/PropertyObject.h"
#include "TopFileUploadXpcService/EngineStatus.h"
#include "TopFileUploadXpcService/ServiceStatus.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace Quenmark {

/// Says in one line what the engines are doing: "downloading a.txt, 10 of 300 bytes" of a single one, "idle" or
/// "2 idle, 1 stalled" of several.
std::string summaryOf(const std::vector<EngineEntry>& engines);

/// Reports every change of the status, at most four times a second: on the bus by the status object, and to the service
/// manager, where there is one, as the status text. The service manager gets READY=1 once the object can be reached.
void reportChanges(ServiceStatus& status, const std::shared_ptr<Platform::Ipc::PropertyObject>& object);

} // namespace Quenmark
