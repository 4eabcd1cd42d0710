#pragma once

#include "WebService/Descriptor.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <unordered_map>

namespace webservice {

// Waits for descriptors with epoll(7) and calls their handlers, all on the thread that called run(). What a handler
// throws is logged, and the loop goes on.
class EventLoop {
public:
    using Handler = std::function<void(std::uint32_t events)>;

    EventLoop();

    // Calls the handler whenever one of the epoll events holds. The descriptor stays the caller's, who calls forget()
    // before closing it. A handler may forget any descriptor, its own too.
    void watch(int fd, std::uint32_t events, Handler handler);
    void change(int fd, std::uint32_t events);
    void forget(int fd);

    // Calls the function once a second while the loop runs.
    void everySecond(std::function<void()> function) { everySecond_ = std::move(function); }

    // Runs until stop() is called, by a handler.
    void run();
    void stop() { running_ = false; }

private:
    using Clock = std::chrono::steady_clock;
    void tick();

    Descriptor epoll_;
    std::unordered_map<int, std::shared_ptr<Handler>> handlers_;
    std::function<void()> everySecond_;
    Clock::time_point nextTick_ = Clock::now() + std::chrono::seconds(1);
    bool running_ = false;
};

} // namespace webservice
