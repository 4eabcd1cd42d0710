// Many engines in one process: each message to the second front end starts one more, and each asks a server that has
// nothing every two seconds. What one engine costs among many, beside what it costs among ten, and how late the latest
// pass comes. The bus, the service and the sockets are real.
//   EnginesBenchmark [ENGINES]

#include "Engine/Settings.h"
#include "Platform/Loop/RunLoop.h"
#include "Report/Report.h"
#include "Servers/Nginx.h"
#include "Support/BusPeer.h"
#include "Support/PrivateBus.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr const char* busName = "Velkarin.Quenmark.TopFileUploadXpcService";
constexpr const char* objectPath = "/Velkarin/Quenmark/TopFileUploadXpcService";
constexpr double interval = 2;
constexpr auto warmUp = std::chrono::seconds(10);
constexpr auto window = std::chrono::seconds(20);

struct Figures {
    double cpuMilliseconds = 0; // an engine a second
    double residentKib = 0;     // an engine
    double latest = 0;          // seconds
    std::size_t passes = 0;
};

/// The time that a process's one thread has run (proc(5), /proc/PID/schedstat), in seconds.
double cpuSeconds(int process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/schedstat");
    double nanoseconds = 0;
    file >> nanoseconds;
    return nanoseconds / 1e9;
}

/// When each request got its response, in seconds, in order.
std::vector<double> timesIn(const std::string& log) {
    std::vector<double> times;
    std::ifstream file(log);
    for (double time = 0; file >> time;)
        times.push_back(time);
    return times;
}

/// Every engine asks once while `engines` passes go by, so that these take an interval; what is beyond it is lateness.
double latestPass(const std::vector<double>& times, std::size_t engines) {
    double latest = 0;
    for (std::size_t index = engines; index < times.size(); ++index)
        latest = std::max(latest, times[index] - times[index - engines] - interval);
    return latest;
}

class Run {
public:
    Run(const std::string& accessLog, std::size_t engines) : log_(accessLog), engines_(engines) {
        std::ofstream(log_, std::ios::trunc).flush();
    }

    Figures measure() {
        const TestSupport::PrivateBus bus(std::vector<TestSupport::PrivateBus::Service>{{busName, QUENMARK_SERVICE}});
        TestSupport::BusPeer peer;
        for (std::size_t count = 0; count < engines_; ++count)
            peer.send({busName, objectPath, "Velkarin.Quenmark.XPC", "Message"}, [](sd_bus_message* message) {
                if (sd_bus_message_append(message, "v", "s", "start") < 0)
                    throw std::runtime_error("the message cannot be filled");
            });
        pass(warmUp);
        const int process = Benchmarks::newestProcess(QUENMARK_SERVICE).value();
        const std::size_t before = timesIn(log_).size();
        const double cpu = cpuSeconds(process);
        pass(window);
        const double used = cpuSeconds(process) - cpu;
        auto times = timesIn(log_);
        times.erase(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(before));
        const auto count = static_cast<double>(engines_);
        return {used * 1e3 / count / std::chrono::duration<double>(window).count(),
                static_cast<double>(Benchmarks::residentKib(process)) / count, latestPass(times, engines_),
                times.size()};
    }

private:
    void pass(std::chrono::seconds time) {
        const auto end = std::chrono::steady_clock::now() + time;
        loop_.runUntil([&] { return std::chrono::steady_clock::now() >= end; }, time);
    }

    std::string log_;
    std::size_t engines_;
    Platform::RunLoop loop_;
};

void print(std::size_t engines, const Figures& figures) {
    std::printf("%6zu engines: CPU %.4f ms an engine a second, resident %.1f KiB an engine, %zu passes of %.0f, the "
                "latest %.2f s late\n",
                engines, figures.cpuMilliseconds, figures.residentKib, figures.passes,
                static_cast<double>(engines) * std::chrono::duration<double>(window).count() / interval,
                figures.latest);
}

} // namespace

int main(int argc, char** argv) {
    // Each line is seen when it is printed, be it in a pipe.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const std::size_t many = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 10'000;
    constexpr std::size_t few = 10;
    TestSupport::TemporaryDirectory folder;
    const std::string log = folder.path("polls");
    const Benchmarks::Nginx nginx("    location / { access_log " + log +
                                  " time; default_type application/json; return 200 '{\"ReturnStatus\":\"1\"}'; }");
    const Benchmarks::Settings settings(nginx.host(), 1138.6);
    // Ten engines use so little that one look at them says little.
    std::vector<Figures> looks(5);
    for (auto& look : looks) {
        look = Run(log, few).measure();
        print(few, look);
    }
    std::ranges::sort(looks, {}, &Figures::cpuMilliseconds);
    const Figures among = looks[looks.size() / 2];
    const Figures largest = Run(log, many).measure();
    print(many, largest);
    std::printf("CPU an engine    %.2f of that among %zu (at most 1.1)\n",
                largest.cpuMilliseconds / among.cpuMilliseconds, few);
    std::printf("memory an engine %.2f of that among %zu (at most 1.1)\n", largest.residentKib / among.residentKib,
                few);
    std::printf("the latest pass  %.2f s late (at most 1)\n", largest.latest);
    const std::string number = std::to_string(many) + " engines";
    Report::add({.benchmark = "EnginesBenchmark",
                 .what = "processor time of an engine, " + number,
                 .peer = "one of ten engines",
                 .values = {largest.cpuMilliseconds / among.cpuMilliseconds},
                 .target = 1.1});
    Report::add({.benchmark = "EnginesBenchmark",
                 .what = "memory of an engine, " + number,
                 .peer = "one of ten engines",
                 .values = {largest.residentKib / among.residentKib},
                 .target = 1.1});
    Report::add({.benchmark = "EnginesBenchmark",
                 .what = "delay of the latest pass, " + number,
                 .unit = "s",
                 .values = {largest.latest},
                 .target = 1});
    return 0;
}
