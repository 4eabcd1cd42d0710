#include "TopFileUploadXpcService/StatusReport.h"

#include "Platform/Printable.h"
#include "Platform/ServiceManager.h"
#include "TopFileUploadXpcService/ChangeThrottle.h"

#include <map>

namespace Quenmark {

namespace ServiceManager = Platform::ServiceManager;

namespace {

constexpr std::chrono::milliseconds reportInterval{250};

std::string summaryOf(const EngineEntry& engine) {
    std::string summary = nameOf(engine.state);
    if (!engine.item.empty())
        summary += " " + Platform::printable(engine.item);
    if (engine.state == EngineState::Downloading)
        summary += ", " + std::to_string(engine.bytes) + (engine.total ? " of " + std::to_string(*engine.total) : "") +
                   " bytes";
    if (!engine.reason.empty())
        summary += ": " + Platform::printable(engine.reason);
    return summary;
}

std::string statusText(const ServiceStatus& status) {
    return "STATUS=" + summaryOf(status.engines());
}

} // namespace

std::string summaryOf(const std::vector<EngineEntry>& engines) {
    if (engines.empty())
        return "no engine";
    if (engines.size() == 1)
        return summaryOf(engines.front());
    std::map<EngineState, int> counts;
    for (const auto& engine : engines)
        ++counts[engine.state];
    std::string summary;
    for (const auto& [state, count] : counts)
        summary += (summary.empty() ? "" : ", ") + std::to_string(count) + " " + nameOf(state);
    return summary;
}

void reportChanges(ServiceStatus& status, const std::shared_ptr<Platform::Ipc::PropertyObject>& object) {
    // The status owns what announces its changes. The object, which reads the status, is owned by its service.
    const auto announce = [&status, weak = std::weak_ptr(object)] {
        if (const auto published = weak.lock())
            published->announceChanges();
        if (ServiceManager::isThere())
            ServiceManager::notify(statusText(status));
    };
    status.setChangeHandler(
        [throttle = std::make_shared<ChangeThrottle>(reportInterval, announce)] { throttle->changed(); });
    object->setReachableHandler([shared = status.shared_from_this()] {
        if (ServiceManager::isThere())
            ServiceManager::notify("READY=1\n" + statusText(*shared));
    });
}

} // namespace Quenmark
