// A large item from nginx on loopback to tmpfs, through the service's URL layer and engine, beside `curl -o`, a bare
// loop of recv and write, and a loop that only writes: what the file alone costs. Each round runs all four, one after
// the other; the ratios are of the same round. Everything is done twice, on a tmpfs of small pages, as most systems
// mount it, and on one of large pages (tmpfs(5), "huge").
// Takes three times the item's length of memory.
// A first part is flushed, in a folder of the disk: the engine beside `curl -o F && sync F`. The loop must not be
// blocked meanwhile for more than 20 ms, which each round prints.
//   StreamBenchmark [ROUNDS [MIB [RELEASE [FOLDER]]]]

#include "Engine/Processes.h"
#include "Engine/Settings.h"
#include "Engine/StreamedItem.h"
#include "Report/Report.h"
#include "Servers/Nginx.h"
#include "Support/Namespaces.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;

using Benchmarks::Figures;
using Benchmarks::itemLocations;
using Benchmarks::makeItem;
using Benchmarks::measure;
using Benchmarks::Processors;

/// The peer that does nothing but receive and write.
int bareLoop(const char* port, const char* target, const char* path) {
    const int connection = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(std::atoi(port)));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
        return 1;
    const std::string request = "GET " + std::string(target) + " HTTP/1.0\r\n\r\n";
    if (::send(connection, request.data(), request.size(), 0) < 0)
        return 1;
    const int file = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    std::vector<char> buffer(1 << 20);
    // The headers go into the file as well; they are short.
    for (ssize_t count = 0; (count = ::recv(connection, buffer.data(), buffer.size(), 0)) > 0;) {
        if (::write(file, buffer.data(), static_cast<std::size_t>(count)) != count)
            return 1;
    }
    return 0;
}

/// The peer that receives nothing: it makes a file of the item's length.
int fill(long mebibytes, const char* path) {
    const int file = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const std::vector<char> buffer(1 << 20, 'x');
    for (long count = 0; count < mebibytes; ++count) {
        if (::write(file, buffer.data(), buffer.size()) != static_cast<ssize_t>(buffer.size()))
            return 1;
    }
    return 0;
}

/// Memory that is free in blocks of 2 MiB may be taken back by the machine that runs this one, and costs whoever gets
/// it next far more. This leaves twice the item's length free, in blocks that are a page short of that.
void leaveMemoryFree(const std::string& path, long mebibytes) {
    const off_t whole = static_cast<off_t>(2 * mebibytes) << 20;
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const std::vector<char> block(2 << 20, 'x');
    const auto length = static_cast<off_t>(block.size());
    for (off_t offset = 0; offset < whole; offset += length) {
        if (::pwrite(file, block.data(), block.size(), offset) != length)
            throw std::system_error(errno, std::generic_category(), path);
    }
    constexpr off_t page = 4096;
    for (off_t offset = 0; offset < whole; offset += length) {
        if (::fallocate(file, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, offset + page, length - page) != 0)
            throw std::system_error(errno, std::generic_category(), path);
    }
    ::close(file);
}

enum Peer : std::size_t { Engine, Curl, Bare, Fill };
using Round = std::array<Figures, 4>;

/// In four rounds each comes first once, and once right behind each other one: what one frees may cost the next less.
constexpr std::array<std::array<Peer, 4>, 4> orders{
    {{Engine, Curl, Fill, Bare}, {Curl, Bare, Engine, Fill}, {Bare, Fill, Curl, Engine}, {Fill, Engine, Bare, Curl}}};

void print(const char* what, const std::vector<Round>& rounds, Peer ours, Peer peer, double target,
           const std::string& place) {
    std::vector<double> wall;
    std::vector<double> cpu;
    for (const Round& round : rounds) {
        wall.push_back(round.at(ours).wall / round.at(peer).wall);
        cpu.push_back(round.at(ours).cpu / round.at(peer).cpu);
    }
    std::printf("%-44s wall %.2f  CPU %.2f", what, Benchmarks::median(wall), Benchmarks::median(cpu));
    std::printf(target > 0 ? "  (at most %.2f)\n" : "\n", target);
    if (target > 0)
        Report::add({.benchmark = "StreamBenchmark",
                     .what = "time of a long item, " + place,
                     .peer = std::string(what).substr(std::string("  ratio to ").size()),
                     .values = wall,
                     .target = target});
}

struct Plan {
    int rounds = 8;
    long mebibytes = 2048;
    std::string release = "1343";
    std::string folder = "/var/tmp";
};

