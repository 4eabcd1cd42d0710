// The development web service under load, beside nginx with fixed responses to the same client: computers that poll
// every two seconds, each on a connection of its own; then downloads that all begin at once, while the computers go on;
// then requests as fast as they are answered, of a kind that writes nothing and of one that writes to the database.
// Prints how long the requests took, the server's processor time, and its memory at the beginning and the end. Server
// and client have a processor each, where there are two.
//   WebServiceBenchmark [--computers N] [--seconds N] [--downloads N] [--mebibytes N]

#include "LoadClient.h"
#include "Report/Report.h"
#include "Servers/Nginx.h"
#include "Servers/ProcessFigures.h"
#include "Servers/Processors.h"
#include "Support/ServiceProcess.h"
#include "Support/TemporaryDirectory.h"

#include <CLI/CLI.hpp>

#include <sched.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Benchmarks::LoadClient;
using namespace std::chrono_literals;

constexpr auto pollInterval = 2s;
constexpr double longestAllowed = 1000; // milliseconds
constexpr const char* servicePath = "/QuenmarkRestService/";
constexpr const char* nothingPending = R"({"ReturnStatus":"1","error":null})";
constexpr std::size_t repeatingConnections = 64;

struct Plan {
    std::size_t computers = 10'000;
    int seconds = 30;
    std::size_t downloads = 100;
    std::uint64_t mebibytes = 100;
};

std::string requestOf(const std::string& operation, const std::string& json) {
    return "POST " + (servicePath + operation) +
           " HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\nContent-Length: " +
           std::to_string(json.size()) + "\r\n\r\n" + json;
}

std::vector<std::string> requestsOf(const std::string& operation, const std::string& prefix, std::size_t count) {
    std::vector<std::string> requests;
    for (std::size_t number = 0; number < count; ++number)
        requests.push_back(requestOf(operation, R"({"ToComputerID":")" + prefix + std::to_string(number) + "\"}"));
    return requests;
}

/// One part of the load, as one server took it.
struct Part {
    LoadClient::Result result;
    double cpu = 0; // seconds
    long kib = 0;   // resident at its end

    double perSecond() const { return static_cast<double>(result.latencies.size()) / result.seconds; }
    double cpuPerRequest() const { return cpu * 1e6 / static_cast<double>(result.latencies.size()); } // microseconds
    double percentile(double share) const {
        std::vector<float> sorted = result.latencies;
        const auto index = static_cast<std::ptrdiff_t>(share * static_cast<double>(sorted.size() - 1));
        std::nth_element(sorted.begin(), sorted.begin() + index, sorted.end());
        return sorted[static_cast<std::size_t>(index)];
    }
};

struct Server {
    long kibAtStart = 0;
    long kibConnected = 0;
    Part polls;
    Part loaded;
    Part repeated;
    Part writing;
};

/// Puts one server under all parts of the load.
Server measure(const Plan& plan, pid_t process, std::uint16_t port) {
    const auto part = [&](const auto& run) {
        const double before = Benchmarks::processorSeconds(process);
        Part measured{.result = run()};
        measured.cpu = Benchmarks::processorSeconds(process) - before;
        measured.kib = Benchmarks::residentKib(process);
        return measured;
    };
    Server server;
    server.kibAtStart = Benchmarks::residentKib(process);
    {
        LoadClient client(port, nothingPending);
        client.connect(requestsOf("Uploads.svc/GetTopFileUpload", "", plan.computers));
        client.poll(pollInterval, pollInterval, {}, 0);
        server.kibConnected = Benchmarks::residentKib(process);
        server.polls = part([&] { return client.poll(pollInterval, std::chrono::seconds(plan.seconds), {}, 0); });
        server.loaded = part([&] {
            return client.poll(pollInterval, 0s,
                               requestsOf("Uploads.svc/GetTopFileUploadWithStream", "d", plan.downloads),
                               plan.mebibytes << 20);
        });
    }
    const auto time = std::chrono::seconds(std::min(plan.seconds, 5));
    {
        LoadClient client(port, nothingPending);
        client.connect(requestsOf("Uploads.svc/GetTopFileUpload", "", repeatingConnections));
        server.repeated = part([&] { return client.repeat(time); });
    }
    LoadClient client(port, R"("ReturnStatus":)");
    client.connect(std::vector(repeatingConnections,
                               requestOf("MAC/ErrorLog.svc/LogError", R"({"ErrorMessage":"a message","UserID":"1"})")));
    server.writing = part([&] { return client.repeat(time); });
    return server;
}

void printPart(const char* what, const Part& ours, const Part& nginx) {
    std::printf("%-36s %10s %10s %10s\n", what, "service", "nginx", "ratio");
    const auto line = [](const char* name, double our, double peer) {
        std::printf("  %-34s %10.1f %10.1f %10.2f\n", name, our, peer, peer > 0 ? our / peer : 0);
    };
    line("requests a second", ours.perSecond(), nginx.perSecond());
    line("median, ms", ours.percentile(0.5), nginx.percentile(0.5));
    line("99 %, ms", ours.percentile(0.99), nginx.percentile(0.99));
    line("worst, ms", ours.percentile(1), nginx.percentile(1));
    line("of that late to be sent, ms", ours.result.worstDelay, nginx.result.worstDelay);
    line("processor time, s", ours.cpu, nginx.cpu);
    line("processor time a request, us", ours.cpuPerRequest(), nginx.cpuPerRequest());
    if (ours.result.bytesDropped > 0)
        line("MiB a second of downloads", static_cast<double>(ours.result.bytesDropped) / ours.result.seconds / 1048576,
             static_cast<double>(nginx.result.bytesDropped) / nginx.result.seconds / 1048576);
}

