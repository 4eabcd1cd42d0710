// From the launch by name to the first poll on the wire, and what the service then holds in memory while it idles. The
// bus, the service and the sockets are real.
//   LaunchBenchmark [ROUNDS]

#include "Engine/Settings.h"
#include "Platform/Loop/RunLoop.h"
#include "Report/Report.h"
#include "Support/BusPeer.h"
#include "Support/HttpServer.h"
#include "Support/PrivateBus.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr const char* busName = "Velkarin.Quenmark.TopFileUploadXpcService";
constexpr const char* objectPath = "/Velkarin/Quenmark/TopFileUploadXpcService";
constexpr const char* interface = "Velkarin.Quenmark.TopFileUploadXpcServiceProtocol";

} // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 15;
    using Clock = std::chrono::steady_clock;
    Platform::RunLoop loop;
    TestSupport::HttpServer server;
    server.setHandler([](const auto&) { return TestSupport::HttpReply::json(R"({"ReturnStatus":"1"})"); });
    const Benchmarks::Settings settings(server.host());

    std::vector<double> milliseconds;
    for (int round = 0; round < rounds; ++round) {
        const TestSupport::PrivateBus bus(std::vector<TestSupport::PrivateBus::Service>{{busName, QUENMARK_SERVICE}});
        TestSupport::BusPeer peer;
        const auto before = server.requests().size();
        const auto begin = Clock::now();
        peer.send({busName, objectPath, interface, "GetTopFileUpload"});
        if (!loop.runUntil([&] { return server.requests().size() > before; })) {
            std::fprintf(stderr, "no poll came\n");
            return 70;
        }
        milliseconds.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
        if (round + 1 < rounds)
            continue;
        // Idle: past the release of the start's pages, and a few passes more.
        const auto end = Clock::now() + std::chrono::seconds(12);
        loop.runUntil([&] { return Clock::now() >= end; }, std::chrono::seconds(12));
        const auto process = Benchmarks::newestProcess(QUENMARK_SERVICE);
        std::printf("launch by name to first poll    %.1f ms, median of %d (at most 40)\n",
                    Benchmarks::median(milliseconds), rounds);
        const double mebibytes = static_cast<double>(process ? Benchmarks::residentKib(*process) : -1) / 1024;
        std::printf("idle resident memory            %.2f MiB (at most 9)\n", mebibytes);
        Report::add({.benchmark = "LaunchBenchmark",
                     .what = "from the launch by name to the first poll",
                     .unit = "ms",
                     .values = milliseconds,
                     .target = 40});
        Report::add({.benchmark = "LaunchBenchmark",
                     .what = "resident memory of the idle service",
                     .unit = "MiB",
                     .values = {mebibytes},
                     .target = 9});
    }
    return 0;
}
