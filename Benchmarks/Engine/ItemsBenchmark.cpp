// Many small items, one after the other, through managed mode: nginx on loopback offers an item of 1 KiB again and
// again. The peer is `curl`, which makes the same requests over one kept connection, and a program that flushes as many
// files and their folder as the engine does. Each round runs all of them; the ratios are of the same round. Without
// flushing: on tmpfs, where flushing does nothing. With it: in a folder of the disk.
//   ItemsBenchmark [ROUNDS [ITEMS [FOLDER]]]

#include "Engine/Processes.h"
#include "Engine/Settings.h"
#include "Platform/Log.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Memory.h"
#include "Report/Report.h"
#include "Servers/Nginx.h"
#include "TopFileUploadXpcService/ManagedPolicy.h"
#include "TopFileUploadXpcService/TopFileUploadXpcService.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::size_t itemSize = 1024;

/// The engine of managed mode, from its start until that many items are acknowledged.
int engine(long items) {
    Platform::Memory::keepSmall();
    Platform::RunLoop loop;
    long acknowledged = 0;
    Platform::Log::setSink([&](std::string_view entry) {
        acknowledged += entry == "response {\n    \"ReturnStatus\" = \"0\";\n}" ? 1 : 0;
    });
    const auto service = std::make_shared<Quenmark::TopFileUploadXpcService>(
        Quenmark::ServiceContext{}, std::make_unique<Quenmark::ManagedPolicy>());
    service->GetTopFileUpload();
    const bool isDone = loop.runUntil([&] { return acknowledged >= items; }, std::chrono::seconds(600));
    std::fprintf(stderr, "  longest turn of the loop: %.1f ms\n", Benchmarks::longestTurnMilliseconds());
    return isDone ? 0 : 1;
}

