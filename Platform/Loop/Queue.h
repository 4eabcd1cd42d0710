#pragma once

#include "Platform/Loop/Clock.h"

#include <functional>
#include <memory>
#include <string>

namespace Platform {

/// What a queue runs.
using Task = std::function<void()>;

/// The priority of a global queue. One loop runs every queue, so the priority names a queue and orders nothing.
enum class Priority { Default, Background };

struct TimerEntry;

/// A task that runs once on its queue when its time has come. Destroying it, or `cancel`, before then keeps the task
/// from running; it is used on the loop's thread alone.
class Timer {
public:
    /// No task.
    Timer() = default;
    /// Takes the task over; the other one has none then.
    Timer(Timer&&) noexcept;
    /// Cancels its own task, and takes the other one's over.
    Timer& operator=(Timer&&) noexcept;
    ~Timer();

    /// Drops the task, unless it has begun.
    void cancel();
    /// Whether the task is still to run.
    bool isScheduled() const;

private:
    friend class Queue;
    explicit Timer(std::shared_ptr<TimerEntry> entry);
    std::shared_ptr<TimerEntry> entry_;
};

/// A logical queue: a name for the order in which tasks run. All queues are run by the thread of `RunLoop::main()`,
/// tasks of one queue in the order in which they were added, one at a time. A queue is a value; copies name the same
/// queue, and it needs no owner: its pending tasks belong to the loop.
class Queue {
public:
    /// The queue of the program's main work.
    static Queue main();
    /// A queue that the whole process shares; `Priority::Background` is the one for work that nothing waits for.
    static Queue global(Priority priority);
    /// A new queue, different from every other whatever its label.
    static Queue serial(std::string label);
    /// The queue whose task is running; the main queue when none is.
    static Queue current();

    /// What the queue is called; queues may have the same label.
    const std::string& label() const;

    /// Runs `task` later, never before this returns. May be called from any thread.
    void async(Task task) const;
    /// Runs `task` on this queue once `delay` has passed. May be called from any thread.
    void after(Duration delay, Task task) const;
    /// As `after`, for work that may be cancelled. On the loop's thread alone.
    [[nodiscard]] Timer timer(Duration delay, Task task) const;

    bool operator==(const Queue&) const = default;

private:
    friend class RunLoop;
    explicit Queue(std::shared_ptr<const std::string> label) : label_(std::move(label)) {}
    std::shared_ptr<const std::string> label_;
};

} // namespace Platform