void report(const Plan& plan, const Server& ours, const Server& nginx) {
    const auto add = [](const std::string& what, const char* unit, double value, double target) {
        Report::add({.benchmark = "WebServiceBenchmark",
                     .what = what,
                     .peer = *unit == '\0' ? "nginx with fixed responses" : "",
                     .unit = unit,
                     .values = {value},
                     .target = target});
    };
    add("longest request of " + std::to_string(plan.computers) + " computers", "ms", ours.polls.percentile(1),
        longestAllowed);
    add("longest request during " + std::to_string(plan.downloads) + " downloads", "ms", ours.loaded.percentile(1),
        longestAllowed);
    add("requests a second, nothing to write", "", ours.repeated.perSecond() / nginx.repeated.perSecond(), 0);
    add("requests a second that write", "", ours.writing.perSecond() / nginx.writing.perSecond(), 0);
    add("memory gained under load", "MiB", static_cast<double>(ours.loaded.kib - ours.kibConnected) / 1024, 0);
}

void print(const Plan& plan, const Server& ours, const Server& nginx) {
    std::printf("%zu computers that poll every two seconds, for %d s\n", plan.computers, plan.seconds);
    printPart("polls alone", ours.polls, nginx.polls);
    std::printf("and %zu downloads of %llu MiB at once\n", plan.downloads,
                static_cast<unsigned long long>(plan.mebibytes));
    printPart("polls during the downloads", ours.loaded, nginx.loaded);
    std::printf("%zu connections, as fast as they are answered\n", repeatingConnections);
    printPart("polls", ours.repeated, nginx.repeated);
    printPart("reports of errors, which write", ours.writing, nginx.writing);
    std::printf("resident memory, KiB\n");
    const auto line = [](const char* name, long our, long peer) {
        std::printf("  %-34s %10ld %10ld\n", name, our, peer);
    };
    line("at the start", ours.kibAtStart, nginx.kibAtStart);
    line("all connected, a poll each", ours.kibConnected, nginx.kibConnected);
    line("after the polls", ours.polls.kib, nginx.polls.kib);
    line("after the downloads", ours.loaded.kib, nginx.loaded.kib);
    line("after the reports of errors", ours.writing.kib, nginx.writing.kib);
    std::printf("the longest request took %.1f ms (at most %.0f)\n",
                std::max(ours.polls.percentile(1), ours.loaded.percentile(1)), longestAllowed);
    report(plan, ours, nginx);
}

/// An outbox with one file for each computer that downloads, all of them the same: bytes that are nowhere on the disk.
void makeItems(const TestSupport::TemporaryDirectory& folder, const Plan& plan) {
    const std::string item = folder.write("item", "");
    fs::resize_file(item, plan.mebibytes << 20);
    for (std::size_t number = 0; number < plan.downloads; ++number) {
        const std::string place = folder.path("data/outbox/d" + std::to_string(number));
        fs::create_directories(place);
        fs::create_hard_link(item, place + "/item");
    }
}

std::string locations(const std::string& folder) {
    const std::string stream = std::string(servicePath) + "Uploads.svc/GetTopFileUploadWithStream";
    return "    root " + folder + ";\n    location / { default_type application/json; return 200 '" + nothingPending +
           "'; }\n    location = " + stream + " { error_page 405 =200 /item; return 405; }\n" +
           "    location = /item { }";
}

void raiseDescriptorLimit() {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

void run(const Plan& plan) {
    raiseDescriptorLimit();
    const Benchmarks::Processors processors;
    const TestSupport::TemporaryDirectory folder;
    makeItems(folder, plan);
    const auto pin = [&](pid_t process) { ::sched_setaffinity(process, sizeof processors.server, &processors.server); };
    ::sched_setaffinity(0, sizeof processors.clients, &processors.clients);
    Server ours;
    {
        const webservice::test::ServiceProcess service(folder.path("data"));
        pin(service.pid());
        ours = measure(plan, service.pid(), service.port());
    }
    const Benchmarks::Nginx nginx(locations(folder.path()));
    pin(nginx.process());
    print(plan, ours, measure(plan, nginx.process(), nginx.port()));
}

} // namespace

int main(int argc, char** argv) try {
    // Each line is seen when it is printed, be it in a pipe.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    Plan plan;
    CLI::App app("The development web service under load, beside nginx with fixed responses.");
    app.add_option("--computers", plan.computers, "How many computers poll")->capture_default_str();
    app.add_option("--seconds", plan.seconds, "For how long they poll before the downloads")->capture_default_str();
    app.add_option("--downloads", plan.downloads, "How many downloads begin at once")->capture_default_str();
    app.add_option("--mebibytes", plan.mebibytes, "How long each of them is")->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    run(plan);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "WebServiceBenchmark: %s\n", error.what());
    return 70;
}