/// The peer of the flushes: makes that many files durable, and each of them in its place.
int flush(const std::string& folder, long items) {
    const int placed = ::open((folder + "/placed").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (long number = 0; number < items; ++number) {
        const std::string path = folder + "/" + std::to_string(number);
        const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (file < 0 || ::fdatasync(file) != 0 ||
            ::rename(path.c_str(), (folder + "/placed/" + std::to_string(number)).c_str()) != 0 || ::fsync(placed) != 0)
            return 1;
        ::close(file);
    }
    ::close(placed);
    return 0;
}

std::string locations(const std::string& folder) {
    const std::string service = Benchmarks::servicePath;
    const std::string json = "default_type application/json; return 200 ";
    return "    keepalive_requests 1000000;\n    root " + folder + ";\n" + "    location = " + service +
           "GetTopFileUpload { " + json +
           "'{\"FileName\":\"\\\\\\\\item\",\"FileUploadID\":\"1\",\"IsFile\":\"True\",\"ReturnStatus\":\"0\"}'; }\n" +
           "    location = " + service + "UpdateFileUpload { " + json + "'{\"ReturnStatus\":\"0\"}'; }\n" +
           "    location = " + service + "GetTopFileUploadWithStream { error_page 405 =200 /item; return 405; }\n" +
           "    location = /item { add_header ReturnStatus 0; add_header IsFile True; add_header FileUploadID 1; "
           "add_header FileName '\\\\item'; }";
}

/// What curl reads to make the requests of that many items, whose content goes to files of `folder`.
void writeCurlConfiguration(const std::string& path, const std::string& host, const std::string& folder, long items) {
    std::ofstream file(path);
    const auto request = [&](const char* operation, const char* body, const std::string& output) {
        file << "url = \"http://" << host << Benchmarks::servicePath << operation << "\"\n"
             << "header = \"Content-Type: application/json\"\ndata = \"" << body << "\"\noutput = \"" << output
             << "\"\nnext\n";
    };
    for (long number = 0; number < items; ++number) {
        request("GetTopFileUpload", R"({\"ToComputerID\" : \"7\"})", "/dev/null");
        request("GetTopFileUploadWithStream", R"({\"ToComputerID\" : \"7\", \"Length\" : \"0\"})",
                folder + "/" + std::to_string(number));
        request("UpdateFileUpload", R"({\"FileUploadID\" : \"1\", \"FileName\" : \"\\\\item\"})", "/dev/null");
    }
    file << "url = \"http://" << host << "/item\"\noutput = \"/dev/null\"\n";
}

struct Plan {
    int rounds = 5;
    long items = 2000;
    std::string folder = "/var/tmp";
};

void run(const Plan& plan, const std::string& folder, bool isFlushed) {
    const Benchmarks::Processors processors;
    TestSupport::ScopedEnvironment environment;
    const Benchmarks::Settings source("unused");
    std::ofstream(source.home() + "/item") << std::string(itemSize, 'x');
    const Benchmarks::Nginx nginx(locations(source.home()));
    ::sched_setaffinity(nginx.process(), sizeof processors.server, &processors.server);
    const std::string self = fs::read_symlink("/proc/self/exe");

    std::vector<double> ratios;
    for (int number = 0; number <= plan.rounds; ++number) {
        const Benchmarks::Settings settings(nginx.host(), 1343.0, folder);
        const std::string peer = settings.home() + "/peer";
        fs::create_directories(peer + "/placed");
        // A settings file that changed less than three seconds ago is read again in each turn.
        std::this_thread::sleep_for(std::chrono::seconds(4));
        writeCurlConfiguration(settings.home() + "/curlrc", nginx.host(), peer, plan.items);
        const auto curl = [&] {
            // What a run before has left to write, as files that were removed, is nobody's time.
            ::sync();
            double wall =
                Benchmarks::measure(processors.clients, {"curl", "-s", "-K", settings.home() + "/curlrc"}).wall;
            if (isFlushed)
                wall += Benchmarks::measure(processors.clients, {self, "flush", peer, std::to_string(plan.items)}).wall;
            return wall;
        };
        const auto ours = [&] {
            ::sync();
            return Benchmarks::measure(processors.clients, {self, "engine", std::to_string(plan.items)}).wall;
        };
        // Each comes first in every other round.
        const double first = number % 2 == 0 ? curl() : ours();
        const double second = number % 2 == 0 ? ours() : curl();
        const double engineWall = number % 2 == 0 ? second : first;
        const double curlWall = number % 2 == 0 ? first : second;
        if (fs::file_size(settings.placed("item")) != itemSize)
            throw std::runtime_error("the item is not whole");
        std::fprintf(stderr, "round %d%s: ours %.2f s, curl%s %.2f s\n", number, number == 0 ? " (to warm up)" : "",
                     engineWall, isFlushed ? " and the flushes" : "", curlWall);
        if (number > 0)
            ratios.push_back(engineWall / curlWall);
    }
    std::printf("%ld items of %zu bytes, %s, %d rounds\n", plan.items, itemSize, folder.c_str(), plan.rounds);
    std::printf("  ratio to curl%-31s wall %.2f%s\n", isFlushed ? " and the flushes" : ", not flushed",
                Benchmarks::median(ratios), isFlushed ? "  (at most 1.50)" : "");
    Report::add({.benchmark = "ItemsBenchmark",
                 .what = std::to_string(plan.items) + " items of 1 KiB, " + (isFlushed ? "flushed" : "not flushed"),
                 .peer = isFlushed ? "curl and the flushes" : "curl",
                 .values = ratios,
                 .target = isFlushed ? 1.5 : 0});
}

} // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "engine" && argc == 3)
        return engine(std::atol(argv[2]));
    if (mode == "flush" && argc == 4)
        return flush(argv[2], std::atol(argv[3]));

    Plan plan;
    if (argc > 1)
        plan.rounds = std::atoi(argv[1]);
    if (argc > 2)
        plan.items = std::atol(argv[2]);
    if (argc > 3)
        plan.folder = argv[3];
    try {
        run(plan, "/dev/shm", false);
        run(plan, plan.folder, true);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 70;
    }
    return 0;
}
