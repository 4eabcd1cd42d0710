// Any JSON, or what is none, as the body of every operation of the development web service, several in a row on a real
// database: each gets a response in its form, and the state stays consistent.
//
// An input has a request a line: a byte that selects the operation, and the body. For the content of a requested file
// the line is its "FilePath". Everything happens in a transaction that is rolled back at the end, so that every input
// finds the same state.

#include "WebService/Http/Exchange.h"
#include "WebService/OperationTable.h"
#include "WebService/State.h"
#include "WebService/WebApplication.h"

#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace {

using namespace webservice;

constexpr int inputsForEachState = 2000; // then its folder has become large
constexpr int mostRequests = 3;
constexpr std::size_t longestInput = 600;

void require(bool condition, std::string_view operation, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "%.*s: %s\n", static_cast<int>(operation.size()), operation.data(), what);
        std::abort();
    }
}

std::string headerOf(const Response& response, std::string_view name) {
    for (const auto& [key, value] : response.headers) {
        if (key == name) {
            return value;
        }
    }
    return "";
}

bool hasStatus(const boost::json::value& response) {
    const auto* object = response.if_object();
    const auto* status = object != nullptr ? object->if_contains("ReturnStatus") : nullptr;
    return status != nullptr && (*status == "0" || *status == "1");
}

void checkResponse(const Operation& operation, const Response& response) {
    require(response.status == 200 || response.status == 400 || response.status == 413, operation.path, "odd status");
    if (std::holds_alternative<DownloadOperation>(operation.handler)) {
        const std::string status = headerOf(response, "ReturnStatus");
        require(status == "0" || status == "1" || status == "2", operation.path, "no \"ReturnStatus\"");
        require(response.body.empty() && (status == "0" || !response.file), operation.path, "a refusal has a body");
        return;
    }
    boost::json::error_code error;
    const boost::json::value value = boost::json::parse(response.body, error);
    require(!error, operation.path, "the response is not JSON");
    if (const auto* list = value.if_array()) {
        for (const boost::json::value& entry : *list) {
            require(hasStatus(entry), operation.path, "an entry has no \"ReturnStatus\"");
        }
    } else {
        require(hasStatus(value), operation.path, "the response has no \"ReturnStatus\"");
    }
}

// A service on a folder in memory, with a little of everything in it.
class Service {
public:
    Service() {
        std::signal(SIGIO, SIG_IGN);
        std::filesystem::create_directories(folder_ + "/outbox/7/Docs");
        state_ = std::make_unique<State>(folder_);
        post("Registration.svc/VerifyAndRegisterUserFromTool", R"({"MailID":"a@b","Password":"p"})");
        for (int i = 0; i < 3; ++i) {
            post("Registration.svc/RegisterComputer", R"({"UserID":"1","QuenmarkPath":"Users\\ann"})");
        }
        post("SyncFileChanges.svc/SyncFilesInTableAndCloud",
             R"([{"ComputerID":"2","ChangeType":"Created","FullPath":"a.txt"},)"
             R"({"ComputerID":"2","ChangeType":"Created","FullPath":"b.txt"},)"
             R"({"ComputerID":"2","ChangeType":"Created","FullPath":"Docs","IsFile":"False"}])");
        post("Downloads.svc/UpdateFileRequestWithStream", "a.txt");
        post("SyncFileChanges.svc/InsertSharedFilesTransfer",
             R"({"FileID":"1","ComputerID":"2","UserComputerID":"4"})");
    }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;
    ~Service() {
        state_.reset();
        std::filesystem::remove_all(folder_);
    }

    void run(std::string_view input) {
        const Transaction rolledBack(state_->db);
        for (int i = 0; i < mostRequests && !input.empty(); ++i) {
            const std::string_view line = input.substr(0, input.find('\n'));
            input.remove_prefix(std::min(line.size() + 1, input.size()));
            if (!line.empty()) {
                const auto index = static_cast<unsigned char>(line.front()) % operations().size();
                const Operation& operation = operations()[index];
                checkResponse(operation, post(operation.path, line.substr(1)));
            }
        }
        checkState();
    }

private:
    Response post(std::string_view operation, std::string_view body) {
        Request request;
        request.method = "POST";
        request.target = "/QuenmarkRestService/" + std::string(operation);
        request.headers = {{"Host", "localhost"}, {"FileRequestID", "1"}, {"FilePath", std::string(body)}};
        try {
            const auto exchange = application().begin(request);
            exchange->receive(body);
            return exchange->finish();
        } catch (const RequestError& error) {
            return application().errorFor(request, error);
        }
    }

    WebApplication& application() {
        if (!application_) {
            application_ = std::make_unique<WebApplication>(*state_);
        }
        return *application_;
    }

    void checkNone(const char* what, Sql sql) { require(!state_->db.query(sql).next(), "state", what); }

    void checkState() {
        checkNone("a reference leads nowhere", "PRAGMA foreign_key_check");
        checkNone("an upload is pending and nothing lies in the outbox for it",
                  "SELECT 1 FROM uploads WHERE state = 'pending' AND id NOT IN (SELECT upload FROM outbox)");
        checkNone("the uploads are counted wrongly",
                  "SELECT 1 FROM upload_counts AS c WHERE count <> "
                  "(SELECT count(*) FROM uploads WHERE computer = c.computer AND state = c.state)");
        checkNone("a request waits for the content of a file that does not exist",
                  "SELECT 1 FROM requests JOIN files ON files.id = file WHERE state = 'waiting' AND NOT present");
        checkNone("a request has another computer than its file",
                  "SELECT 1 FROM requests JOIN files ON files.id = file WHERE requests.computer IS NOT files.computer");
    }

    std::string folder_ = "/dev/shm/FuzzOperations-" + std::to_string(::getpid());
    std::unique_ptr<State> state_;
    std::unique_ptr<WebApplication> application_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > longestInput) {
        return -1; // it would only take longer
    }
    static std::unique_ptr<Service> service;
    static int inputs = 0;
    if (!service || ++inputs % inputsForEachState == 0) {
        service.reset();
        service = std::make_unique<Service>();
    }
    service->run({reinterpret_cast<const char*>(data), size});
    return 0;
}
