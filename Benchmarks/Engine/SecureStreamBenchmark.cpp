// A large item over TLS on loopback to tmpfs, through the service's URL layer and engine, beside `curl -o` of the same
// file from the same server, which is nginx and then the development web service; and beside a curl that drops what it
// receives: what TLS alone costs. Each round runs all three, one after the other; the ratios are of the same round.
// Prints the processor time of both ends, since each has one processor: where the server takes all of it, the time is
// the server's.
//   SecureStreamBenchmark [ROUNDS [MIB]]

#include "Engine/Processes.h"
#include "Engine/Settings.h"
#include "Engine/StreamedItem.h"
#include "Report/Report.h"
#include "Servers/Nginx.h"
#include "Servers/ProcessFigures.h"
#include "Support/Certificates.h"
#include "Support/ServiceProcess.h"

#include <sched.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Benchmarks::Figures;
using Benchmarks::Processors;
using webservice::test::Certificate;

enum Peer : std::size_t { Engine, Curl, Discard };
constexpr std::array<const char*, 3> names = {"the engine", "curl -o F", "curl -o /dev/null"};

struct Run {
    Figures client;
    double serverCpu = 0;
};
using Round = std::array<Run, 3>;

struct Plan {
    int rounds = 8;
    long mebibytes = 2048;
};

struct Server {
    std::string name;
    std::string host;
    pid_t process;
    std::vector<std::string> curlArguments; // for the item, without -o
    std::function<void(int)> offer;         // an item for the engine, whose name ends with the number
    std::function<std::string(int)> item;   // that name
};

double medianOf(const std::vector<Round>& rounds, const std::function<double(const Round&)>& value) {
    std::vector<double> values;
    for (const Round& round : rounds)
        values.push_back(value(round));
    return Benchmarks::median(values);
}

void print(const Plan& plan, const std::string& server, const std::vector<Round>& rounds) {
    constexpr double target = 0.60;
    std::printf("an item of %ld MiB over TLS from %s, %d rounds: seconds, medians\n", plan.mebibytes, server.c_str(),
                plan.rounds);
    std::printf("  %-20s %8s %12s %12s\n", "", "wall", "client's CPU", "server's CPU");
    for (const Peer peer : {Engine, Curl, Discard})
        std::printf("  %-20s %8.2f %12.2f %12.2f\n", names.at(peer),
                    medianOf(rounds, [&](const Round& round) { return round.at(peer).client.wall; }),
                    medianOf(rounds, [&](const Round& round) { return round.at(peer).client.cpu; }),
                    medianOf(rounds, [&](const Round& round) { return round.at(peer).serverCpu; }));
    std::vector<double> ratios;
    for (const Round& round : rounds)
        ratios.push_back(round[Engine].client.wall / round[Curl].client.wall);
    std::printf("  ratio to curl -o F: wall %.2f (at most %.2f), CPU %.2f\n", Benchmarks::median(ratios), target,
                medianOf(rounds, [](const Round& round) { return round[Engine].client.cpu / round[Curl].client.cpu; }));
    Report::add({.benchmark = "SecureStreamBenchmark",
                 .what = "time of a long item over TLS from " + server,
                 .peer = "curl -o",
                 .values = ratios,
                 .target = target});
}

