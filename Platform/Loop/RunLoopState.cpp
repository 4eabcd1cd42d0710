#include "Platform/Loop/RunLoopState.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>

namespace Platform {

namespace {

/// How late the kernel may fire a timer, in microseconds.
constexpr std::uint64_t timerAccuracy = 1000;

int timerFired(sd_event_source*, std::uint64_t, void* data) {
    static_cast<std::optional<Duration>*>(data)->reset();
    return 0;
}

int woken(sd_event_source*, int descriptor, std::uint32_t, void*) {
    std::uint64_t count = 0;
    [[maybe_unused]] const auto got = ::read(descriptor, &count, sizeof count);
    return 0;
}

} // namespace

RunLoop::State::State() : wakeDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!wakeDescriptor)
        throw std::system_error(errno, std::generic_category(), "eventfd");
    checked(sd_event_new(&event), "sd_event_new");
    checked(sd_event_add_io(event, &wakeSource, wakeDescriptor.get(), EPOLLIN, woken, nullptr), "sd_event_add_io");
    checked(sd_event_add_time(event, &timerSource, CLOCK_MONOTONIC, 0, timerAccuracy, timerFired, &armedDeadline),
            "sd_event_add_time");
    checked(sd_event_source_set_enabled(timerSource, SD_EVENT_OFF), "sd_event_source_set_enabled");
}

RunLoop::State::~State() {
    sd_event_source_disable_unref(timerSource);
    sd_event_source_disable_unref(wakeSource);
    sd_event_unref(event);
}

void RunLoop::State::beginTurn() {
    static std::atomic<std::uint64_t> turns = 0;
    turn = ++turns;
}

void RunLoop::State::wake() const {
    const std::uint64_t one = 1;
    // A full counter means that the loop is about to wake anyway.
    [[maybe_unused]] const auto written = ::write(wakeDescriptor.get(), &one, sizeof one);
}

void RunLoop::State::addCrossThreadTask(CrossThreadTask item) {
    const std::lock_guard guard(crossThreadLock);
    crossThreadTasks.push_back(std::move(item));
    if (!hasCrossThreadTasks.exchange(true))
        wake();
}

void RunLoop::State::takeCrossThreadTasks(RunLoop& loop) {
    if (!hasCrossThreadTasks.exchange(false))
        return;
    std::vector<CrossThreadTask> taken;
    {
        const std::lock_guard guard(crossThreadLock);
        taken.swap(crossThreadTasks);
    }
    for (auto& item : taken) {
        if (item.deadline)
            schedule(std::make_shared<TimerEntry>(
                TimerEntry{std::move(item.queue), std::move(item.task), &loop, {*item.deadline, timersMade++}}));
        else
            ready.push_back({std::move(item.queue), std::move(item.task), nullptr});
    }
}

void RunLoop::State::takeDueTimers() {
    while (hasDueTimer()) {
        auto entry = std::move(timers.begin()->second);
        timers.erase(timers.begin());
        const Queue queue = entry->queue;
        ready.push_back({queue, nullptr, std::move(entry)});
    }
}

void RunLoop::State::releaseReady() {
    constexpr std::size_t many = 4096;
    if (ready.empty() && std::exchange(peakReady, 0) > many)
        std::deque<Ready>().swap(ready);
}

std::optional<Duration> RunLoop::State::nextDeadline() const {
    if (timers.empty())
        return std::nullopt;
    const Duration first = timers.begin()->first.first;
    // Where a test moves the time, the one thing to know is whether the first timer is due.
    if (!realTime)
        return hasDueTimer() ? std::optional(Duration::zero()) : std::nullopt;
    return first;
}

void RunLoop::State::armTimer() {
    const auto deadline = nextDeadline();
    if (deadline == armedDeadline)
        return;
    armedDeadline = deadline;
    if (deadline)
        checked(sd_event_source_set_time(timerSource, microseconds(*deadline)), "sd_event_source_set_time");
    checked(sd_event_source_set_enabled(timerSource, deadline ? SD_EVENT_ONESHOT : SD_EVENT_OFF),
            "sd_event_source_set_enabled");
}

} // namespace Platform
