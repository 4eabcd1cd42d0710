#pragma once

#include "Platform/Loop/Clock.h"
#include "TopFileUploadXpcService/EngineObserver.h"
#include "TopFileUploadXpcService/EngineState.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Quenmark {

class ServiceStatus;

/// What an engine is doing and has done, for people and programs that look on. Times are microseconds since 1970-01-01
/// UTC.
struct EngineEntry {
    /// 1, 2, ... in the order in which the engines were made.
    std::uint64_t id = 0;
    /// The bus name of the connection that the engine belongs to; "" in managed mode.
    std::string peer = {};
    EngineState state = EngineState::Created;
    /// Why it is in that state, in the words of `reasonOf`; "" where there is nothing to say.
    std::string reason = {};
    /// When that state began. An idle poll changes neither state nor time.
    std::int64_t since = 0;
    /// The current item, by its name on the wire; "" where there is none. A name longer than
    /// `EngineStatus::longestName` is cut.
    std::string item = {};
    /// How many bytes of it are on disk, those of earlier attempts included, and how many it has; nil while unknown.
    std::uint64_t bytes = 0;
    std::optional<std::uint64_t> total = std::nullopt;
    std::uint64_t passes = 0;
    /// Nil before the first one.
    std::optional<std::int64_t> lastResponse = std::nullopt;
    /// The last item that was placed and acknowledged; nil before the first one.
    std::optional<std::string> lastItem = std::nullopt;
    std::int64_t lastItemTime = 0;
    /// Items that were acknowledged and are not in place, which happens in compatible mode alone.
    std::uint64_t itemsLost = 0;
    std::string lastLostItem = {};
    std::string lastLostReason = {};

    bool operator==(const EngineEntry&) const = default;
};

/// Derives the state of one engine from what happens in it. Destroying it removes the engine from the service's status.
class EngineStatus final : public EngineObserver {
public:
    EngineStatus(std::shared_ptr<ServiceStatus> service, std::uint64_t id, std::string peer);
    ~EngineStatus() override;
    EngineStatus(const EngineStatus&) = delete;
    EngineStatus& operator=(const EngineStatus&) = delete;

    /// As it is now.
    EngineEntry entry() const;

    void started() override;
    void passed() override { ++entry_.passes; }
    void foundGateClosed() override;
    void pollSent(AttemptNumber number) override;
    void responded() override;
    void offered(AttemptNumber number, const std::string& item) override;
    void downloadBegan(AttemptNumber number, std::uint64_t offset) override;
    void foundComplete(AttemptNumber number, std::uint64_t size) override;
    void totalKnown(AttemptNumber number, std::uint64_t total) override;
    void wrote(AttemptNumber number, std::uint64_t bytes) override;
    void flushing(AttemptNumber number) override { enter(number, EngineState::Flushing); }
    void acknowledging(AttemptNumber number) override { enter(number, EngineState::Acknowledging); }
    void ended(AttemptNumber number, const AttemptEnd& end, bool isFirst, bool isGateOpen) override;

    /// A poll that has been pending for this time is worth a state of its own.
    static constexpr std::chrono::seconds pollPatience{1};
    /// How many bytes of an item's name are kept: more than any file's path has (PATH_MAX).
    static constexpr std::size_t longestName = 4096;

private:
    /// An attempt that is in flight.
    struct Attempt {
        AttemptNumber number = 0;
        Platform::Duration sent{};
        std::int64_t sentTime = 0;
        /// `Polling`, and from its item's first step on that step.
        EngineState step = EngineState::Polling;
        bool hasItem = false;
        std::string item = {};
        std::uint64_t bytes = 0;
        std::optional<std::uint64_t> total = std::nullopt;
        /// How many of the bytes on disk came over the network in this process.
        std::uint64_t fetched = 0;
    };
    /// What others see of the engine's state.
    struct Shown {
        EngineState state = EngineState::Created;
        std::string reason = {};
        std::string item = {};
        std::uint64_t bytes = 0;
        std::optional<std::uint64_t> total = std::nullopt;

        bool operator==(const Shown&) const = default;
    };

    /// Runs `step`, and tells the service where that changes what is shown.
    template <class Step>
    void change(const Step& step);
    Shown shown() const;
    /// The poll that has been pending for so long that it is a state of its own; nullptr where there is none.
    const Attempt* slowPoll() const;
    /// The attempt of that number; nullptr where it is not in flight.
    Attempt* find(AttemptNumber number);
    void enter(AttemptNumber number, EngineState step);
    /// What is shown once an attempt has ended and nothing else is in flight.
    Shown restAfter(const Attempt& attempt, const AttemptEnd& end, bool isGateOpen);
    Shown restAfterFailure(const Attempt& attempt, const AttemptEnd& end, bool isGateOpen) const;
    void arrived(const Attempt& attempt, const std::string& placementError);

    const std::shared_ptr<ServiceStatus> service_;
    /// Without what `shown` says.
    EngineEntry entry_;
    /// In the order in which they began.
    std::vector<Attempt> attempts_;
    /// What is shown while nothing is in flight.
    Shown rest_;
    /// The failure that ended the last download, until an item succeeds.
    std::string downloadFailure_;
    /// What closed the gate last.
    std::string stall_;
};

} // namespace Quenmark
