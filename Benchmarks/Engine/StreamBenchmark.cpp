// A large item from nginx on loopback to tmpfs, through the service's URL layer and engine, beside `curl -o` and a bare
// loop of recv and write. Each round runs all three, one after the other; the ratios are of the same round.
//   StreamBenchmark [ROUNDS [MIB [RELEASE]]]

#include "Engine/Nginx.h"
#include "Engine/Settings.h"
#include "Platform/DeploymentSettings.h"
#include "Platform/Log.h"
#include "Platform/Memory.h"
#include "Platform/RunLoop.h"
#include "TopFileUploadXpcService/TopFileUploadXpcService.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct Figures {
    double wall = 0;
    double cpu = 0;
    long peakKib = 0;
};

Figures measure(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    for (const auto& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = ::fork();
    if (child == 0) {
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
    return {std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count(),
            seconds(usage.ru_utime) + seconds(usage.ru_stime), usage.ru_maxrss};
}

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
    // The head goes into the file as well; it weighs nothing.
    for (ssize_t count = 0; (count = ::recv(connection, buffer.data(), buffer.size(), 0)) > 0;) {
        if (::write(file, buffer.data(), static_cast<std::size_t>(count)) != count)
            return 1;
    }
    return 0;
}

/// The engine, from its start until the item is acknowledged.
int engine(double release) {
    Platform::Memory::keepSmall();
    Platform::RunLoop loop;
    auto settings = Platform::DeploymentSettings::current();
    settings.appKitVersionNumber = release;
    Platform::DeploymentSettings::replace(settings);
    bool acknowledged = false;
    Platform::Log::setSink([&](std::string_view entry) {
        acknowledged = acknowledged || entry == "response {\n    \"ReturnStatus\" = \"0\";\n}";
    });
    const auto service = std::make_shared<Quenmark::TopFileUploadXpcService>();
    service->GetTopFileUpload();
    return loop.runUntil([&] { return acknowledged; }, std::chrono::seconds(300)) ? 0 : 1;
}

std::string locations(const std::string& folder) {
    const std::string service = Benchmarks::servicePath;
    const std::string json = "default_type application/json; return 200 ";
    return "    root " + folder + ";\n" + "    location = " + service + "GetTopFileUpload { " + json +
           "'{\"FileName\":\"\\\\\\\\item\",\"FileUploadID\":\"1\",\"IsFile\":\"True\",\"ReturnStatus\":\"0\"}'; }\n" +
           "    location = " + service + "UpdateFileUpload { " + json + "'{\"ReturnStatus\":\"0\"}'; }\n" +
           "    location = " + service + "GetTopFileUploadWithStream { error_page 405 =200 /item; return 405; }\n" +
           "    location = /item { add_header ReturnStatus 0; add_header IsFile True; add_header FileName '\\\\item'; "
           "}";
}

void makeItem(const std::string& path, long mebibytes) {
    std::ofstream file(path, std::ios::binary);
    std::vector<char> block(1 << 20);
    for (std::size_t index = 0; index < block.size(); ++index)
        block[index] = static_cast<char>(index * 2654435761U >> 13);
    for (long count = 0; count < mebibytes; ++count)
        file.write(block.data(), static_cast<std::streamsize>(block.size()));
}

void print(const char* what, const std::vector<Figures>& ours, const std::vector<Figures>& peer, double target) {
    std::vector<double> wall;
    std::vector<double> cpu;
    for (std::size_t round = 0; round < ours.size(); ++round) {
        wall.push_back(ours[round].wall / peer[round].wall);
        cpu.push_back(ours[round].cpu / peer[round].cpu);
    }
    std::printf("ratio to %-22s wall %.2f  CPU %.2f", what, Benchmarks::median(wall), Benchmarks::median(cpu));
    std::printf(target > 0 ? "  (at most %.2f)\n" : "\n", target);
}

/// Each comes before and behind each other one: what one has freed may cost the next one less, or more.
constexpr std::array<std::array<int, 3>, 6> orders{{{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}}};

} // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "bare" && argc == 5)
        return bareLoop(argv[2], argv[3], argv[4]);
    if (mode == "engine" && argc == 3)
        return engine(std::atof(argv[2]));

    const int rounds = argc > 1 ? std::atoi(argv[1]) : 6;
    const long mebibytes = argc > 2 ? std::atol(argv[2]) : 2048;
    const std::string release = argc > 3 ? argv[3] : "1343";
    TestSupport::ScopedEnvironment environment;
    const Benchmarks::Settings source("unused");
    makeItem(source.home() + "/item", mebibytes);
    const Benchmarks::Nginx nginx(locations(source.home()));
    const Benchmarks::Settings settings(nginx.host());
    const std::string self = fs::read_symlink("/proc/self/exe");
    const std::string target = settings.home() + "/peer";

    std::vector<Figures> ours;
    std::vector<Figures> curl;
    std::vector<Figures> bare;
    long peak = 0;
    for (int round = 0; round <= rounds; ++round) {
        Figures o;
        Figures c;
        Figures b;
        for (const int peer : orders.at(static_cast<std::size_t>(round) % orders.size())) {
            switch (peer) {
            case 0:
                b = measure({self, "bare", std::to_string(nginx.port()), "/item", target});
                break;
            case 1:
                o = measure({self, "engine", release});
                fs::rename(settings.placed("item"), target);
                break;
            default:
                c = measure({"curl", "-s", "-o", target, "http://" + nginx.host() + "/item"});
            }
            // The bare loop keeps the answer's head in the file.
            if (fs::file_size(target) < static_cast<std::uintmax_t>(mebibytes) << 20) {
                std::fprintf(stderr, "the item is not whole\n");
                return 70;
            }
            fs::remove(target);
        }
        if (round == 0)
            continue; // The first round warms the memory up.
        ours.push_back(o);
        curl.push_back(c);
        bare.push_back(b);
        peak = std::max(peak, o.peakKib);
        std::fprintf(stderr, "round %d: ours %.2f s, curl %.2f s, bare %.2f s\n", round, o.wall, c.wall, b.wall);
    }
    std::printf("an item of %ld MiB, %d rounds, release %s\n", mebibytes, rounds, release.c_str());
    print("curl -o", ours, curl, 0.40);
    print("a bare recv+write loop", ours, bare, 0);
    std::printf("peak memory                     %.1f MiB (at most 16)\n", static_cast<double>(peak) / 1024);
    return 0;
}
