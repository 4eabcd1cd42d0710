#pragma once

#include "TopFileUploadXpcService/AttemptEnd.h"

#include <functional>
#include <utility>

namespace Quenmark {

/// An attempt to get the next item. Everything that is still to happen in it holds it by a shared pointer, so that
/// its end never gets lost: where it is dropped without one, by an exception or a handler that is never called, it
/// has ended with a bad response.
class Attempt {
public:
    /// Receives each end, and whether it is the first one of this attempt.
    using Ended = std::function<void(const AttemptEnd& end, bool isFirst)>;

    explicit Attempt(Ended ended) : ended_(std::move(ended)) {}
    Attempt(const Attempt&) = delete;
    Attempt& operator=(const Attempt&) = delete;
    ~Attempt() {
        if (isOver_)
            return;
        try {
            ended_({AttemptEnd::Kind::BadResponse}, true);
        } catch (...) { // NOLINT(bugprone-empty-catch): no memory for the next timer, and nowhere to say so
        }
    }

    void end(const AttemptEnd& end) { ended_(end, !std::exchange(isOver_, true)); }
    /// It never began.
    void dismiss() { isOver_ = true; }
    bool isOver() const { return isOver_; }

private:
    Ended ended_;
    bool isOver_ = false;
};

} // namespace Quenmark
