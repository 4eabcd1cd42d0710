#include "Tools/Status/WatchEvents.h"

#include <algorithm>
#include <utility>

namespace Tools {

namespace {

const EngineStatus* find(const std::optional<ServiceStatus>& status, std::uint64_t id) {
    if (!status)
        return nullptr;
    const auto found = std::ranges::find(status->engines, id, &EngineStatus::id);
    return found == status->engines.end() ? nullptr : &*found;
}

std::uint64_t lostSince(const EngineStatus* before, const EngineStatus& engine) {
    const std::uint64_t known = before != nullptr ? before->itemsLost.value_or(0) : UINT64_MAX;
    return engine.itemsLost.value_or(0) - std::min(known, engine.itemsLost.value_or(0));
}

boost::json::object event(const char* name, const EngineStatus& engine) {
    return {{"event", name}, {"engine", engine.id}};
}

template <class Value>
void addIfKnown(boost::json::object& object, const char* name, const std::optional<Value>& value) {
    if (value)
        object.emplace(name, *value);
}

boost::json::object stateEvent(const EngineStatus& engine) {
    auto object = event("state", engine);
    object.emplace("state", engine.state);
    if (!engine.reason.empty())
        object.emplace("reason", engine.reason);
    if (!engine.item.empty())
        object.emplace("item", engine.item);
    return object;
}

boost::json::object progressEvent(const EngineStatus& engine, const TransferRates& rates) {
    auto object = event("progress", engine);
    object.emplace("item", engine.item);
    object.emplace("bytes", engine.bytes);
    addIfKnown(object, "total", engine.total);
    addIfKnown(object, "bytesPerSecond", rates.bytesPerSecond(engine));
    addIfKnown(object, "secondsLeft", rates.secondsLeft(engine));
    return object;
}

boost::json::object lossEvent(const EngineStatus& engine, std::uint64_t items) {
    auto object = event("lost", engine);
    addIfKnown(object, "item", engine.lastLostItem);
    addIfKnown(object, "reason", engine.lastLostReason);
    object.emplace("items", items);
    return object;
}

} // namespace

std::vector<boost::json::object> eventsSince(const std::optional<ServiceStatus>& before, const StatusReading& reading) {
    std::vector<boost::json::object> events;
    if (!reading.status)
        return events;
    for (const auto& engine : reading.status->engines) {
        const auto* earlier = find(before, engine.id);
        if (const auto lost = lostSince(earlier, engine))
            events.push_back(lossEvent(engine, lost));
        if (earlier == nullptr || earlier->state != engine.state || earlier->reason != engine.reason)
            events.push_back(stateEvent(engine));
        const auto place = [](const EngineStatus& e) { return std::tie(e.item, e.bytes, e.total); };
        if (engine.state == "downloading" && (earlier == nullptr || place(*earlier) != place(engine)))
            events.push_back(progressEvent(engine, reading.rates));
    }
    return events;
}

std::vector<EngineStatus> enginesThatLost(const std::optional<ServiceStatus>& before, const StatusReading& reading) {
    std::vector<EngineStatus> engines;
    if (reading.status)
        std::ranges::copy_if(reading.status->engines, std::back_inserter(engines), [&](const EngineStatus& engine) {
            return lostSince(find(before, engine.id), engine) > 0;
        });
    return engines;
}

} // namespace Tools
