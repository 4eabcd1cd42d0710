#include "Tools/Status/TransferRates.h"

#include <algorithm>
#include <utility>

namespace Tools {

namespace {

constexpr auto window = std::chrono::seconds(5);
/// Pieces come in bursts, so that a shorter time tells nothing.
constexpr auto shortestTime = std::chrono::milliseconds(500);
/// What the service says may be any number.
constexpr double highestRate = 1e18;

} // namespace

void TransferRates::add(const ServiceStatus& status, Platform::Duration now) {
    std::map<std::uint64_t, Download> downloads;
    for (const auto& engine : status.engines) {
        if (engine.state != "downloading")
            continue;
        auto download = std::move(downloads_[engine.id]);
        auto& samples = download.samples;
        if (download.item != engine.item || (!samples.empty() && samples.back().bytes > engine.bytes))
            samples.clear();
        download.item = engine.item;
        samples.push_back({now, engine.bytes});
        while (now - samples.front().time > window)
            samples.pop_front();
        downloads[engine.id] = std::move(download);
    }
    downloads_ = std::move(downloads);
}

std::optional<std::uint64_t> TransferRates::bytesPerSecond(const EngineStatus& engine) const {
    const auto download = downloads_.find(engine.id);
    if (download == downloads_.end())
        return std::nullopt;
    const auto& first = download->second.samples.front();
    const auto& last = download->second.samples.back();
    if (last.time - first.time < shortestTime)
        return std::nullopt;
    const auto seconds = std::chrono::duration<double>(last.time - first.time).count();
    return static_cast<std::uint64_t>(std::min(static_cast<double>(last.bytes - first.bytes) / seconds, highestRate));
}

std::optional<std::uint64_t> TransferRates::secondsLeft(const EngineStatus& engine) const {
    const auto rate = bytesPerSecond(engine);
    if (!rate || *rate == 0 || !engine.total || *engine.total <= engine.bytes)
        return std::nullopt;
    const std::uint64_t left = *engine.total - engine.bytes;
    return left / *rate + (left % *rate == 0 ? 0 : 1);
}

} // namespace Tools
