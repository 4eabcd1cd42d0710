#pragma once

#include "Platform/Loop/Clock.h"
#include "TopFileUploadXpcService/AttemptEnd.h"

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

namespace Quenmark {

/// An attempt to get the next item. Everything that is still to happen in it holds it by a shared pointer, so that
/// its end never gets lost: where it is dropped without one, by an exception or a handler that is never called, it
/// has ended with a bad response.
class Attempt {
public:
    /// Receives each end, and whether it is the first one of this attempt.
    using Ended = std::function<void(const Attempt& attempt, const AttemptEnd& end, bool isFirst)>;

    /// The progress of the attempt.
    struct Progress {
        bool hasItem = false;
        /// The item that the poll offers, by its name on the wire, and when it did, on the loop's clock.
        std::string item = {};
        Platform::Duration offered{};
        /// How many bytes of it are on disk.
        std::uint64_t bytes = 0;
        /// The status of the stream's response; 0 before there is one.
        int httpStatus = 0;
    };

    /// `number` tells the attempts of an engine from each other.
    Attempt(std::uint64_t number, Ended ended) : number_(number), ended_(std::move(ended)) {}
    Attempt(const Attempt&) = delete;
    Attempt& operator=(const Attempt&) = delete;
    ~Attempt() {
        if (isOver_)
            return;
        try {
            ended_(*this, {AttemptEnd::Kind::BadResponse}, true);
        } catch (...) { // NOLINT(bugprone-empty-catch): no memory for the next timer, and nowhere to say so
        }
    }

    void end(const AttemptEnd& end) { ended_(*this, end, !std::exchange(isOver_, true)); }
    /// Ends the attempt without reporting it: nothing was sent.
    void dismiss() { isOver_ = true; }
    bool isOver() const { return isOver_; }
    std::uint64_t number() const { return number_; }
    const Progress& progress() const { return progress_; }
    Progress& progress() { return progress_; }

    /// Records why the item was not placed completely although it is acknowledged. Only the first cause is kept.
    void setPlacementError(const char* cause) {
        if (placementError_.empty())
            placementError_ = cause;
    }
    /// Empty if the item was placed.
    const std::string& placementError() const { return placementError_; }

private:
    std::uint64_t number_;
    Ended ended_;
    Progress progress_;
    std::string placementError_;
    bool isOver_ = false;
};

} // namespace Quenmark
