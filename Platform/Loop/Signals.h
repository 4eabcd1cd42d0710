#pragma once

#include <csignal>
#include <functional>
#include <initializer_list>
#include <memory>

namespace Platform {

/// Calls its handler, on the loop's thread and outside of any queue, each time the process gets a signal that would
/// end it, and keeps it from doing so; until it is destroyed. To be made before the process has further threads, so
/// that they leave the signal to the loop too (signalfd(2)).
class SignalWatch {
public:
    SignalWatch(int signal, std::function<void()> handler);
    SignalWatch(const SignalWatch&) = delete;
    SignalWatch& operator=(const SignalWatch&) = delete;
    ~SignalWatch();

private:
    struct State;
    std::unique_ptr<State> state_;
};

/// Keeps signals that calls of this thread raise from ending or stopping the process, while it lives, so that the call
/// gives its error alone: a write without a reader SIGPIPE and EPIPE, one beyond the limit of a file's size
/// (setrlimit(2)) SIGXFSZ and EFBIG. The process's signal dispositions stay as they are.
class BlockedSignals {
public:
    explicit BlockedSignals(std::initializer_list<int> signals);
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;
    ~BlockedSignals();

private:
    sigset_t mask_{};
    sigset_t raised_{};
};

} // namespace Platform
