#pragma once

#include "Platform/Loop/Clock.h"
#include "Platform/Loop/Queue.h"

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <typeindex>

struct sd_event;

namespace Platform {

/// Calls its handler whenever the watched descriptor is ready, until it is destroyed. The descriptor is not
/// owned, and must outlive the watch.
class DescriptorWatch {
public:
    virtual ~DescriptorWatch() = default;
    /// Replaces the awaited events (EPOLLIN, EPOLLOUT; epoll_ctl(2)).
    virtual void setEvents(std::uint32_t events) = 0;
};

/// The loop that runs every queue's tasks, fires timers and watches descriptors, all on one thread: the one that
/// made it. A process has one at a time; the queues find it by `main()`.
class RunLoop {
public:
    /// A loop on the machine's monotonic clock.
    RunLoop();
    /// A loop whose queues and timers use `clock`; descriptors are watched in real time.
    explicit RunLoop(Clock& clock);
    /// Drops the tasks that have not run.
    ~RunLoop();
    RunLoop(const RunLoop&) = delete;
    RunLoop& operator=(const RunLoop&) = delete;

    /// The loop of this process. Throws std::logic_error when there is none.
    static RunLoop& main(); // NOLINT(bugprone-exception-escape): not a program's main
    /// Whether there is a loop in this process.
    static bool exists();
    /// Whether there is one and this thread is the one that it runs on.
    static bool isCurrentThread();

    /// The number of the turn that this thread is running: of all that runs between two waits for events. No two turns
    /// of a process have the same number. Nil while the loop is not running, and on other threads.
    static std::optional<std::uint64_t> currentTurn();

    /// Runs until `stop`, and returns its status; where `stop` was called before, that is at once.
    int run();
    /// Ends `run` after the task that is running, and nothing else.
    void stop(int status);

    /// One turn: what is ready runs; when nothing is, waits for it, at most `timeout` of real time. This and the next
    /// may be called from tasks too, but not from the handlers of descriptors.
    void runOnce(Duration timeout);
    /// Turns until `condition` holds, and says whether it did within `timeout` of real time. The condition is tested
    /// first, and after each turn.
    bool runUntil(const std::function<bool()>& condition, Duration timeout = std::chrono::seconds(20));

    /// For a program with a loop of its own: a descriptor that is readable (EPOLLIN) whenever there is work.
    int descriptor() const;
    /// For a program with a loop of its own: runs all that is ready, without waiting. To be called once at the start
    /// and whenever `descriptor()` is readable.
    void processPending();

    /// The time of the loop's clock.
    Duration now() const;
    /// The clock by which timers fire.
    const Clock& clock() const;
    /// Whether the loop is being destroyed, and drops its tasks.
    bool isEnding() const;

    /// Called with every std::exception that leaves a task or a descriptor's handler, after it was logged; empty by
    /// default. It must not throw. For programs that end over such an exception.
    void setExceptionHandler(std::function<void(const std::exception&)> handler);

    /// Calls `handler`, on the loop's thread and outside of any queue, with the events that are ready
    /// (level-triggered). Throws std::system_error where the descriptor cannot be watched.
    [[nodiscard]] std::unique_ptr<DescriptorWatch> watch(int descriptor, std::uint32_t events,
                                                         std::function<void(std::uint32_t)> handler);

    /// The platform's event loop, for libraries that attach to one (sd_bus_attach_event(3)).
    sd_event* event() const;

    /// The one object of type T that lives and ends with this loop, made on first use.
    template <class T>
    T& attachment() {
        auto& slot = attachmentSlot(typeid(T));
        if (!slot)
            slot = std::make_shared<T>(*this);
        return *static_cast<T*>(slot.get());
    }

private:
    friend class Queue;
    friend class Timer;
    struct State;
    class Turn;
    /// Whether tasks are left for later once `stop` was called.
    enum class StopRule { Heed, Ignore };

    std::shared_ptr<void>& attachmentSlot(std::type_index type);
    void add(const Queue& queue, Task task);
    std::shared_ptr<TimerEntry> addTimer(Duration delay, const Queue& queue, Task task);
    static void removeTimer(TimerEntry& entry);
    bool runReadyTasks(StopRule stopRule);
    void runTask(const Queue& queue, const Task& task);
    bool waitForEvents(Duration timeout);

    std::unique_ptr<State> state_;
};

} // namespace Platform
