#include "Platform/Loop/RunLoop.h"

#include "Platform/Log.h"
#include "Platform/Loop/RunLoopState.h"

#include <algorithm>
#include <stdexcept>

namespace Platform {

namespace {

/// How many tasks run before descriptors are polled again, so that a queue that keeps adding tasks cannot starve them.
constexpr int tasksPerTurn = 256;

std::atomic<RunLoop*> theLoop = nullptr;

/// Never throws: what the loop's guard lets out would end the process.
void logException(const char* where, const char* what) noexcept {
    try {
        Log::write(std::string("Uncaught exception on ") + where + ": " + what, Log::Priority::Error);
    } catch (...) { // NOLINT(bugprone-empty-catch): there is no memory to say so
    }
}

template <class Function>
void guarded(const char* where, const ExceptionHandler& handler, const Function& function) {
    try {
        function();
    } catch (const std::exception& exception) {
        logException(where, exception.what());
        if (handler)
            handler(exception);
    } catch (...) {
        logException(where, "not a std::exception");
    }
}

/// Keeps a timer from firing, and drops its task.
void retire(TimerEntry& entry) {
    entry.scheduled = false;
    entry.task = nullptr;
}

class Watch final : public DescriptorWatch {
public:
    Watch(sd_event* event, const ExceptionHandler& exceptionHandler, int descriptor, std::uint32_t events,
          std::function<void(std::uint32_t)> handler)
        : exceptionHandler_(exceptionHandler),
          handler_(std::make_shared<std::function<void(std::uint32_t)>>(std::move(handler))) {
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
        const auto& exceptionHandler = static_cast<Watch*>(data)->exceptionHandler_;
        guarded("a descriptor", exceptionHandler, [&] { (*handler)(events); });
        return 0;
    }

