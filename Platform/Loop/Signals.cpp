#include "Platform/Loop/Signals.h"

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Loop/RunLoop.h"

#include <pthread.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <system_error>
#include <utility>

namespace Platform {

namespace {

sigset_t setOf(int signal) {
    sigset_t set{};
    sigemptyset(&set);
    sigaddset(&set, signal);
    return set;
}

} // namespace

struct SignalWatch::State {
    int signal = 0;
    bool wasBlocked = false;
    void (*disposition)(int) = SIG_DFL;
    FileDescriptor descriptor;
    std::unique_ptr<DescriptorWatch> watch;
};

SignalWatch::SignalWatch(int signal, std::function<void()> handler) : state_(std::make_unique<State>()) {
    const sigset_t set = setOf(signal);
    sigset_t before{};
    state_->signal = signal;
    // A process may have been started to ignore the signal, which then need not become pending (POSIX.1, 2.4.1).
    state_->disposition = std::signal(signal, SIG_DFL);
    pthread_sigmask(SIG_BLOCK, &set, &before);
    state_->wasBlocked = sigismember(&before, signal) == 1;
    state_->descriptor.reset(::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!state_->descriptor)
        throw std::system_error(errno, std::generic_category(), "signalfd");
    const int descriptor = state_->descriptor.get();
    state_->watch = RunLoop::main().watch(descriptor, EPOLLIN, [descriptor, handler = std::move(handler)](auto) {
        signalfd_siginfo info{};
        if (::read(descriptor, &info, sizeof info) == static_cast<ssize_t>(sizeof info))
            handler();
    });
}

SignalWatch::~SignalWatch() {
    state_->watch.reset();
    std::signal(state_->signal, state_->disposition);
    const sigset_t set = setOf(state_->signal);
    if (!state_->wasBlocked)
        pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

BlockedSignals::BlockedSignals(std::initializer_list<int> signals) {
    sigset_t pending{};
    sigset_t blocked{};
    sigpending(&pending);
    sigemptyset(&blocked);
    sigemptyset(&raised_);
    for (const int signal : signals) {
        sigaddset(&blocked, signal);
        // A signal that is pending already was not raised here.
        if (sigismember(&pending, signal) == 0)
            sigaddset(&raised_, signal);
    }
    pthread_sigmask(SIG_BLOCK, &blocked, &mask_);
}

BlockedSignals::~BlockedSignals() {
    // What a call raises is for its thread (POSIX.1, 2.4.1), where it waits now.
    const int number = errno;
    const timespec none{};
    while (sigtimedwait(&raised_, nullptr, &none) > 0) {
    }
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
    errno = number;
}

} // namespace Platform
