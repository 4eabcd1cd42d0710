#include "Tools/Call.h"

#include "Platform/Files/Files.h"
#include "Platform/Log.h"
#include "Platform/Loop/Queue.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Loop/Signals.h"
#include "Platform/Printable.h"
#include "Platform/Settings/DeploymentSettings.h"
#include "Platform/StandardStreams.h"
#include "Platform/Text.h"
#include "Services/Catalogue.h"
#include "Services/OperationCall.h"
#include "Services/Properties.h"
#include "Tools/CallLog.h"
#include "Tools/Output.h"
#include "Tools/RequiredSettings.h"
#include "Tools/StagingFolder.h"
#include "Tools/TransportStatus.h"
#include "Tools/WireForm.h"

#include <boost/json/array.hpp>

#include <csignal>
#include <functional>
#include <memory>
#include <tuple>
#include <type_traits>
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
    /// What the response says in place of "ReturnStatus" "0", where that is to be a failure.
    std::optional<std::string> refusal = {};
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
        return failed(error != nullptr ? exitStatusOfTransport(error->code) : ExitStatus::InputOutput,
                      reason("the transfer failed", error));
    case Quenmark::RestStatusEncodeError:
        return failed(ExitStatus::DataError, reason("the request cannot be sent", error));
    case Quenmark::RestStatusDecodeError:
        return failed(ExitStatus::Protocol, reason("the response is not JSON", error));
    default:
        return failed(ExitStatus::Software, "the call ended with the unknown status " + std::to_string(status));
    }
}

template <class Record>
boost::json::value printedResponse(const Record& record, bool byWireKeys) {
    return byWireKeys ? wireForm(record) : Quenmark::propertiesOf(record);
}
boost::json::value printedResponse(const ResponseField& status, bool) {
    return status.value_or(boost::json::value());
}
template <class Record>
boost::json::value printedResponse(const std::vector<Record>& records, bool byWireKeys) {
    boost::json::array array;
    array.reserve(records.size());
    for (const auto& record : records)
        array.emplace_back(printedResponse(record, byWireKeys));
    return array;
}

constexpr const char* statusKey = "ReturnStatus";

/// What a response says in the place of "ReturnStatus" "0"; nil where it says that, or has no such field at all.
template <class Record>
std::optional<std::string> refusalOf(const Record& record) {
    std::optional<std::string> refusal;
    Quenmark::forEachField<Record>([&](const auto& field) {
        if constexpr (std::is_same_v<decltype(record.*field.member), const ResponseField&>) {
            const ResponseField& status = record.*field.member;
            if (field.key == statusKey && (!status || *status != "0"))
                refusal = Platform::text(status);
        }
    });
    return refusal;
}
std::optional<std::string> refusalOf(const ResponseField&) {
    return std::nullopt;
}
template <class Record>
std::optional<std::string> refusalOf(const std::vector<Record>&) {
    return std::nullopt;
}

template <class Query, class Response>
void start(const Operation<Query, Response>& operation, const Query& query, const CallArguments& arguments,
           Finish finish, const ServiceContext& context) {
    const Quenmark::CompletionHandler<Response> handler =
        [&arguments, finish = std::move(finish)](const Quenmark::Result<Response>& result, std::int64_t status) {
            if (status != Quenmark::RestStatusSuccess || result.value() == nullptr)
                return finish(failureOf(status, result.error()));
            finish({prettyJson(printedResponse(*result.value(), arguments.printsWireKeys)), std::nullopt, 0,
                    refusalOf(*result.value())});
        };
    Quenmark::perform(operation, query, handler, context);
}

void printHeaders(const Platform::HttpUrlResponse& response) {
    for (const auto& [name, value] : response.allHeaderFields)
        Platform::StandardStreams::writeError(Platform::printable(name + ": " + value) + "\n");
}

template <class Query>
void start(const Operation<Query, RawResponse>& operation, const Query& query, const CallArguments& arguments,
           Finish finish, const ServiceContext& context) {
    Quenmark::performRaw(
        operation, query,
        [&arguments, finish = std::move(finish)](const std::optional<Platform::HttpUrlResponse>& response,
                                                 Quenmark::Result<Platform::Data> body, std::int64_t status) {
            if (response)
                Platform::Log::write(text(*response));
            if (response && arguments.printsHeaders)
                printHeaders(*response);
            auto* bytes = body.value();
            if (status != Quenmark::RestStatusSuccess || bytes == nullptr)
                return finish(failureOf(status, body.error()));
            auto refusal = response ? response->allHeaderFields.value(statusKey) : std::nullopt;
            if (refusal == "0")
                refusal.reset();
            finish({std::move(*bytes), std::nullopt, 0, std::move(refusal)});
        },
        context);
}

/// Starts the operation at that place of the catalogue.
void startOperation(std::size_t place, const boost::json::value& body, const CallArguments& arguments,
                    const Finish& finish, const ServiceContext& context) {
    std::size_t at = 0;
    const auto startIfHere = [&](const auto& operation) {
        if (at++ != place)
            return;
        typename std::remove_cvref_t<decltype(operation)>::Query query;
        fill(query, body);
        start(operation, query, arguments, finish, context);
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

Outcome awaitOutcome(std::size_t place, const boost::json::value& body, const CallArguments& arguments,
                     const std::optional<StagingFolder>& folder) {
    const auto limit = std::chrono::duration_cast<Platform::Duration>(arguments.timeout);
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
    Platform::Queue::main().async([&] { startOperation(place, body, arguments, finish, context); });
    loop.run();
    return outcome;
}

/// Carries out the call; leaves nothing that was staged for it.
Outcome carryOut(const CallArguments& arguments) {
    const std::size_t place = operationNamed(arguments.operation);
    const auto& operation = operationTable()[place];
    const auto body = requestBody(operation, arguments);
    requireDeployment();
    const CallLog log(arguments.verbose);
    std::optional<StagingFolder> folder;
    if (operation.variant == Quenmark::OperationVariant::HeaderUpload &&
        !Platform::DeploymentSettings::current().stagingDirectory)
        folder.emplace();
    return awaitOutcome(place, body, arguments, folder);
}

} // namespace

Failure callFailure(std::int64_t status, const Platform::Error* error) {
    return *failureOf(status, error).failure;
}

ExitStatus call(const CallArguments& arguments) {
    const auto outcome = carryOut(arguments);
    if (outcome.signal != 0)
        ::raise(outcome.signal);
    if (outcome.failure)
        throw Failure(*outcome.failure);
    if (!arguments.output) {
        print(*outcome.bytes);
    } else if (!outcome.bytes->empty()) { // Where nothing was streamed, there is nothing to keep.
        if (const auto error = Platform::Files::write(*arguments.output, *outcome.bytes))
            throw Failure(ExitStatus::CannotCreate, error->localizedDescription);
    }
    if (arguments.failsByStatus && outcome.refusal)
        throw Failure(ExitStatus::Protocol, std::string(statusKey) + " is " + *outcome.refusal);
    return ExitStatus::Success;
}

} // namespace Tools
