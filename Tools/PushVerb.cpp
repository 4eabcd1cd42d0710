#include "Platform/Loop/Queue.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Network/HostAndPort.h"
#include "Platform/Printable.h"
#include "Platform/Settings/DeploymentSettings.h"
#include "Platform/UrlLoading/UrlSession.h"
#include "Tools/Output.h"
#include "Tools/RequiredSettings.h"
#include "Tools/SharedPreferences.h"
#include "Tools/Shipment.h"
#include "Tools/TransportStatus.h"
#include "Tools/Verbs.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <memory>

namespace Tools {

using Platform::Data;
using Platform::Error;
using Platform::HttpUrlResponse;

namespace {

struct PushArguments {
    std::string path;
    std::optional<std::string> computer;
    std::optional<std::string> name;
    std::optional<std::string> server;
};

void reportLeftOut(const std::string& problem) {
    printMessage("left out: " + problem);
}

/// Queues one item after the other. Of a folder, what cannot be sent is reported and left out.
class Pusher {
public:
    Pusher(std::string server, std::string computer, std::vector<Shipment> shipments)
        : server_(std::move(server)), computer_(std::move(computer)), shipments_(std::move(shipments)),
          session_(Platform::UrlSession::sessionWithConfiguration(
              Platform::UrlSessionConfiguration::defaultSessionConfiguration(), nullptr, Platform::Queue::main())) {}

    /// Returns how many items were left out.
    std::size_t run() {
        Platform::Queue::main().async([this] { guarded([this] { sendNext(); }); });
        loop().run();
        if (failure_)
            throw Failure(*failure_);
        return leftOut_;
    }

private:
    static Platform::RunLoop& loop() { return Platform::RunLoop::main(); }

    void sendNext() {
        if (next_ == shipments_.size())
            return loop().stop(0);
        const auto& shipment = shipments_[next_];
        Platform::UrlRequest request;
        request.httpMethod = "PUT";
        const auto host = Platform::HostAndPort::split(server_);
        if (host && host->isValid())
            request.url = Platform::Url::fromString(scheme_ + "://" + server_ + outboxTarget(computer_, shipment));
        if (!request.url)
            return fail(ExitStatus::Usage, "\"" + server_ + "\" is no host with an optional port");
        auto handler = [this](const std::optional<Data>& data, const std::optional<HttpUrlResponse>& response,
                              const std::optional<Error>& error) {
            guarded([&] { responseReceived(data, response, error); });
        };
        if (shipment.isFolder)
            request.httpBody = Data();
        task_ = shipment.isFolder ? session_->dataTaskWithRequest(std::move(request), handler)
                                  : session_->uploadTaskWithRequest(
                                        std::move(request), Platform::Url::fileUrl(shipment.localPath), handler);
        started_ = loop().now();
        showProgress();
        task_->resume();
    }

    void showProgress() {
        const auto& shipment = shipments_[next_];
        std::string text = std::to_string(next_ + 1) + "/" + std::to_string(shipments_.size()) + " ";
        const auto sent = task_->countOfBytesSent();
        if (!shipment.isFolder)
            text += (sent == 0 ? byteCount(shipment.size) : shareOf(sent, shipment.size) + rateOf(sent)) + " ";
        progress_.show(text + shipment.name);
        timer_ = Platform::Queue::main().timer(progressInterval, [this] { showProgress(); });
    }

    std::string rateOf(std::uint64_t sent) const {
        const double seconds = std::chrono::duration<double>(loop().now() - started_).count();
        if (seconds <= 0)
            return "";
        return ", " + byteCount(static_cast<std::uint64_t>(static_cast<double>(sent) / seconds)) + "/s";
    }

    void responseReceived(const std::optional<Data>& data, const std::optional<HttpUrlResponse>& response,
                          const std::optional<Error>& error) {
        constexpr int badRequest = 400;
        timer_.cancel();
        progress_.clear();
        const auto& shipment = shipments_[next_];
        if (error) {
            const Failure failure(exitStatusOfTransport(error->code),
                                  shipment.name + ": " + error->localizedDescription);
            return error->code == Platform::UrlError::FileDoesNotExist ? leaveOut(failure) : fail(failure);
        }
        const int status = response ? response->statusCode : 0;
        if (status < 200 || status > 299) {
            const Failure failure(ExitStatus::Protocol, shipment.name + ": the server returned " +
                                                            std::to_string(status) + ": " +
                                                            data.value_or(Data()).substr(0, longestResponse));
            // The name cannot be that of an item.
            return status == badRequest ? leaveOut(failure) : fail(failure);
        }
        print(Platform::printable(shipment.name) + "\n");
        ++next_;
        sendNext();
    }

