#include "Platform/RunLoop.h"

#include "Platform/Log.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <unordered_map>
#include <utility>
#include <vector>

#include <systemd/sd-event.h>

namespace Platform {

namespace {

/// Tasks that run before descriptors are looked at again, so that a queue that feeds itself cannot starve them.
constexpr int tasksPerTurn = 256;
/// How late the kernel may fire a timer, in microseconds.
constexpr std::uint64_t timerAccuracy = 1000;

int checked(int result, const char* what) {
    if (result < 0)
        throw std::system_error(-result, std::generic_category(), what);
    return result;
}

std::uint64_t microseconds(Duration time) {
    const auto count = std::chrono::ceil<std::chrono::microseconds>(time).count();
    return count > 0 ? static_cast<std::uint64_t>(count) : 0;
}

std::atomic<RunLoop*> theLoop = nullptr;

} // namespace

struct TimerEntry {
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
    };
    struct Handed {
        Queue queue;
        Task task;
        std::optional<Duration> deadline;
    };

    SystemClock systemClock;
    const Clock* clock = &systemClock;
    bool realTime = true;

    sd_event* event = nullptr;
    sd_event_source* timerSource = nullptr;
    sd_event_source* wakeSource = nullptr;
    int wakeDescriptor = -1;
    std::optional<Duration> armedDeadline;

    std::deque<Ready> ready;
    std::map<TimerEntry::Key, std::shared_ptr<TimerEntry>> timers;
    std::uint64_t timersMade = 0;
    std::optional<Queue> current;
    bool running = false;
    bool ending = false;
    std::optional<int> status;

    const std::thread::id thread = std::this_thread::get_id();
    std::mutex handedLock;
    std::vector<Handed> handed;
    std::atomic<bool> anyHanded = false;

    std::unordered_map<std::type_index, std::shared_ptr<void>> attachments;

    void wake() const {
        const std::uint64_t one = 1;
        // A full counter means that the loop is about to wake anyway.
        [[maybe_unused]] const auto written = ::write(wakeDescriptor, &one, sizeof one);
    }

    void schedule(const std::shared_ptr<TimerEntry>& entry) { timers.emplace(entry->key, entry); }

    void takeHanded(RunLoop& loop) {
        if (!anyHanded.exchange(false))
            return;
        std::vector<Handed> taken;
        {
            const std::lock_guard guard(handedLock);
            taken.swap(handed);
        }
        for (auto& item : taken) {
            if (item.deadline)
                schedule(std::make_shared<TimerEntry>(TimerEntry{
                    std::move(item.queue), std::move(item.task), &loop, {*item.deadline, timersMade++}}));
            else
                ready.push_back({std::move(item.queue), std::move(item.task)});
        }
    }

    void takeDueTimers() {
        while (!timers.empty() && timers.begin()->first.first <= clock->now()) {
            const auto entry = std::move(timers.begin()->second);
            timers.erase(timers.begin());
            entry->scheduled = false;
            ready.push_back({entry->queue, std::move(entry->task)});
        }
    }

    void armTimer() {
        if (!realTime)
            return;
        const std::optional<Duration> deadline =
            timers.empty() ? std::nullopt : std::optional(timers.begin()->first.first);
        if (deadline == armedDeadline)
            return;
        armedDeadline = deadline;
        if (deadline)
            checked(sd_event_source_set_time(timerSource, microseconds(*deadline)), "sd_event_source_set_time");
        checked(sd_event_source_set_enabled(timerSource, deadline ? SD_EVENT_ONESHOT : SD_EVENT_OFF),
                "sd_event_source_set_enabled");
    }
};