void run(const Plan& plan, const Server& server, const Processors& processors, const Benchmarks::Settings& settings,
         const Certificate& own) {
    ::sched_setaffinity(server.process, sizeof processors.server, &processors.server);
    const std::string self = fs::read_symlink("/proc/self/exe");
    const std::string target = settings.home() + "/peer";
    const auto curl = [&](const std::string& output) {
        std::vector<std::string> command = {"curl", "-s", "--cacert", own.certificate, "-o", output};
        command.insert(command.end(), server.curlArguments.begin(), server.curlArguments.end());
        return command;
    };
    std::vector<Round> rounds;
    for (int number = 0; number <= plan.rounds; ++number) {
        Round round;
        for (std::size_t turn = 0; turn < round.size(); ++turn) {
            // Each comes first, second and last as often as the others.
            const auto peer = static_cast<Peer>((turn + static_cast<std::size_t>(number)) % round.size());
            if (peer == Engine)
                server.offer(number);
            const double before = Benchmarks::processorSeconds(server.process);
            round.at(peer).client =
                Benchmarks::measure(processors.clients, peer == Engine ? std::vector<std::string>{self, "engine"}
                                                        : peer == Curl ? curl(target)
                                                                       : curl("/dev/null"));
            round.at(peer).serverCpu = Benchmarks::processorSeconds(server.process) - before;
            if (peer == Engine)
                fs::rename(settings.placed(server.item(number)), target);
            if (peer != Discard && fs::file_size(target) != static_cast<std::uintmax_t>(plan.mebibytes) << 20)
                throw std::runtime_error("the item is not whole");
            fs::remove(target);
        }
        std::fprintf(stderr, "round %d%s: ours %.2f s, curl %.2f s, receiving alone %.2f s\n", number,
                     number == 0 ? " (to warm up)" : "", round[Engine].client.wall, round[Curl].client.wall,
                     round[Discard].client.wall);
        if (number > 0)
            rounds.push_back(round);
    }
    print(plan, server.name, rounds);
}

void runWithNginx(const Plan& plan, const Processors& processors, const std::string& folder, const Certificate& own) {
    const Benchmarks::Nginx nginx(Benchmarks::itemLocations(folder), "    ssl_certificate " + own.certificate +
                                                                         ";\n    ssl_certificate_key " + own.key +
                                                                         ";\n");
    TestSupport::ScopedEnvironment environment;
    const Benchmarks::Settings settings(nginx.host(), 1343.0, "/dev/shm", own.certificate);
    run(plan,
        {.name = "nginx",
         .host = nginx.host(),
         .process = nginx.process(),
         .curlArguments = {"https://" + nginx.host() + "/item"},
         .offer = [](int) {},
         .item = [](int) { return "item"; }},
        processors, settings, own);
}

/// The engine's computer is 7. What curl asks for is another's, and stays offered.
void runWithService(const Plan& plan, const Processors& processors, const std::string& folder, const Certificate& own) {
    const std::string outbox = folder + "/data/outbox/";
    fs::create_directories(outbox + "7");
    fs::create_directories(outbox + "8");
    fs::create_hard_link(folder + "/item", outbox + "8/item");
    const webservice::test::ServiceProcess service(
        folder + "/data", 0, std::vector<std::string>{"--tls-certificate", own.certificate, "--tls-key", own.key});
    const Benchmarks::Settings settings(service.host(), 1343.0, "/dev/shm", own.certificate);
    const auto item = [](int number) { return "item" + std::to_string(number); };
    run(plan,
        {.name = "the development web service",
         .host = service.host(),
         .process = service.pid(),
         .curlArguments = {"-X", "POST", "-d", R"({"ToComputerID":"8"})",
                           "https://" + service.host() + Benchmarks::servicePath + "GetTopFileUploadWithStream"},
         .offer = [&](int number) { fs::create_hard_link(folder + "/item", outbox + "7/" + item(number)); },
         .item = item},
        processors, settings, own);
}

} // namespace

int main(int argc, char** argv) try {
    // Each line is seen when it is printed, be it in a pipe.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    if (argc > 1 && std::string(argv[1]) == "engine")
        return Benchmarks::receiveItem(1343.0);
    Plan plan;
    if (argc > 1)
        plan.rounds = std::atoi(argv[1]);
    if (argc > 2)
        plan.mebibytes = std::atol(argv[2]);
    const Processors processors;
    const TestSupport::ScopedEnvironment environment;
    const Benchmarks::Settings source("unused");
    Benchmarks::makeItem(source.home() + "/item", plan.mebibytes);
    const Certificate own = webservice::test::makeCertificate(source.home(), "own", "IP:127.0.0.1");
    runWithNginx(plan, processors, source.home(), own);
    runWithService(plan, processors, source.home(), own);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "SecureStreamBenchmark: %s\n", error.what());
    return 70;
}
