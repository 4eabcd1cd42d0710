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
    // The status outlives its engines, which outlive this function's caller.
    const auto throttle = std::make_shared<ChangeThrottle>(reportInterval, [weak = status.weak_from_this(), object] {
        object->announceChanges();
        if (const auto current = weak.lock(); current && ServiceManager::isThere())
            ServiceManager::notify(statusText(*current));
    });
    status.setChangeHandler([throttle] { throttle->changed(); });
    object->setReachableHandler([weak = status.weak_from_this()] {
        if (const auto current = weak.lock(); current && ServiceManager::isThere())
            ServiceManager::notify("READY=1\n" + statusText(*current));
    });
}

} // namespace Quenmark
