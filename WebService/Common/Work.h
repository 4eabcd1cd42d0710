#pragma once

#include <chrono>
#include <coroutine>
#include <exception>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace webservice {

/// The progress of a job: the coroutine that runs next, none when the job is done, and the end of the present slice.
struct WorkProgress {
    std::coroutine_handle<> next;
    std::chrono::steady_clock::time_point sliceEnd;
    bool isPaused = false;
    bool waitsForStorage = false; // where it is paused
};

class WorkPromiseBase {
public:
    /// Returns to the loop of Job::run(), never directly from one coroutine to another: the stack does not grow,
    /// however many of them follow one another.
    struct BackToCaller {
        bool await_ready() noexcept { return false; }
        template <typename Promise>
        void await_suspend(std::coroutine_handle<Promise> finished) noexcept {
            finished.promise().progress->next = finished.promise().caller;
        }
        void await_resume() noexcept {}
    };

    std::suspend_always initial_suspend() noexcept { return {}; }
    BackToCaller final_suspend() noexcept { return {}; }
    void unhandled_exception() noexcept { failure = std::current_exception(); }

    WorkProgress* progress = nullptr;
    std::coroutine_handle<> caller;
    std::exception_ptr failure;
};

template <typename T>
class WorkPromise : public WorkPromiseBase {
public:
    void return_value(T value) { result_.emplace(std::move(value)); }
    T take() {
        if (failure)
            std::rethrow_exception(failure);
        return std::move(*result_);
    }

private:
    std::optional<T> result_;
};

template <>
class WorkPromise<void> : public WorkPromiseBase {
public:
    void return_void() noexcept {}
    void take() const {
        if (failure)
            std::rethrow_exception(failure);
    }
};

/// A coroutine that does its work in slices: it awaits `pause()` wherever it may be interrupted, and other coroutines
/// of this type like calls. Run by a Job. Whatever it refers to must live as long as it does. During a pause anything
/// else may happen, so it keeps nothing over one that this would invalidate, such as a database statement.
template <typename T = void>
class [[nodiscard]] Work {
public:
    struct promise_type : WorkPromise<T> {
        Work get_return_object() { return Work(std::coroutine_handle<promise_type>::from_promise(*this)); }
    };

    Work(Work&& other) noexcept : coroutine_(std::exchange(other.coroutine_, nullptr)) {}
    Work& operator=(Work&&) = delete;
    ~Work() {
        if (coroutine_)
            coroutine_.destroy();
    }

    bool await_ready() const noexcept { return false; }
    template <typename Promise>
    void await_suspend(std::coroutine_handle<Promise> caller) noexcept {
        coroutine_.promise().caller = caller;
        coroutine_.promise().progress = caller.promise().progress;
        coroutine_.promise().progress->next = coroutine_;
    }
    T await_resume() { return coroutine_.promise().take(); }

private:
    template <typename>
    friend class Job;
    explicit Work(std::coroutine_handle<promise_type> coroutine) : coroutine_(coroutine) {}

    std::coroutine_handle<promise_type> coroutine_;
};

/// Interrupts the work when its slice is over.
struct Pause {
    bool await_ready() const noexcept { return false; }
    template <typename Promise>
    bool await_suspend(std::coroutine_handle<Promise> paused) const noexcept {
        WorkProgress& progress = *paused.promise().progress;
        if (std::chrono::steady_clock::now() < progress.sliceEnd)
            return false;
        progress.next = paused;
        progress.isPaused = true;
        return true;
    }
    void await_resume() const noexcept {}
};
inline Pause pause() {
    return {};
}

/// Suspends the work until its changes are committed, for steps that must not precede that. No other work runs in
/// between; if the commit fails, the work is abandoned. Until the next pause() it runs outside of a transaction and
/// must not use the database.
struct UntilStored {
    bool await_ready() const noexcept { return false; }
    template <typename Promise>
    void await_suspend(std::coroutine_handle<Promise> paused) const noexcept {
        WorkProgress& progress = *paused.promise().progress;
        progress.next = paused;
        progress.isPaused = true;
        progress.waitsForStorage = true;
    }
    void await_resume() const noexcept {}
};
inline UntilStored untilStored() {
    return {};
}

/// Work in progress. Destroying it abandons the rest of the work.
template <typename T = void>
class Job {
public:
    explicit Job(Work<T> work) : work_(std::move(work)) {
        work_.coroutine_.promise().progress = &progress_;
        progress_.next = work_.coroutine_;
    }
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    /// Goes on until the work pauses after this time, or is done; true when it is done.
    bool run(std::chrono::steady_clock::duration slice) {
        progress_.sliceEnd = std::chrono::steady_clock::now() + slice;
        progress_.isPaused = false;
        progress_.waitsForStorage = false;
        while (progress_.next && !progress_.isPaused)
            progress_.next.resume();
        return !progress_.next;
    }

    /// Whether the work waits until what it has changed is stored.
    bool waitsForStorage() const { return progress_.waitsForStorage; }

    /// The result of work that is done, or the exception that ended it. To be called once.
    T take() { return work_.coroutine_.promise().take(); }

private:
    WorkProgress progress_;
    Work<T> work_;
};

/// Does all of the work at once.
template <typename T>
T runToEnd(Work<T> work) {
    Job<T> job(std::move(work));
    while (!job.run(std::chrono::hours(1))) {
    }
    return job.take();
}

} // namespace webservice