namespace {

int timerFired(sd_event_source*, std::uint64_t, void* data) {
    static_cast<std::optional<Duration>*>(data)->reset();
    return 0;
}

int woken(sd_event_source*, int descriptor, std::uint32_t, void*) {
    std::uint64_t count = 0;
    [[maybe_unused]] const auto got = ::read(descriptor, &count, sizeof count);
    return 0;
}

void logException(const char* where, const char* what) {
    Log::write(std::string("Uncaught exception on ") + where + ": " + what);
}

template <class Function>
void guarded(const char* where, const Function& function) {
    try {
        function();
    } catch (const std::exception& exception) {
        logException(where, exception.what());
    } catch (...) {
        logException(where, "not a std::exception");
    }
}

class Watch final : public DescriptorWatch {
public:
    Watch(sd_event* event, int descriptor, std::uint32_t events, std::function<void(std::uint32_t)> handler)
        : handler_(std::make_shared<std::function<void(std::uint32_t)>>(std::move(handler))) {
        checked(sd_event_add_io(event, &source_, descriptor, events, &Watch::ready, this), "sd_event_add_io");
    }
    ~Watch() override { sd_event_source_disable_unref(source_); }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    void setEvents(std::uint32_t events) override {
        checked(sd_event_source_set_io_events(source_, events), "sd_event_source_set_io_events");
    }

private:
    static int ready(sd_event_source*, int, std::uint32_t events, void* data) {
        // The handler may end the watch, and with it the function that is running.
        const auto handler = static_cast<Watch*>(data)->handler_;
        guarded("a descriptor", [&] { (*handler)(events); });
        return 0;
    }

    sd_event_source* source_ = nullptr;
    std::shared_ptr<std::function<void(std::uint32_t)>> handler_;
};

} // namespace

RunLoop::RunLoop() : state_(std::make_unique<State>()) {
    RunLoop* none = nullptr;
    if (!theLoop.compare_exchange_strong(none, this))
        throw std::logic_error("this process has a run loop already");
    checked(sd_event_new(&state_->event), "sd_event_new");
    state_->wakeDescriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (state_->wakeDescriptor < 0)
        throw std::system_error(errno, std::generic_category(), "eventfd");
    checked(sd_event_add_io(state_->event, &state_->wakeSource, state_->wakeDescriptor, EPOLLIN, woken, nullptr),
            "sd_event_add_io");
    checked(sd_event_add_time(state_->event, &state_->timerSource, CLOCK_MONOTONIC, 0, timerAccuracy, timerFired,
                              &state_->armedDeadline),
            "sd_event_add_time");
    checked(sd_event_source_set_enabled(state_->timerSource, SD_EVENT_OFF), "sd_event_source_set_enabled");
}

RunLoop::RunLoop(Clock& clock) : RunLoop() {
    state_->clock = &clock;
    state_->realTime = false;
}

RunLoop::~RunLoop() {
    state_->ending = true;
    // What is dropped may add more while it goes.
    while (!state_->attachments.empty() || !state_->ready.empty() || !state_->timers.empty()) {
        const auto attachments = std::move(state_->attachments);
        state_->attachments.clear();
        const auto ready = std::exchange(state_->ready, {});
        const auto timers = std::exchange(state_->timers, {});
        for (const auto& [key, entry] : timers)
            entry->scheduled = false;
    }
    {
        const std::lock_guard guard(state_->handedLock);
        state_->handed.clear();
    }
    sd_event_source_disable_unref(state_->timerSource);
    sd_event_source_disable_unref(state_->wakeSource);
    sd_event_unref(state_->event);
    ::close(state_->wakeDescriptor);
    theLoop = nullptr;
}

RunLoop& RunLoop::main() {
    RunLoop* loop = theLoop;
    if (loop == nullptr)
        throw std::logic_error("this process has no run loop");
    return *loop;
}

bool RunLoop::exists() { return theLoop != nullptr; }

int RunLoop::run() {
    state_->status.reset();
    while (!state_->status)
        runOnce(Duration::max());
    return *state_->status;
}

void RunLoop::stop(int status) { state_->status = status; }

bool RunLoop::runUntil(const std::function<bool()>& condition, Duration limit) {
    const auto end = state_->systemClock.now() + limit;
    while (!condition()) {
        const auto left = end - state_->systemClock.now();
        if (left <= Duration::zero())
            return false;
        runOnce(left);
    }
    return true;
}

void RunLoop::runOnce(Duration limit) {
    const bool outermost = !std::exchange(state_->running, true);
    const bool more = runReadyTasks();
    waitForEvents(more || state_->status ? Duration::zero() : limit);
    if (outermost)
        state_->running = false;
}

int RunLoop::descriptor() const { return sd_event_get_fd(state_->event); }