    sd_event_source* source_ = nullptr;
    const ExceptionHandler& exceptionHandler_;
    std::shared_ptr<std::function<void(std::uint32_t)>> handler_;
};

} // namespace

RunLoop::RunLoop() : state_(std::make_unique<State>()) {
    RunLoop* none = nullptr;
    if (!theLoop.compare_exchange_strong(none, this))
        throw std::logic_error("this process has a run loop already");
}

RunLoop::RunLoop(Clock& clock) : RunLoop() {
    state_->clock = &clock;
    state_->realTime = false;
}

RunLoop::~RunLoop() {
    state_->ending = true;
    // Destructors of what is dropped may create attachments.
    while (!state_->attachments.empty() || !state_->ready.empty() || !state_->timers.empty()) {
        const auto attachments = std::exchange(state_->attachments, {});
        const auto timers = std::exchange(state_->timers, {});
        // Owners keep their timers; the captured state is released.
        for (const auto& [key, entry] : timers)
            retire(*entry);
        // One by one: std::exchange would allocate, which may fail here.
        while (!state_->ready.empty()) {
            const auto item = std::move(state_->ready.front());
            state_->ready.pop_front();
            if (item.timer)
                retire(*item.timer);
        }
    }
    std::vector<State::CrossThreadTask> crossThreadTasks;
    {
        const std::lock_guard guard(state_->crossThreadLock);
        crossThreadTasks.swap(state_->crossThreadTasks);
    }
    crossThreadTasks.clear();
    theLoop = nullptr;
}

RunLoop& RunLoop::main() { // NOLINT(bugprone-exception-escape): not a program's main
    RunLoop* loop = theLoop;
    if (loop == nullptr)
        throw std::logic_error("this process has no run loop");
    return *loop;
}

bool RunLoop::exists() {
    return theLoop != nullptr;
}

bool RunLoop::isCurrentThread() {
    const RunLoop* loop = theLoop;
    return loop != nullptr && loop->state_->thread == std::this_thread::get_id();
}

std::optional<std::uint64_t> RunLoop::currentTurn() {
    if (!isCurrentThread() || !main().state_->running)
        return std::nullopt;
    return main().state_->turn;
}

int RunLoop::run() {
    const Turn turn(*state_);
    while (!state_->status) {
        runReadyTasks(StopRule::Heed);
        if (!state_->status)
            waitForEvents(state_->ready.empty() ? Duration::max() : Duration::zero());
    }
    return *std::exchange(state_->status, std::nullopt);
}

void RunLoop::stop(int status) {
    state_->status = status;
}

bool RunLoop::runUntil(const std::function<bool()>& condition, Duration timeout) {
    const Turn turn(*state_);
    const Duration start = state_->systemClock.now();
    while (!condition()) {
        if (runReadyTasks(StopRule::Ignore) && condition())
            return true;
        const Duration passed = state_->systemClock.now() - start;
        if (passed >= timeout)
            return false;
        waitForEvents(state_->ready.empty() ? timeout - passed : Duration::zero());
    }
    return true;
}

void RunLoop::runOnce(Duration timeout) {
    const Turn turn(*state_);
    const bool ran = runReadyTasks(StopRule::Ignore);
    waitForEvents(ran ? Duration::zero() : timeout);
}

int RunLoop::descriptor() const {
    return sd_event_get_fd(state_->event);
}

void RunLoop::processPending() {
    const Turn turn(*state_);
    bool dispatched = true;
    for (int count = 0; count < tasksPerTurn && (dispatched || !state_->ready.empty()); ++count) {
        runReadyTasks(StopRule::Ignore);
        // The pass that dispatches nothing leaves the timer armed, so that the descriptor becomes readable in time.
        dispatched = waitForEvents(Duration::zero());
    }
    if (dispatched)
        state_->wake();
}

Duration RunLoop::now() const {
    return state_->clock->now();
}

const Clock& RunLoop::clock() const {
    return *state_->clock;
}

bool RunLoop::isEnding() const {
    return state_->ending;
}

std::unique_ptr<DescriptorWatch> RunLoop::watch(int descriptor, std::uint32_t events,
                                                std::function<void(std::uint32_t)> handler) {
    return std::make_unique<Watch>(state_->event, state_->exceptionHandler, descriptor, events, std::move(handler));
}

void RunLoop::setExceptionHandler(ExceptionHandler handler) {
    state_->exceptionHandler = std::move(handler);
}

sd_event* RunLoop::event() const {
    return state_->event;
}

std::shared_ptr<void>& RunLoop::attachmentSlot(std::type_index type) {
    return state_->attachments[type];
}

void RunLoop::add(const Queue& queue, Task task) {
    if (std::this_thread::get_id() != state_->thread) {
        state_->addCrossThreadTask({queue, std::move(task), std::nullopt});
        return;
    }
    if (state_->ending)
        return;
    state_->ready.push_back({queue, std::move(task), nullptr});
    if (!state_->running)
        state_->wake();
}

std::shared_ptr<TimerEntry> RunLoop::addTimer(Duration delay, const Queue& queue, Task task) {
    const Duration now = state_->clock->now();
    const Duration deadline = delay > Duration::max() - now ? Duration::max() : now + std::max(delay, Duration::zero());
    if (std::this_thread::get_id() != state_->thread) {
        state_->addCrossThreadTask({queue, std::move(task), deadline});
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
    if (!entry.scheduled)
        return;
    // The map releases the entry; the caller still owns it.
    entry.loop->state_->timers.erase(entry.key);
    retire(entry);
}

bool RunLoop::runReadyTasks(StopRule stopRule) {
    state_->takeCrossThreadTasks(*this);
    state_->takeDueTimers();
    state_->peakReady = std::max(state_->peakReady, state_->ready.size());
    bool ran = false;
    for (int count = 0; count < tasksPerTurn && !state_->ready.empty(); ++count) {
        if (stopRule == StopRule::Heed && state_->status)
            break;
        auto next = std::move(state_->ready.front());
        state_->ready.pop_front();
        if (next.timer) {
            if (!std::exchange(next.timer->scheduled, false))
                continue;
            next.task = std::move(next.timer->task);
        }
        runTask(next.queue, next.task);
        ran = true;
    }
    state_->releaseReady();
    return ran;
}

void RunLoop::runTask(const Queue& queue, const Task& task) {
    auto outer = std::exchange(state_->current, queue);
    guarded(queue.label().c_str(), state_->exceptionHandler, task);
    state_->current = std::move(outer);
}

bool RunLoop::waitForEvents(Duration timeout) {
    state_->armTimer();
    // A task may be waiting here; the handlers of descriptors run outside of its queue.
    auto outer = std::exchange(state_->current, std::nullopt);
    state_->beginTurn();
    // The kernel may fire a timer late: one that is due by now is not left to it.
    if (state_->hasDueTimer())
        timeout = Duration::zero();
    const std::uint64_t wait = timeout == Duration::max() ? UINT64_MAX : microseconds(timeout);
    const int result = sd_event_run(state_->event, wait);
    state_->current = std::move(outer);
    return checked(result, "sd_event_run") > 0;
}

Queue Queue::current() {
    if (!RunLoop::isCurrentThread())
        return main();
    return RunLoop::main().state_->current.value_or(main());
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

Timer::~Timer() {
    cancel();
}

void Timer::cancel() {
    if (entry_)
        RunLoop::removeTimer(*entry_);
    entry_.reset();
}

bool Timer::isScheduled() const {
    return entry_ && entry_->scheduled;
}

Timer Queue::timer(Duration delay, Task task) const {
    return Timer(RunLoop::main().addTimer(delay, *this, std::move(task)));
}

} // namespace Platform
