#pragma once

#include "TopFileUploadXpcService/EngineStatus.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Quenmark {

/// What the service and its engines are doing, derived from what the engines report. Used on the loop's thread. Held by
/// a shared pointer, since the observers of its engines use it for as long as they live.
class ServiceStatus : public std::enable_shared_from_this<ServiceStatus> {
public:
    /// Returns the time in microseconds since 1970-01-01 UTC.
    using WallClock = std::function<std::int64_t()>;
    static std::int64_t systemTime();

    explicit ServiceStatus(bool isManaged, WallClock wallClock = &ServiceStatus::systemTime);

    /// The observer of a new engine; its entry lasts as long as the observer.
    std::unique_ptr<EngineObserver> addEngine(const std::string& peer);
    /// Called whenever something other than an idle pass has happened.
    void setChangeHandler(std::function<void()> handler) { changed_ = std::move(handler); }

    bool isManaged() const { return isManaged_; }
    /// When the service was started.
    std::int64_t startTime() const { return startTime_; }
    /// Items that were placed and acknowledged since the start, files and folders; and those bytes of them that came
    /// over the network since then.
    std::uint64_t itemsReceived() const { return itemsReceived_; }
    std::uint64_t bytesReceived() const { return bytesReceived_; }
    /// As they are now, in the order in which they were made.
    std::vector<EngineEntry> engines() const;

    /// Of how many unfinished items the fetched bytes are remembered.
    static constexpr std::size_t maxUnfinished = 100;

private:
    friend class EngineStatus;

    std::int64_t time() const { return wallClock_(); }
    void changed() const;
    void remove(std::uint64_t id);
    /// One more item is in place and acknowledged.
    void received(std::uint64_t bytes);
    /// Remembers how many bytes of an unfinished item were fetched, and forgets the oldest one beyond `maxUnfinished`.
    void keepFetched(const std::string& item, std::uint64_t bytes);
    /// How many bytes of that item were fetched, which is forgotten.
    std::uint64_t takeFetched(const std::string& item);

    const bool isManaged_;
    const WallClock wallClock_;
    const std::int64_t startTime_;
    std::function<void()> changed_;
    std::uint64_t itemsReceived_ = 0;
    std::uint64_t bytesReceived_ = 0;
    std::uint64_t lastId_ = 0;
    /// By their numbers. The engines own them.
    std::map<std::uint64_t, const EngineStatus*> engines_;
    std::deque<std::pair<std::string, std::uint64_t>> fetched_;
};

} // namespace Quenmark
