#include "WebService/EventLoop.h"

#include "WebService/Log.h"

#include <sys/epoll.h>

#include <algorithm>
#include <array>
#include <exception>

namespace webservice {

namespace {

void guarded(const std::function<void()>& work) {
    try {
        work();
    } catch (const std::exception& error) {
        logLine(std::string("an event could not be handled: ") + error.what());
    }
}

} // namespace

EventLoop::EventLoop() : epoll_(::epoll_create1(EPOLL_CLOEXEC)) {
    if (!epoll_) {
        throwErrno("cannot make an epoll instance");
    }
}

void EventLoop::watch(int fd, std::uint32_t events, Handler handler) {
    epoll_event event{.events = events, .data = {.fd = fd}};
    if (::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, fd, &event) != 0) {
        throwErrno("cannot watch a descriptor");
    }
    handlers_[fd] = std::make_shared<Handler>(std::move(handler));
}

void EventLoop::change(int fd, std::uint32_t events) {
    epoll_event event{.events = events, .data = {.fd = fd}};
    if (::epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, fd, &event) != 0) {
        throwErrno("cannot change what is watched");
    }
}

void EventLoop::forget(int fd) {
    ::epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, fd, nullptr);
    handlers_.erase(fd);
}

void EventLoop::run() {
    std::array<epoll_event, 64> ready{};
    running_ = true;
    while (running_) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(nextTick_ - Clock::now()).count();
        const int timeout = static_cast<int>(std::max<std::int64_t>(left, 0));
        const int count = ::epoll_wait(epoll_.get(), ready.data(), static_cast<int>(ready.size()), timeout);
        if (count < 0 && errno != EINTR) {
            throwErrno("cannot wait for events");
        }
        for (int i = 0; i < count && running_; ++i) {
            const epoll_event& event = ready.at(static_cast<std::size_t>(i));
            // A handler that ran before may have forgotten this descriptor, and this one may forget itself.
            if (const auto found = handlers_.find(event.data.fd); found != handlers_.end()) {
                guarded([handler = found->second, events = event.events] { (*handler)(events); });
            }
        }
        tick();
    }
}

void EventLoop::tick() {
    if (Clock::now() < nextTick_) {
        return;
    }
    nextTick_ = Clock::now() + std::chrono::seconds(1);
    if (everySecond_) {
        guarded(everySecond_);
    }
}

} // namespace webservice
