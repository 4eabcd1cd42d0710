#include "TopFileUploadXpcService/ServiceStatus.h"

#include <algorithm>
#include <chrono>

namespace Quenmark {

std::int64_t ServiceStatus::systemTime() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

ServiceStatus::ServiceStatus(bool isManaged, WallClock wallClock)
    : isManaged_(isManaged), wallClock_(std::move(wallClock)), startTime_(wallClock_()) {}

std::unique_ptr<EngineObserver> ServiceStatus::addEngine(const std::string& peer) {
    auto engine = std::make_unique<EngineStatus>(shared_from_this(), ++lastId_, peer);
    engines_.emplace(lastId_, engine.get());
    changed();
    return engine;
}

std::vector<EngineEntry> ServiceStatus::engines() const {
    std::vector<EngineEntry> entries;
    for (const auto& [id, engine] : engines_)
        entries.push_back(engine->entry());
    return entries;
}

void ServiceStatus::changed() const {
    if (changed_)
        changed_();
}

void ServiceStatus::remove(std::uint64_t id) {
    engines_.erase(id);
    changed();
}

void ServiceStatus::received(std::uint64_t bytes) {
    ++itemsReceived_;
    bytesReceived_ += bytes;
}

void ServiceStatus::keepFetched(const std::string& item, std::uint64_t bytes) {
    if (bytes == 0)
        return;
    fetched_.emplace_back(item, bytes);
    if (fetched_.size() > maxUnfinished)
        fetched_.pop_front();
}

std::uint64_t ServiceStatus::takeFetched(const std::string& item) {
    const auto found = std::ranges::find(fetched_, item, [](const auto& entry) { return entry.first; });
    if (found == fetched_.end())
        return 0;
    const auto bytes = found->second;
    fetched_.erase(found);
    return bytes;
}

} // namespace Quenmark
