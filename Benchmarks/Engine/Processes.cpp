#include "Engine/Processes.h"

#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace {

using Clock = std::chrono::steady_clock;

std::optional<Clock::time_point> begin;
Clock::duration longest{};

/// Ends a turn, waits, and begins the next one.
template <class Wait>
int waitBetweenTurns(const Wait& wait) {
    if (begin)
        longest = std::max(longest, Clock::now() - *begin);
    const int result = wait();
    begin = Clock::now();
    return result;
}

} // namespace

// The loop's waits end here instead of in the C library.
extern "C" int epoll_wait(int epoll, epoll_event* events, int count, int timeout) {
    return waitBetweenTurns(
        [=] { return static_cast<int>(::syscall(SYS_epoll_pwait, epoll, events, count, timeout, nullptr, 8)); });
}

extern "C" int epoll_pwait2(int epoll, epoll_event* events, int count, const timespec* timeout, const sigset_t* mask) {
    return waitBetweenTurns(
        [=] { return static_cast<int>(::syscall(SYS_epoll_pwait2, epoll, events, count, timeout, mask, 8)); });
}

namespace Benchmarks {

double longestTurnMilliseconds() {
    return std::chrono::duration<double, std::milli>(longest).count();
}

Figures measure(const cpu_set_t& processors, const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    for (const auto& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    const auto start = Clock::now();
    const pid_t child = ::fork();
    if (child == 0) {
        ::sched_setaffinity(0, sizeof processors, &processors);
        ::execvp(arguments.front(), arguments.data());
        ::_exit(127);
    }
    int status = 0;
    rusage usage{};
    ::wait4(child, &status, 0, &usage);
    if (status != 0) {
        std::fprintf(stderr, "%s failed\n", command.front().c_str());
        std::exit(70);
    }
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return {std::chrono::duration<double>(Clock::now() - start).count(),
            seconds(usage.ru_utime) + seconds(usage.ru_stime), usage.ru_maxrss};
}

} // namespace Benchmarks
