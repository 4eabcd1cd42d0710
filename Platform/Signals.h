#pragma once

#include <functional>
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

} // namespace Platform
