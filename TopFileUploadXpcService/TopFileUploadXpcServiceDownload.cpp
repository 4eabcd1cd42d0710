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

namespace {

constexpr int statusDrop = 2;

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

TopFileUploadXpcService::Claim TopFileUploadXpcService::claimOfEndedStream() {
    streams_ = std::max(streams_ - 1, 0);
    auto claim = claim_;
    if (streams_ == 0)
        claim_.reset();
    return claim;
}

void TopFileUploadXpcService::readStatus(const HttpUrlResponse* response) {
    returnStatus_ = headerText(response, "ReturnStatus");
}

int TopFileUploadXpcService::statusValue() const {
    return returnStatus_ ? Platform::integerValue(*returnStatus_) : 0;
}

bool TopFileUploadXpcService::readHeaderFields(const HttpUrlResponse& response) {
    Log::write(text(response.allHeaderFields));
    readStatus(&response);
    if (statusValue() == statusDrop) {
        openGate();
        markFinished();
        return false;
    }
    if (statusValue() != 0)
        return false;
    item_ = Item::fromHeaderFields(response);
    if (item_.isCalledFolder())
        createFolderItem();
    return true;
}

void TopFileUploadXpcService::openGateAfterTransportError(const Platform::Error& error) {
    if (error.code == Platform::UrlError::NetworkConnectionLost ||
        error.code == Platform::UrlError::CannotConnectToHost)
        openGate();
}

void TopFileUploadXpcService::appendToTemporaryFile(std::string_view data) {
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
        // Each write starts at the first byte of the piece, also after a short one; required so.
        const std::int64_t written = stream_->write(data.substr(0, static_cast<std::size_t>(remaining)));
        Log::write("Bytes Written : " + text(written));
        if (written == -1) {
            Log::write("Stream error: " + text(stream_->streamError()), Log::Priority::Error);
            openGate();
            return;
        }
        remaining -= written;
        writeBack_.wrote(*stream_, static_cast<std::uint64_t>(written));
    }
}

void TopFileUploadXpcService::URLSessionDataTaskDidReceiveData(UrlSession&, UrlSessionTask& dataTask,
                                                               std::string_view data) {
    readStatus(dataTask.response());
    if (statusValue() != 0)
        return;
    closeGate();
    if (item_.isCalledFolder())
        createFolderItem();
    else
        appendToTemporaryFile(data);
}

void TopFileUploadXpcService::URLSessionTaskDidCompleteWithError(UrlSession&, UrlSessionTask& task,
                                                                 const std::optional<Platform::Error>& error) {
    auto claim = claimOfEndedStream();
    if (task.response() == nullptr) {
        openGate();
        return;
    }
    if (error)
        return openGateAfterTransportError(*error);
    try {
        finishItem(task, std::move(claim));
    } catch (...) {
        reportException();
    }
}

void TopFileUploadXpcService::finishItem(UrlSessionTask& task, Claim claim) {
    if (!readHeaderFields(*task.response()))
        return;
    if (stream_)
        stream_->close();
    task.suspend();
    task.cancel();
    // What is not called a folder is a file on this transport, and the name in the header fields does not move it.
    whenDurable(item_.isCalledFolder() ? flushOfFolders() : placement(),
                [this, query = item_.acknowledgement(), claim] {
                    try {
                        acknowledge(query, claim);
                    } catch (...) {
                        reportException();
                    }
                });
}

void TopFileUploadXpcService::connectionDidReceiveResponse(UrlConnection&, const HttpUrlResponse& response) {
    readHeaderFields(response);
}

void TopFileUploadXpcService::connectionDidReceiveData(UrlConnection&, std::string_view data) {
    appendToTemporaryFile(data);
}

void TopFileUploadXpcService::connectionDidFinishLoading(UrlConnection& connection) {
    const bool isAcknowledged = returnStatus_ && statusValue() == 0;
    const auto next = [this, isAcknowledged, query = item_.acknowledgement(), claim = claimOfEndedStream()] {
        if (isAcknowledged)
            acknowledge(query, claim);
    };
    // Only what is called a file is moved on this transport, and whatever the status says.
    if (item_.isCalledFile())
        whenDurable(placement(), next);
    else
        whenDurable(flushOfFolders(), next);
    connection.cancel();
}

void TopFileUploadXpcService::connectionDidFailWithError(UrlConnection& connection, const Platform::Error& error) {
    claimOfEndedStream();
    openGateAfterTransportError(error);
    connection.cancel();
}

} // namespace Quenmark