    /// Goes on with the next item; where the first one is not sent, nothing is.
    void leaveOut(const Failure& failure) {
        if (next_ == 0)
            return fail(failure);
        reportLeftOut(failure.what());
        ++leftOut_;
        ++next_;
        sendNext();
    }

    void fail(ExitStatus status, const std::string& text) { fail(Failure(status, text)); }

    void fail(Failure failure) {
        timer_.cancel();
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
    static constexpr auto progressInterval = std::chrono::milliseconds(500);

    std::string server_;
    std::string scheme_ = Platform::DeploymentSettings::current().serviceScheme;
    std::string computer_;
    std::vector<Shipment> shipments_;
    std::size_t next_ = 0;
    std::size_t leftOut_ = 0;
    ProgressLine progress_;
    Platform::Timer timer_;
    Platform::Duration started_{};
    std::optional<Failure> failure_;
    std::shared_ptr<Platform::UrlSession> session_;
    std::shared_ptr<Platform::UrlSessionTask> task_;
};

std::string ownComputer() {
    if (const auto computer = preferenceText(sharedPreferences(), computerIdKey))
        return *computer;
    throw Failure(ExitStatus::Configuration, std::string(computerIdKey) + " is not set; name a computer with --to");
}

ExitStatus push(const PushArguments& arguments) {
    // Without a host the scheme or the authorities are wrong, and nothing is sent to any server.
    if (!arguments.server || Platform::DeploymentSettings::current().serviceHost.empty())
        requireDeployment();
    const auto computer = arguments.computer ? *arguments.computer : ownComputer();
    auto consignment = consignmentOf(arguments.path, arguments.name);
    for (const auto& problem : consignment.leftOut)
        reportLeftOut(problem);
    Platform::RunLoop loop;
    Pusher pusher(arguments.server.value_or(Platform::DeploymentSettings::current().serviceHost), computer,
                  std::move(consignment.shipments));
    const std::size_t leftOut = consignment.leftOut.size() + pusher.run();
    if (leftOut > 0)
        throw Failure(ExitStatus::DataError,
                      leftOut == 1 ? "1 item was left out" : std::to_string(leftOut) + " items were left out");
    return ExitStatus::Success;
}

} // namespace

void addPush(CLI::App& program, Action& action) {
    auto& verb = *program.add_subcommand("push", "Queue a file or folder for a computer at a development web service");
    const auto arguments = std::make_shared<PushArguments>();
    verb.add_option("FILE", arguments->path, "A file, or a folder with all that is in it")->required()->type_name("");
    verb.add_option_function<std::string>(
            "--to", [arguments](const std::string& computer) { arguments->computer = computer; },
            "The computer's identifier (this computer's)")
        ->type_name("COMPUTER");
    verb.add_option_function<std::string>(
            "--as", [arguments](const std::string& name) { arguments->name = name; },
            "The item's name there, with \"\\\" between its parts (the file's own name)")
        ->type_name("NAME");
    verb.add_option_function<std::string>(
            "--server", [arguments](const std::string& server) { arguments->server = server; },
            "The web service (the one of the deployment settings)")
        ->type_name("HOST[:PORT]");
    verb.footer(
        "Prints the name of each item as it is queued; on a terminal, standard error shows the progress. What a\n"
        "folder holds that cannot be sent is left out and named on standard error: symbolic links, what cannot\n"
        "be read, and names that no item can have. Ends with 65 where something was left out, 66 where FILE is\n"
        "not there, 69 where the server cannot be reached, 76 where it refuses, 78 where no computer is known.\n\n"
        "Example:\n  quenmark push a.txt --to 17 --as '\\Docs\\a.txt'");
    verb.callback([&action, arguments] { action = [arguments] { return push(*arguments); }; });
}

} // namespace Tools
