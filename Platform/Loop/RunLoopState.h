#pragma once

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Loop/RunLoop.h"

#include <systemd/sd-event.h>

#include <atomic>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

/// What the run loop's files share; for them alone.
namespace Platform {

using ExceptionHandler = std::function<void(const std::exception&)>;

/// The result of a call of sd-event(3); throws std::system_error where it failed.
inline int checked(int result, const char* what) {
    if (result < 0)
        throw std::system_error(-result, std::generic_category(), what);
    return result;
}

/// The time in whole microseconds, rounded up, so that no timer fires early.
inline std::uint64_t microseconds(Duration time) {
    const auto count = std::chrono::ceil<std::chrono::microseconds>(time).count();
    return count > 0 ? static_cast<std::uint64_t>(count) : 0;
}

struct TimerEntry {
    /// Deadline and number: timers that are due at the same time fire in the order in which they were made.
    using Key = std::pair<Duration, std::uint64_t>;

    Queue queue;
    Task task;
    RunLoop* loop;
    Key key;
    bool scheduled = true;
};

struct RunLoop::State {
    struct Ready {
        Queue queue;
        Task task;
        /// In place of a task: the timer that owns the task, since it may still be cancelled.
        std::shared_ptr<TimerEntry> timer;
    };
    struct CrossThreadTask {
        Queue queue;
        Task task;
        std::optional<Duration> deadline;
    };

    State();
    ~State();
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    SystemClock systemClock;
    const Clock* clock = &systemClock;
    bool realTime = true;

    sd_event* event = nullptr;
    sd_event_source* timerSource = nullptr;
    sd_event_source* wakeSource = nullptr;
    FileDescriptor wakeDescriptor;
    std::optional<Duration> armedDeadline;

    std::deque<Ready> ready;
    /// How many were ready at once since `releaseReady` last gave memory back.
    std::size_t peakReady = 0;
    std::map<TimerEntry::Key, std::shared_ptr<TimerEntry>> timers;
    std::uint64_t timersMade = 0;
    std::optional<Queue> current;
    bool running = false;
    std::uint64_t turn = 0;
    bool ending = false;
    std::optional<int> status;
    ExceptionHandler exceptionHandler;

    const std::thread::id thread = std::this_thread::get_id();
    std::mutex crossThreadLock;
    std::vector<CrossThreadTask> crossThreadTasks;
    std::atomic<bool> hasCrossThreadTasks = false;

    std::unordered_map<std::type_index, std::shared_ptr<void>> attachments;

    /// Gives the turn that begins a number that no other turn of the process has.
    void beginTurn();
    /// Ends the wait for events.
    void wake() const;
    /// Queues work from another thread.
    void addCrossThreadTask(CrossThreadTask item);
    /// Moves the work of other threads to the tasks and timers.
    void takeCrossThreadTasks(RunLoop& loop);
    void schedule(const std::shared_ptr<TimerEntry>& entry) { timers.emplace(entry->key, entry); }
    bool hasDueTimer() const { return !timers.empty() && timers.begin()->first.first <= clock->now(); }
    /// Makes the tasks of all timers that are due ready.
    void takeDueTimers();
    /// Shrinks the queue's table of blocks after many tasks have made it grow.
    void releaseReady();
    /// When the kernel is to wake the loop.
    std::optional<Duration> nextDeadline() const;
    void armTimer();
};

/// Marks the loop as running, so that new tasks need no wake-up. Turns may be nested; the end of the outermost one
/// makes the loop's descriptor readable if tasks are left or the next deadline has changed.
class RunLoop::Turn {
public:
    explicit Turn(State& state) : state_(state), outermost_(!std::exchange(state.running, true)) { state.beginTurn(); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() {
        if (!outermost_)
            return;
        state_.running = false;
        if (!state_.ready.empty() || state_.hasCrossThreadTasks || state_.nextDeadline() != state_.armedDeadline)
            state_.wake();
    }

private:
    State& state_;
    bool outermost_;
};

} // namespace Platform
