// What an idle poll pass costs, the exchange over HTTP included: CPU time and wakeups; and what 100,000 of them leave
// behind. The engine's clock is replaced; the sockets are real, the server is nginx on loopback.
//   PollBenchmark [PASSES]

#include "Engine/Settings.h"
#include "Platform/Log.h"
#include "Platform/Loop/Clock.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Memory.h"
#include "Report/Report.h"
#include "Servers/Nginx.h"
#include "TopFileUploadXpcService/ServiceStatus.h"
#include "TopFileUploadXpcService/TopFileUploadXpcService.h"

#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <thread>

namespace {

long wakeups = 0;
long responses = 0;

} // namespace

// The loop's waits end here instead of in the C library, and are counted.
extern "C" int epoll_wait(int epoll, epoll_event* events, int count, int timeout) {
    ++wakeups;
    return static_cast<int>(::syscall(SYS_epoll_pwait, epoll, events, count, timeout, nullptr, 8));
}

extern "C" int epoll_pwait2(int epoll, epoll_event* events, int count, const timespec* timeout, const sigset_t* mask) {
    ++wakeups;
    return static_cast<int>(::syscall(SYS_epoll_pwait2, epoll, events, count, timeout, mask, 8));
}

namespace {

double cpuMilliseconds() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto of = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
    };
    return of(usage.ru_utime) + of(usage.ru_stime);
}

struct State {
    double cpu = cpuMilliseconds();
    long wakeupsSoFar = wakeups;
    long resident = Benchmarks::residentKib();
    long descriptors = Benchmarks::openDescriptors();
};

} // namespace

int main(int argc, char** argv) {
    const long passes = argc > 1 ? std::atol(argv[1]) : 100'000;
    const Benchmarks::Nginx nginx(
        "    location / { default_type application/json; return 200 '{\"ReturnStatus\":\"1\"}'; }");
    const Benchmarks::Settings settings(nginx.host());
    Platform::Memory::keepSmall();
    Platform::Log::setSink([](std::string_view entry) { responses += entry.starts_with("response "); });
    Platform::ManualClock clock;
    Platform::RunLoop loop(clock);
    const auto status = std::make_shared<Quenmark::ServiceStatus>(false);
    const auto engine = std::make_shared<Quenmark::TopFileUploadXpcService>(Quenmark::ServiceContext{}, nullptr,
                                                                            status->addEngine(":1.1"));
    engine->GetTopFileUpload();

    const auto runUpTo = [&](long pass) {
        while (responses < pass) {
            const long before = responses;
            clock.advance(std::chrono::seconds(2));
            if (!loop.runUntil([&] { return responses > before; })) {
                std::fprintf(stderr, "pass %ld got no response\n", before);
                std::exit(70);
            }
        }
    };
    // As the service does, five seconds after its start.
    runUpTo(3);
    Platform::Memory::releaseStartupPages();
    const long early = passes / 100;
    runUpTo(early);
    // A settings file that changed less than three seconds ago is read again in each turn.
    std::this_thread::sleep_for(std::chrono::seconds(4));
    // Taken once before it counts: looking touches memory, too.
    static_cast<void>(State());
    const State first;
    runUpTo(passes);
    const State last;

    const auto counted = static_cast<double>(passes - early);
    std::printf("poll passes                     %ld\n", passes);
    std::printf("CPU a pass                      %.3f ms (at most 0.3)\n", (last.cpu - first.cpu) / counted);
    Report::add({.benchmark = "PollBenchmark",
                 .what = "processor time of an idle pass",
                 .unit = "ms",
                 .values = {(last.cpu - first.cpu) / counted},
                 .target = 0.3});
    std::printf("wakeups a pass                  %.2f, without the timer's own (at most 4 with it)\n",
                static_cast<double>(last.wakeupsSoFar - first.wakeupsSoFar) / counted);
    std::printf("resident after %-7ld          %ld KiB\n", early, first.resident);
    std::printf("resident after %-7ld          %ld KiB, %+ld (at most +64)\n", passes, last.resident,
                last.resident - first.resident);
    std::printf("descriptors                     %ld and %ld (the same)\n", first.descriptors, last.descriptors);
    return 0;
}
