#include "Platform/Files/Flusher.h"

#include "Platform/Files/Flush.h"
#include "Platform/Loop/Queue.h"
#include "Platform/Loop/RunLoop.h"

#include <pthread.h>

#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace Platform {

namespace {

struct Job {
    Flusher::Work work;
    Flusher::Done done;
    Queue queue;
};

/// Keeps all signals from the threads that are made while it lives: they are for the loop's thread.
class WithoutSignals {
public:
    WithoutSignals() {
        sigset_t all{};
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    WithoutSignals(const WithoutSignals&) = delete;
    WithoutSignals& operator=(const WithoutSignals&) = delete;
    ~WithoutSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_{};
};

std::optional<Error> resultOf(const Flusher::Work& work) {
    try {
        return work();
    } catch (...) {
        return Flush::failure("file work", ENOMEM);
    }
}

/// Hands a result to the loop.
void finish(Job job, std::optional<Error> error) {
    // The work's values end here, on the thread that used them.
    job.work = nullptr;
    job.queue.async([done = std::move(job.done), error = std::move(error)] { done(error); });
}

} // namespace

struct Flusher::State {
    std::mutex lock;
    std::condition_variable_any added;
    std::deque<Job> jobs;
    std::size_t idle = 0;
    std::vector<std::jthread> threads;

    void add(Job job) {
        {
            const std::lock_guard guard(lock);
            jobs.push_back(std::move(job));
        }
        added.notify_one();
    }

    /// Makes one more thread where none is idle, up to the largest number. Gives the error where there is none at all.
    std::optional<Error> makeThread() {
        {
            const std::lock_guard guard(lock);
            if (idle > jobs.size() || threads.size() == maxThreads)
                return std::nullopt;
        }
        try {
            const WithoutSignals blocked;
            threads.emplace_back([this](const std::stop_token& stop) { work(stop); });
        } catch (const std::system_error& error) {
            if (threads.empty())
                return Flush::failure("a thread", error.code().value());
        }
        return std::nullopt;
    }

    void work(const std::stop_token& stop) {
        std::unique_lock guard(lock);
        for (;;) {
            ++idle;
            const bool hasJob = added.wait(guard, stop, [this] { return !jobs.empty(); });
            --idle;
            if (!hasJob)
                return;
            Job job = std::move(jobs.front());
            jobs.pop_front();
            guard.unlock();
            auto error = resultOf(job.work);
            finish(std::move(job), std::move(error));
            guard.lock();
        }
    }
};

Flusher::Flusher(RunLoop&) : state_(std::make_unique<State>()) {}

Flusher::~Flusher() {
    std::deque<Job> dropped;
    {
        const std::lock_guard guard(state_->lock);
        dropped.swap(state_->jobs);
    }
    // Each of the threads is asked to stop, and joined, by its destructor.
}

void Flusher::perform(Work work, Done done) {
    State& state = *RunLoop::main().attachment<Flusher>().state_;
    Job job{std::move(work), std::move(done), Queue::current()};
    if (auto error = state.makeThread())
        finish(std::move(job), std::move(error));
    else
        state.add(std::move(job));
}

} // namespace Platform