void RunLoop::processPending() {
    const bool outermost = !std::exchange(state_->running, true);
    bool dispatched = true;
    for (int turn = 0; turn < tasksPerTurn && (dispatched || !state_->ready.empty()); ++turn) {
        runReadyTasks();
        // The turn that dispatches nothing leaves the timer armed, so that the descriptor tells of what comes next.
        dispatched = waitForEvents(Duration::zero());
    }
    if (!outermost)
        return;
    state_->running = false;
    if (dispatched || !state_->ready.empty())
        state_->wake();
}

Duration RunLoop::now() const { return state_->clock->now(); }

const Clock& RunLoop::clock() const { return *state_->clock; }

std::unique_ptr<DescriptorWatch> RunLoop::watch(int descriptor, std::uint32_t events,
                                                std::function<void(std::uint32_t)> handler) {
    return std::make_unique<Watch>(state_->event, descriptor, events, std::move(handler));
}

sd_event* RunLoop::event() const { return state_->event; }

std::shared_ptr<void>& RunLoop::attachmentSlot(std::type_index type) { return state_->attachments[type]; }

void RunLoop::add(const Queue& queue, Task task) {
    if (std::this_thread::get_id() != state_->thread) {
        const std::lock_guard guard(state_->handedLock);
        state_->handed.push_back({queue, std::move(task), std::nullopt});
        state_->anyHanded = true;
        state_->wake();
        return;
    }
    if (state_->ending)
        return;
    state_->ready.push_back({queue, std::move(task)});
    if (!state_->running)
        state_->wake();
}

std::shared_ptr<TimerEntry> RunLoop::addTimer(Duration delay, const Queue& queue, Task task) {
    const Duration now = state_->clock->now();
    const Duration deadline = delay > Duration::max() - now ? Duration::max() : now + std::max(delay, Duration::zero());
    if (std::this_thread::get_id() != state_->thread) {
        const std::lock_guard guard(state_->handedLock);
        state_->handed.push_back({queue, std::move(task), deadline});
        state_->anyHanded = true;
        state_->wake();
        return nullptr;
    }
    auto entry = std::make_shared<TimerEntry>(
        TimerEntry{queue, std::move(task), this, {deadline, state_->timersMade++}, !state_->ending});
    if (state_->ending)
        return entry;
    state_->schedule(entry);
    if (!state_->running)
        state_->wake();
    return entry;
}

void RunLoop::removeTimer(TimerEntry& entry) {
    if (!std::exchange(entry.scheduled, false))
        return;
    // The map lets the entry go; whoever cancels still holds it.
    entry.loop->state_->timers.erase(entry.key);
    entry.task = nullptr;
}

bool RunLoop::runReadyTasks() {
    state_->takeHanded(*this);
    state_->takeDueTimers();
    for (int count = 0; count < tasksPerTurn && !state_->ready.empty() && !state_->status; ++count) {
        auto next = std::move(state_->ready.front());
        state_->ready.pop_front();
        runTask(next.queue, next.task);
    }
    return !state_->ready.empty();
}

void RunLoop::runTask(const Queue& queue, const Task& task) {
    const auto outer = std::exchange(state_->current, queue);
    guarded(queue.label().c_str(), task);
    state_->current = outer;
}

bool RunLoop::waitForEvents(Duration limit) {
    state_->armTimer();
    const std::uint64_t wait = limit == Duration::max() ? UINT64_MAX : microseconds(limit);
    return checked(sd_event_run(state_->event, wait), "sd_event_run") > 0;
}

Queue Queue::current() {
    if (!RunLoop::exists())
        return main();
    const auto& current = RunLoop::main().state_->current;
    return current ? *current : main();
}

Timer::Timer(std::shared_ptr<TimerEntry> entry) : entry_(std::move(entry)) {}
Timer::Timer(Timer&&) noexcept = default;

Timer& Timer::operator=(Timer&& other) noexcept {
    if (this != &other) {
        cancel();
        entry_ = std::move(other.entry_);
    }
    return *this;
}

Timer::~Timer() { cancel(); }

void Timer::cancel() {
    if (entry_)
        RunLoop::removeTimer(*entry_);
    entry_.reset();
}

bool Timer::isScheduled() const { return entry_ && entry_->scheduled; }

Timer Queue::timer(Duration delay, Task task) const {
    return Timer(RunLoop::main().addTimer(delay, *this, std::move(task)));
}

} // namespace Platform