/// Runs all rounds in a tmpfs of its own and prints what came out.
bool run(const Plan& plan, const char* pages) {
    if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("none", "/dev/shm", "tmpfs", 0, (std::string("size=100%,huge=") + pages).c_str()) != 0)
        throw std::system_error(errno, std::generic_category(), "a tmpfs of this program's own");
    const Processors processors;
    TestSupport::ScopedEnvironment environment;
    const Benchmarks::Settings source("unused");
    makeItem(source.home() + "/item", plan.mebibytes);
    leaveMemoryFree(source.home() + "/held", plan.mebibytes);
    const Benchmarks::Nginx nginx(itemLocations(source.home()));
    ::sched_setaffinity(nginx.process(), sizeof processors.server, &processors.server);
    const Benchmarks::Settings settings(nginx.host());
    const std::string self = fs::read_symlink("/proc/self/exe");
    const std::string target = settings.home() + "/peer";
    const std::array<std::vector<std::string>, 4> commands{{
        {self, "engine", plan.release},
        {"curl", "-s", "-o", target, "http://" + nginx.host() + "/item"},
        {self, "bare", std::to_string(nginx.port()), "/item", target},
        {self, "fill", std::to_string(plan.mebibytes), target},
    }};

    std::vector<Round> rounds;
    for (int number = 0; number <= plan.rounds; ++number) {
        Round round;
        for (const Peer peer : orders.at(static_cast<std::size_t>(number) % orders.size())) {
            round.at(peer) = measure(processors.clients, commands.at(peer));
            if (peer == Engine)
                fs::rename(settings.placed("item"), target);
            // The bare loop keeps the response's headers in the file.
            if (fs::file_size(target) < static_cast<std::uintmax_t>(plan.mebibytes) << 20)
                throw std::runtime_error("the item is not whole");
            fs::remove(target);
        }
        std::fprintf(stderr, "round %d%s: ours %.2f s, curl %.2f s, bare %.2f s, writing alone %.2f s\n", number,
                     number == 0 ? " (to warm up)" : "", round[Engine].wall, round[Curl].wall, round[Bare].wall,
                     round[Fill].wall);
        if (number > 0)
            rounds.push_back(round);
    }
    long peak = 0;
    for (const Round& round : rounds)
        peak = std::max(peak, round[Engine].peakKib);
    std::printf("an item of %ld MiB, tmpfs huge=%s, %d rounds, release %s\n", plan.mebibytes, pages, plan.rounds,
                plan.release.c_str());
    const std::string place = std::string("tmpfs huge=") + pages;
    print("  ratio to curl -o", rounds, Engine, Curl, 0.40, place);
    print("  ratio to a bare recv+write loop", rounds, Engine, Bare, 0, place);
    print("  writing alone, as a ratio to curl -o", rounds, Fill, Curl, 0, place);
    std::printf("  peak memory %37.1f MiB  (at most 16)\n", static_cast<double>(peak) / 1024);
    Report::add({.benchmark = "StreamBenchmark",
                 .what = "peak memory during a long item, " + place,
                 .unit = "MiB",
                 .values = {static_cast<double>(peak) / 1024},
                 .target = 16});
    return true;
}

/// The same item, from the same server, onto the disk.
void runOnDisk(const Plan& plan) {
    const Processors processors;
    TestSupport::ScopedEnvironment environment;
    const Benchmarks::Settings source("unused");
    makeItem(source.home() + "/item", plan.mebibytes);
    const Benchmarks::Nginx nginx(itemLocations(source.home()));
    ::sched_setaffinity(nginx.process(), sizeof processors.server, &processors.server);
    const std::string self = fs::read_symlink("/proc/self/exe");
    std::vector<Round> rounds;
    for (int number = 0; number <= plan.rounds; ++number) {
        const Benchmarks::Settings settings(nginx.host(), 1343.0, plan.folder);
        const std::string target = settings.home() + "/peer";
        Round round;
        // What a run before has left to write, as files that were removed, is nobody's time.
        const auto ours = [&] {
            ::sync();
            round[Engine] = measure(processors.clients, {self, "engine", plan.release});
            if (fs::file_size(settings.placed("item")) != static_cast<std::uintmax_t>(plan.mebibytes) << 20)
                throw std::runtime_error("the item is not whole");
            fs::remove(settings.placed("item"));
        };
        const auto curl = [&] {
            ::sync();
            round[Curl] = measure(processors.clients, {"sh", "-c", "curl -s -o \"$0\" \"$1\" && sync \"$0\"", target,
                                                       "http://" + nginx.host() + "/item"});
            fs::remove(target);
        };
        number % 2 == 0 ? ours() : curl();
        number % 2 == 0 ? curl() : ours();
        std::fprintf(stderr, "round %d%s: ours %.2f s, curl and sync %.2f s\n", number,
                     number == 0 ? " (to warm up)" : "", round[Engine].wall, round[Curl].wall);
        if (number > 0)
            rounds.push_back(round);
    }
    std::printf("an item of %ld MiB, flushed, %s, %d rounds, release %s\n", plan.mebibytes, plan.folder.c_str(),
                plan.rounds, plan.release.c_str());
    print("  ratio to curl -o F && sync F", rounds, Engine, Curl, 1.00, "flushed to a disk");
}

} // namespace

int main(int argc, char** argv) {
    // Each line is seen when it is printed, be it in a pipe.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "bare" && argc == 5)
        return bareLoop(argv[2], argv[3], argv[4]);
    if (mode == "fill" && argc == 4)
        return fill(std::atol(argv[2]), argv[3]);
    if (mode == "engine" && argc == 3)
        return Benchmarks::receiveItem(std::atof(argv[2]));

    Plan plan;
    if (argc > 1)
        plan.rounds = std::atoi(argv[1]);
    if (argc > 2)
        plan.mebibytes = std::atol(argv[2]);
    if (argc > 3)
        plan.release = argv[3];
    if (argc > 4)
        plan.folder = argv[4];
    // The disk comes first: memory that the other parts have given back costs whoever gets it next.
    try {
        runOnDisk(plan);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 70;
    }
    for (const char* pages : {"never", "within_size"}) {
        if (!TestSupport::succeedsInNamespaces(CLONE_NEWNS, [&] { return run(plan, pages); }))
            return 70;
    }
    return 0;
}
