#pragma once

#include "Platform/Error.h"

#include <functional>
#include <memory>
#include <optional>

namespace Platform {

class RunLoop;

/// Runs file work that may wait for a disk on a few threads of its own, so that the loop never does. It belongs to the
/// loop: where the loop ends, work that has not begun is dropped, and work that is running is waited for.
class Flusher {
public:
    /// What is to be done. It holds values alone: nothing of it is used by the loop's thread.
    using Work = std::function<std::optional<Error>()>;
    using Done = std::function<void(const std::optional<Error>& error)>;

    /// Runs `work` on one of the threads, and then `done`, with the error of `work` or nil, on the queue that is
    /// current now. Where there is no thread or no memory for the work, that is its error (EAGAIN, ENOMEM), and a
    /// failure to flush. To be called on the loop's thread.
    static void perform(Work work, Done done);

    explicit Flusher(RunLoop& loop);
    Flusher(const Flusher&) = delete;
    Flusher& operator=(const Flusher&) = delete;
    ~Flusher();

    /// At most so many threads work at once; further work waits.
    static constexpr int maxThreads = 4;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace Platform
