// Operations per second through the facade, one after the other, beside a loop of libcurl's easy interface that makes
// the same exchange with the same server, which is nginx with a fixed response, and then the development web service;
// and the memory that 100,000 operations take. The log's entries are made and dropped.

#include "PairedRuns.h"
#include "Platform/Log.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Settings/DeploymentSettings.h"
#include "Report/Report.h"
#include "Servers/Nginx.h"
#include "Services/RestInterface.h"
#include "Services/ServiceContext.h"
#include "Support/ServiceProcess.h"
#include "Support/TemporaryDirectory.h"

#include <curl/curl.h>

#include <unistd.h>

#include <cstdio>
#include <exception>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace {

constexpr const char* response = R"({"ReturnStatus": "1", "FileName": "Report.pdf", "error": {"ErrorCode": "0"}})";
constexpr const char* path = "/QuenmarkRestService/Uploads.svc/GetTopFileUpload";
constexpr const char* body = "{\n  \"ToComputerID\" : \"91\"\n}";
constexpr std::size_t operationsPerRun = 2'000;
constexpr std::size_t pairs = 15;
constexpr double target = 0.8;

/// The development web service gives the whole path, which begins with a backslash.
bool namesItem(const Quenmark::ResponseField& fileName) {
    return fileName == "Report.pdf" || fileName == "\\Report.pdf";
}

void require(bool condition, const char* what) {
    if (!condition)
        throw std::runtime_error(what);
}

/// Makes operations through the facade, each from the handler of the one before.
class FacadeLoop {
public:
    explicit FacadeLoop(const Platform::DeploymentSettings& settings) {
        context_.settings = [settings] { return settings; };
    }

    void run(std::size_t count) {
        left_ = count;
        next();
        require(loop_.runUntil([this] { return left_ == 0 || failed_; }, std::chrono::minutes(10)) && !failed_,
                "an operation failed");
    }

private:
    void next() {
        Quenmark::GetTopFileUploadQuery query;
        query.toComputerId = "91";
        Quenmark::RestInterface::asyncGetTopFileUpload(
            query,
            [this](const auto& result, std::int64_t status) {
                failed_ = failed_ || status != 0 || !namesItem(result.value()->fileName);
                if (--left_ > 0 && !failed_)
                    next();
            },
            context_);
    }

    Platform::RunLoop loop_;
    Quenmark::ServiceContext context_;
    std::size_t left_ = 0;
    bool failed_ = false;
};

/// The same exchanges, as plainly as libcurl makes them: one handle, one connection.
class CurlLoop {
public:
    explicit CurlLoop(const std::string& host) {
        curl_easy_setopt(easy_.get(), CURLOPT_URL, ("http://" + host + path).c_str());
        curl_easy_setopt(easy_.get(), CURLOPT_POSTFIELDS, body);
        curl_easy_setopt(easy_.get(), CURLOPT_HTTPHEADER, headers_.get());
        curl_easy_setopt(easy_.get(), CURLOPT_WRITEFUNCTION, &CurlLoop::receive);
        curl_easy_setopt(easy_.get(), CURLOPT_WRITEDATA, this);
    }

    void run(std::size_t count) {
        for (; count > 0; --count)
            require(bringsItem(), "a response without the item");
    }

    /// Exchanges until the response names the item, which a service may have to find first.
    void awaitItem() {
        while (!bringsItem()) {
        }
    }

private:
    /// Makes one exchange.
    bool bringsItem() {
        received_.clear();
        require(curl_easy_perform(easy_.get()) == CURLE_OK, "an exchange failed");
        return received_.find("Report.pdf") != std::string::npos;
    }
    static std::size_t receive(char* bytes, std::size_t size, std::size_t count, void* self) {
        static_cast<CurlLoop*>(self)->received_.append(bytes, size * count);
        return size * count;
    }

    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy_{curl_easy_init(), curl_easy_cleanup};
    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers_{
        curl_slist_append(curl_slist_append(nullptr, "Content-Type: application/json"), "Accept:"),
        curl_slist_free_all};
    std::string received_;
};

/// The memory that is in use, in KiB (proc(5), /proc/PID/statm).
long residentMemory() {
    std::ifstream statm("/proc/self/statm");
    long total = 0;
    long resident = 0;
    statm >> total >> resident;
    return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

void compare(const char* server, const char* transport, double release, const std::string& host) {
    CurlLoop curl(host);
    curl.awaitItem();
    FacadeLoop facade({.serviceHost = host, .appKitVersionNumber = release});
    facade.run(1'000);
    const long early = residentMemory();
    facade.run(99'000);
    const long late = residentMemory();

    const auto times = PairedRuns::measure(
        pairs, [&] { facade.run(operationsPerRun); }, [&] { curl.run(operationsPerRun); });
    std::printf("%s, %s: operations per second, median of %zu pairs of %zu\n", server, transport, pairs,
                operationsPerRun);
    std::printf("  facade         %8.0f\n  libcurl loop   %8.0f\n", operationsPerRun / times.ours,
                operationsPerRun / times.peers);
    std::printf("  facade : loop  %8.3f    (at least %.1f)\n", 1 / times.ratio, target);
    std::vector<double> ratios;
    for (const double ratio : times.ratios)
        ratios.push_back(1 / ratio);
    Report::add({.benchmark = "OperationsBenchmark",
                 .what = std::string("operations a second, ") + server + ", " + transport,
                 .peer = "a loop of libcurl",
                 .values = ratios,
                 .target = target,
                 .isAtLeast = true});
    std::printf("  resident memory after 1,000 operations %ld KiB, after 100,000 %ld KiB: %+ld KiB\n", early, late,
                late - early);
}

} // namespace

int main() try {
    // Each line is seen when it is printed, be it in a pipe.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    Platform::Log::setSink([](std::string_view) {});
    const Benchmarks::Nginx nginx("    default_type application/json;\n    location / { return 200 '" +
                                  std::string(response) + "'; }\n");
    const TestSupport::TemporaryDirectory folder;
    folder.write("outbox/91/Report.pdf", "x");
    const webservice::test::ServiceProcess service(folder.path());
    for (const auto& [transport, release] :
         {std::pair("session transport", 1343.0), std::pair("connection transport", 1138.6)}) {
        compare("nginx", transport, release, nginx.host());
        compare("development web service", transport, release, service.host());
    }
} catch (const std::exception& exception) {
    std::fprintf(stderr, "OperationsBenchmark: %s\n", exception.what());
    return 1;
}
