#include "Platform/Loop/RunLoop.h"
#include "Platform/Printable.h"
#include "Platform/Settings/DeploymentSettings.h"
#include "Platform/UrlLoading/UrlSession.h"
#include "Tools/Output.h"
#include "Tools/RequiredSettings.h"
#include "Tools/Shipment.h"
#include "Tools/TransportStatus.h"
#include "Tools/Verbs.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace Tools {

using Platform::Data;
using Platform::Error;
using Platform::HttpUrlResponse;

namespace {

struct PushArguments {
    std::string path;
    std::string computer;
    std::optional<std::string> name;
    std::optional<std::string> server;
};

/// Queues one item after the other.
class Pusher {
public:
    Pusher(std::string server, std::string computer, std::vector<Shipment> shipments)
        : server_(std::move(server)), computer_(std::move(computer)), shipments_(std::move(shipments)),
          session_(Platform::UrlSession::sessionWithConfiguration(
              Platform::UrlSessionConfiguration::defaultSessionConfiguration(), nullptr, Platform::Queue::main())) {}

    void run() {
        Platform::Queue::main().async([this] { guarded([this] { sendNext(); }); });
        loop().run();
        if (failure_)
            throw Failure(*failure_);
    }

private:
    static Platform::RunLoop& loop() { return Platform::RunLoop::main(); }

    void sendNext() {
        if (next_ == shipments_.size())
            return loop().stop(0);
        const auto& shipment = shipments_[next_];
        progress_.show(std::to_string(next_ + 1) + "/" + std::to_string(shipments_.size()) + " " + shipment.name +
                       (shipment.isFolder ? "" : " " + byteCount(shipment.size)));
        Platform::UrlRequest request;
        request.httpMethod = "PUT";
        request.url = Platform::Url::fromString("http://" + server_ + outboxTarget(computer_, shipment));
        if (!request.url)
            return fail(ExitStatus::Usage, "\"" + server_ + "\" is no host with an optional port");
        auto handler = [this](const std::optional<Data>& data, const std::optional<HttpUrlResponse>& response,
                              const std::optional<Error>& error) {
            guarded([&] { responseReceived(data, response, error); });
        };
        if (shipment.isFolder) {
            request.httpBody = Data();
            session_->dataTaskWithRequest(std::move(request), handler)->resume();
        } else {
            const auto file = Platform::Url::fileUrl(shipment.localPath);
            session_->uploadTaskWithRequest(std::move(request), file, handler)->resume();
        }
    }

    void responseReceived(const std::optional<Data>& data, const std::optional<HttpUrlResponse>& response,
                          const std::optional<Error>& error) {
        const auto& shipment = shipments_[next_];
        if (error)
            return fail(exitStatusOfTransport(error->code), shipment.name + ": " + error->localizedDescription);
        const int status = response ? response->statusCode : 0;
        if (status < 200 || status > 299)
            return fail(ExitStatus::Protocol, shipment.name + ": the server returned " + std::to_string(status) + ": " +
                                                  data.value_or(Data()).substr(0, longestResponse));
        progress_.clear();
        print(Platform::printable(shipment.name) + "\n");
        ++next_;
        sendNext();
    }

    void fail(ExitStatus status, const std::string& text) { fail(Failure(status, text)); }

    void fail(Failure failure) {
        progress_.clear();
        failure_ = std::move(failure);
        loop().stop(0);
    }

    /// What a task throws, the loop would only log.
    template <class Work>
    void guarded(const Work& work) {
        try {
            work();
        } catch (const Failure& failure) {
            fail(failure);
        }
    }

    static constexpr std::size_t longestResponse = 400;

    std::string server_;
    std::string computer_;
    std::vector<Shipment> shipments_;
    std::size_t next_ = 0;
    ProgressLine progress_;
    std::optional<Failure> failure_;
    std::shared_ptr<Platform::UrlSession> session_;
};

ExitStatus push(const PushArguments& arguments) {
    if (!arguments.server)
        requireDeployment();
    auto consignment = consignmentOf(arguments.path, arguments.name);
    for (const auto& path : consignment.leftOut)
        complain("left out, since it is neither a file nor a folder: " + path);
    Platform::RunLoop loop;
    Pusher(arguments.server.value_or(Platform::DeploymentSettings::current().serviceHost), arguments.computer,
           std::move(consignment.shipments))
        .run();
    return ExitStatus::Success;
}

} // namespace

void addPush(CLI::App& program, Action& action) {
    auto& verb = *program.add_subcommand("push", "Queue a file or folder for a computer at a development web service");
    const auto arguments = std::make_shared<PushArguments>();
    verb.add_option("FILE", arguments->path, "A file, or a folder with all that is in it")->required()->type_name("");
    verb.add_option("--to", arguments->computer, "The computer's identifier")->required()->type_name("COMPUTER");
    verb.add_option_function<std::string>(
            "--as", [arguments](const std::string& name) { arguments->name = name; },
            "The item's name there, with \"\\\" between its parts (the file's own name)")
        ->type_name("NAME");
    verb.add_option_function<std::string>(
            "--server", [arguments](const std::string& server) { arguments->server = server; },
            "The web service (the one of the deployment settings)")
        ->type_name("HOST[:PORT]");
    verb.footer("Prints the name of each item as it is queued. Symbolic links in a folder are left out. Ends with 66\n"
                "where FILE is not there, 69 where the server cannot be reached, 76 where it refuses.\n\n"
                "Example:\n  quenmark push a.txt --to 17 --as '\\Docs\\a.txt'");
    verb.callback([&action, arguments] { action = [arguments] { return push(*arguments); }; });
}

} // namespace Tools
