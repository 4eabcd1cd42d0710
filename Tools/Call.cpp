#include "Tools/Call.h"

#include "Platform/Files/Files.h"
#include "Platform/Log.h"
#include "Platform/Loop/Queue.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Loop/Signals.h"
#include "Platform/Settings/DeploymentSettings.h"
#include "Services/Catalogue.h"
#include "Services/OperationCall.h"
#include "Services/Properties.h"
#include "Tools/CallLog.h"
#include "Tools/Output.h"
#include "Tools/StagingFolder.h"

#include <boost/json/array.hpp>

#include <csignal>
#include <functional>
#include <memory>
#include <tuple>
#include <vector>

namespace Tools {

using Quenmark::Operation;
using Quenmark::RawResponse;
using Quenmark::ResponseField;
using Quenmark::ServiceContext;

namespace {

/// How a call ended: the bytes to print, a failure, or a signal.
struct Outcome {
    std::optional<std::string> bytes;
    std::optional<Failure> failure;
    int signal = 0;
};
using Finish = std::function<void(Outcome)>;

Outcome failed(ExitStatus status, const std::string& text) {
    return {std::nullopt, Failure(status, text)};
}

std::string reason(const char* text, const Platform::Error* error) {
    if (error == nullptr)
        return text;
    return text + (": " + error->localizedDescription) + " (" + std::to_string(error->code) + ")";
}

Outcome failureOf(std::int64_t status, const Platform::Error* error) {
    switch (status) {
    case Quenmark::RestStatusNotReachable:
        return failed(ExitStatus::Unavailable, "not reachable: there is no network");
    case Quenmark::RestStatusTransportError:
        return failed(ExitStatus::InputOutput, reason("the transfer failed", error));
    case Quenmark::RestStatusEncodeError:
        return failed(ExitStatus::DataError, reason("the request cannot be sent", error));
    case Quenmark::RestStatusDecodeError:
        return failed(ExitStatus::Protocol, reason("the response is not JSON", error));
    default:
        return failed(ExitStatus::Software, "the call ended with the unknown status " + std::to_string(status));
    }
}

template <class Record>
boost::json::value printedResponse(const Record& record) {
    return Quenmark::propertiesOf(record);
}
boost::json::value printedResponse(const ResponseField& status) {
    return status.value_or(boost::json::value());
}
template <class Record>
boost::json::value printedResponse(const std::vector<Record>& records) {
    boost::json::array array;
    array.reserve(records.size());
    for (const auto& record : records)
        array.emplace_back(Quenmark::propertiesOf(record));
    return array;
}

template <class Query, class Response>
void start(const Operation<Query, Response>& operation, const Query& query, Finish finish,
           const ServiceContext& context) {
    const Quenmark::CompletionHandler<Response> handler =
        [finish = std::move(finish)](const Quenmark::Result<Response>& result, std::int64_t status) {
            if (status == Quenmark::RestStatusSuccess && result.value() != nullptr)
                finish({prettyJson(printedResponse(*result.value())), std::nullopt});
            else
                finish(failureOf(status, result.error()));
        };
    Quenmark::perform(operation, query, handler, context);
}

template <class Query>
void start(const Operation<Query, RawResponse>& operation, const Query& query, Finish finish,
           const ServiceContext& context) {
    Quenmark::perform(
        operation, query,
        [finish = std::move(finish)](const std::optional<Platform::HttpUrlResponse>& response,
                                     std::optional<Platform::Data> data, std::int64_t status) {
            if (response)
                Platform::Log::write(text(*response));
            if (status == Quenmark::RestStatusSuccess && data)
                finish({std::move(data), std::nullopt});
            else
                finish(failureOf(status, nullptr));
        },
        context);
}

/// Starts the operation at that place of the catalogue.
void startOperation(std::size_t place, const boost::json::value& body, const Finish& finish,
                    const ServiceContext& context) {
    std::size_t at = 0;
    const auto startIfHere = [&](const auto& operation) {
        if (at++ != place)
            return;
        typename std::remove_cvref_t<decltype(operation)>::Query query;
        fill(query, body);
        start(operation, query, finish, context);
    };
    std::apply([&](const auto&... operation) { (startIfHere(operation), ...); }, Quenmark::Catalogue::operations);
}

using SignalWatches = std::vector<std::unique_ptr<Platform::SignalWatch>>;

/// Ends the call, in place of the process, on the signals that would end it and that it was not started to ignore.
SignalWatches watchSignals(const Finish& finish) {
    SignalWatches watches;
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        struct sigaction action {};
        ::sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_IGN)
            watches.push_back(std::make_unique<Platform::SignalWatch>(signal, [finish, signal] {
                finish({std::nullopt, std::nullopt, signal});
            }));
    }
    return watches;
}

/// The context of an upload that is staged in the folder.
ServiceContext stagedIn(const std::string& folder) {
    ServiceContext context;
    context.settings = [folder] {
        auto settings = Platform::DeploymentSettings::current();
        settings.stagingDirectory = folder;
        return settings;
    };
    return context;
}

Outcome awaitOutcome(std::size_t place, const boost::json::value& body, Platform::Duration limit,
                     const std::optional<StagingFolder>& folder) {
    Platform::RunLoop loop;
    Outcome outcome;
    const Finish finish = [&](Outcome ended) {
        outcome = std::move(ended);
        loop.stop(0);
    };
    const auto watches = folder ? watchSignals(finish) : SignalWatches();
    const auto context = folder ? stagedIn(folder->path()) : ServiceContext();
    loop.setExceptionHandler([&](const std::exception& exception) {
        finish(failed(ExitStatus::Software, std::string("the response cannot be read: ") + exception.what()));
    });
    const auto timer = Platform::Queue::main().timer(
        limit, [&] { finish(failed(ExitStatus::TimedOut, "there was no response in time")); });
    Platform::Queue::main().async([&] { startOperation(place, body, finish, context); });
    loop.run();
    return outcome;
}

/// Carries out the call; leaves nothing that was staged for it.
Outcome carryOut(const CallArguments& arguments) {
    const std::size_t place = operationNamed(arguments.operation);
    const auto& operation = operationTable()[place];
    const auto body = requestBody(operation, arguments);
    const CallLog log(arguments.verbose);
    std::optional<StagingFolder> folder;
    if (operation.variant == Quenmark::OperationVariant::HeaderUpload &&
        !Platform::DeploymentSettings::current().stagingDirectory)
        folder.emplace();
    return awaitOutcome(place, body, std::chrono::duration_cast<Platform::Duration>(arguments.timeout), folder);
}

} // namespace

ExitStatus call(const CallArguments& arguments) {
    const auto outcome = carryOut(arguments);
    if (outcome.signal != 0)
        ::raise(outcome.signal);
    if (outcome.failure)
        throw Failure(*outcome.failure);
    if (!arguments.output) {
        print(*outcome.bytes);
        return ExitStatus::Success;
    }
    if (const auto error = Platform::Files::write(*arguments.output, *outcome.bytes))
        throw Failure(ExitStatus::CannotCreate, error->localizedDescription);
    return ExitStatus::Success;
}

} // namespace Tools
