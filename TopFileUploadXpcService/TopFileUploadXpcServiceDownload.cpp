// The engine's streaming download of one item: its request, its reception over either transport, and its end.

#include "Platform/Json.h"
#include "Platform/Log.h"
#include "Platform/Text.h"
#include "Services/DownloadConnection.h"
#include "Services/ServicesUtilities.h"
#include "TopFileUploadXpcService/LocalPaths.h"
#include "TopFileUploadXpcService/TopFileUploadXpcService.h"

#include <algorithm>
#include <utility>

namespace Quenmark {

namespace Log = Platform::Log;
using Platform::HttpUrlResponse;
using Platform::text;
using Platform::UrlConnection;
using Platform::UrlSession;
using Platform::UrlSessionTask;
using Kind = AttemptEnd::Kind;

namespace {

AttemptEnd failureOf(const Platform::Error& error) {
    return {.kind = Kind::StreamFailed, .number = error.code, .detail = error.localizedDescription};
}

Platform::UrlRequest streamRequest(const std::string& address, std::string body) {
    Platform::UrlRequest request;
    request.url = Platform::Url::fromString(address);
    request.timeoutInterval = std::chrono::seconds(60);
    request.addValueForHTTPHeaderField("application/json", "Content-Type");
    request.httpMethod = "POST";
    request.httpBody = std::move(body);
    return request;
}

} // namespace

void TopFileUploadXpcService::startAsyncDownloadWithStreamRequest(const std::string& request,
                                                                  const boost::json::object& params) {
    isFilePathSet_ = false;
    isStreamValidated_ = false;
    streamFailure_.reset();
    stream_.reset();
    const auto* toComputerID = params.if_contains("ToComputerID");
    const boost::json::object body{{"ToComputerID", toComputerID != nullptr ? text(*toComputerID) : text(std::nullopt)},
                                   {"Length", text(fileLength_)}};
    auto written = Platform::Json::prettyPrinted(body);
    const auto* json = std::get_if<std::string>(&written);
    Log::write(json != nullptr ? *json : text(std::nullopt),
               json != nullptr ? Log::Priority::Info : Log::Priority::Error);
    auto urlRequest = streamRequest(request, json != nullptr ? *json : std::string());

    if (ServicesUtilities::isLessThan10_10(context_.settings())) {
        const auto connection =
            DownloadConnection::initWithRequest(std::move(urlRequest), shared_from_this(), false, std::nullopt);
        connection->setDelegateQueue(Platform::Queue::serial("DownloadConnection"));
        connection->start();
    } else {
        auto configuration = Platform::UrlSessionConfiguration::defaultSessionConfiguration();
        configuration.timeoutIntervalForRequest = std::chrono::seconds(60);
        const auto session = UrlSession::sessionWithConfiguration(std::move(configuration), shared_from_this());
        session->dataTaskWithRequest(std::move(urlRequest))->resume();
    }
    ++streams_;
}

TopFileUploadXpcService::ItemFetch TopFileUploadXpcService::finishStreamFetch() {
    streams_ = std::max(streams_ - 1, 0);
    if (streams_ == 0 && policy_->closesEveryFile())
        stream_.reset();
    ItemFetch fetch = streams_ == 0 ? std::exchange(fetch_, {}) : fetch_;
    if (!fetch.attempt)
        fetch.attempt = beginAttempt();
    return fetch;
}

void TopFileUploadXpcService::readStatus(const HttpUrlResponse* response) {
    returnStatus_ = headerText(response, "ReturnStatus");
}

int TopFileUploadXpcService::statusValue() const {
    return returnStatus_ ? Platform::integerValue(*returnStatus_) : 0;
}

std::optional<AttemptEnd> TopFileUploadXpcService::readHeaderFields(const HttpUrlResponse& response,
                                                                    const ItemFetch& fetch) {
    Log::write(text(response.allHeaderFields));
    observer_->responded();
    readStatus(&response);
    if (const int status = statusValue()) {
        if (status == statusDrop)
            markFinished();
        return AttemptEnd{Kind::Refused, status};
    }
    if (auto failure = validateStream(response, fetch))
        return failure;
    item_ = policy_->itemOfStream(fetch.offered, response);
    if (item_.isCalledFolder())
        createFolderItem();
    return std::nullopt;
}

std::optional<AttemptEnd> TopFileUploadXpcService::validateStream(const HttpUrlResponse& response,
                                                                  const ItemFetch& fetch) {
    if (std::exchange(isStreamValidated_, true))
        return streamFailure_;
    missing_ = response.expectedContentLength.value_or(0);
    streamFailure_ = policy_->streamBegan(fetch.offered, response, fetch.paths, fetch.offset);
    if (!streamFailure_ && response.expectedContentLength)
        observer_->totalKnown(numberOf(fetch), fetch.offset + *response.expectedContentLength);
    return streamFailure_;
}

std::optional<AttemptEnd> TopFileUploadXpcService::appendToTemporaryFile(std::string_view data) {
    if (!isFilePathSet_) {
        isFilePathSet_ = true;
        LocalPaths::temporaryArea().makeFolderOf(text(tempFilePath_)); // An error shows in the stream.
    }
    // A fresh file and a resumed one are appended to alike.
    stream_.emplace(text(tempFilePath_),
                    [area = LocalPaths::temporaryArea()](const std::string& path) { return area.openToAppend(path); });
    stream_->open();
    auto remaining = static_cast<std::int64_t>(data.size());
    while (remaining > 0) {
        const std::int64_t written = stream_->write(policy_->nextBytes(data, static_cast<std::size_t>(remaining)));
        Log::write("Bytes Written : " + text(written));
        if (written == -1) {
            Log::write("Stream error: " + text(stream_->streamError()), Log::Priority::Error);
            streamFailure_ = policy_->writeFailed(stream_->streamError().value_or(Platform::Error{}), missing_);
            if (streamFailure_)
                return streamFailure_;
            if (fetch_.attempt)
                fetch_.attempt->setPlacementError("write failed");
            openGate();
            return std::nullopt;
        }
        remaining -= written;
        missing_ -= std::min(missing_, static_cast<std::uint64_t>(written));
        if (fetch_.attempt)
            fetch_.attempt->progress().bytes += static_cast<std::uint64_t>(written);
        observer_->wrote(numberOf(fetch_), static_cast<std::uint64_t>(written));
        writeBack_.wrote(*stream_, static_cast<std::uint64_t>(written));
    }
    return std::nullopt;
}

void TopFileUploadXpcService::URLSessionDataTaskDidReceiveData(UrlSession&, UrlSessionTask& dataTask,
                                                               std::string_view data) {
    readStatus(dataTask.response());
    if (statusValue() != 0)
        return;
    if (dataTask.response() != nullptr && validateStream(*dataTask.response(), fetch_).has_value())
        return dataTask.cancel();
    closeGate();
    if (item_.isCalledFolder())
        createFolderItem();
    else if (const auto failure = appendToTemporaryFile(data); failure.has_value())
        dataTask.cancel();
}

void TopFileUploadXpcService::URLSessionTaskDidCompleteWithError(UrlSession&, UrlSessionTask& task,
                                                                 const std::optional<Platform::Error>& error) {
    const auto fetch = finishStreamFetch();
    if (task.response() != nullptr)
        fetch.attempt->progress().httpStatus = task.response()->statusCode;
    if (streamFailure_)
        return fetch.attempt->end(*streamFailure_);
    if (task.response() == nullptr)
        return fetch.attempt->end({.kind = Kind::NoStreamResponse,
                                   .number = error ? error->code : 0,
                                   .detail = error ? error->localizedDescription : ""});
    if (error)
        return fetch.attempt->end(failureOf(*error));
    try {
        finishItem(task, fetch);
    } catch (...) {
        reportException();
    }
}

void TopFileUploadXpcService::finishItem(UrlSessionTask& task, const ItemFetch& fetch) {
    if (const auto failure = readHeaderFields(*task.response(), fetch))
        return fetch.attempt->end(*failure);
    if (stream_)
        stream_->close();
    task.suspend();
    task.cancel();
    if (const auto failure = policy_->streamEnded(fetch.offered, fetch.paths))
        return fetch.attempt->end(*failure);
    // What is not called a folder is a file on this transport, and the name in the header fields does not move it.
    acknowledgeWhenDurable(item_.isCalledFolder() ? flushOfFolders(fetch) : policy_->placement(paths()), fetch);
}

void TopFileUploadXpcService::connectionDidReceiveResponse(UrlConnection& connection, const HttpUrlResponse& response) {
    if (fetch_.attempt)
        fetch_.attempt->progress().httpStatus = response.statusCode;
    const auto failure = readHeaderFields(response, fetch_);
    if (failure && policy_->endsRefusedStreams())
        endStream(connection, *failure);
    else if (failure)
        (fetch_.attempt ? fetch_.attempt : beginAttempt())->end(*failure);
}

void TopFileUploadXpcService::connectionDidReceiveData(UrlConnection& connection, std::string_view data) {
    if (const auto failure = appendToTemporaryFile(data))
        endStream(connection, *failure);
}

void TopFileUploadXpcService::connectionDidFinishLoading(UrlConnection& connection) {
    const auto fetch = finishStreamFetch();
    connection.cancel();
    if (const auto failure = policy_->streamEnded(fetch.offered, fetch.paths))
        return fetch.attempt->end(*failure);
    const bool isAcknowledged = returnStatus_ && statusValue() == 0;
    // Only what is called a file is moved on this transport, and whatever the status says.
    whenDurable(item_.isCalledFile() ? policy_->placement(paths()) : flushOfFolders(fetch), fetch,
                [this, isAcknowledged, query = item_.acknowledgement(), fetch] {
                    if (isAcknowledged)
                        acknowledge(query, fetch);
                });
}

void TopFileUploadXpcService::connectionDidFailWithError(UrlConnection& connection, const Platform::Error& error) {
    endStream(connection, failureOf(error));
}

void TopFileUploadXpcService::endStream(UrlConnection& connection, const AttemptEnd& end) {
    connection.cancel();
    finishStreamFetch().attempt->end(end);
}

} // namespace Quenmark
