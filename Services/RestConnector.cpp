#include "Services/RestConnector.h"

#include "Platform/Files/Files.h"
#include "Platform/Json.h"
#include "Platform/Log.h"
#include "Platform/Text.h"
#include "Services/Reachability/Reachability.h"
#include "Services/ServiceRoot.h"
#include "Services/StagedUpload.h"
#include "Services/UploadProgress.h"

#include <exception>
#include <utility>

namespace Quenmark {

namespace Log = Platform::Log;
using Platform::Data;
using Platform::Error;
using Platform::HttpUrlResponse;
using Platform::text;
using Platform::UrlSession;
using Platform::UrlSessionConfiguration;

std::optional<Platform::Url> RestConnector::getAbsoluteURL(std::string_view path) const {
    return absoluteURL(path, context_.settings());
}

void RestConnector::makeSession(UrlSessionConfiguration configuration) {
    session_ =
        UrlSession::sessionWithConfiguration(std::move(configuration), shared_from_this(), Platform::Queue::main());
    // The session keeps this, its delegate, until its last task is done, and is kept by this. One task that is created
    // and destroyed breaks that cycle until there is another task.
    session_->uploadTaskWithStreamedRequest({});
}

void RestConnector::configSessionForData() {
    auto configuration = UrlSessionConfiguration::defaultSessionConfiguration();
    configuration.httpAdditionalHeaders.set("Accept", "application/json");
    configuration.httpAdditionalHeaders.set("Content-Type", "application/json");
    configuration.allowsCellularAccess = true;
    configuration.timeoutIntervalForRequest = std::chrono::seconds(60);
    configuration.timeoutIntervalForResource = std::chrono::seconds(60);
    configuration.httpMaximumConnectionsPerHost = 1;
    makeSession(std::move(configuration));
}

void RestConnector::configSessionForUpload() {
    auto configuration = UrlSessionConfiguration::defaultSessionConfiguration();
    configuration.httpMaximumConnectionsPerHost = 1;
    makeSession(std::move(configuration));
}

void RestConnector::configSessionForDownload() {
    auto configuration = UrlSessionConfiguration::defaultSessionConfiguration();
    configuration.timeoutIntervalForRequest = std::chrono::seconds(60);
    configuration.timeoutIntervalForResource = std::chrono::seconds(60);
    // What is downloaded is read whole into memory.
    configuration.maximumDownloadLength = Platform::maximumDataInMemory;
    makeSession(std::move(configuration));
}

std::optional<std::string> RestConnector::beginPost(std::string_view task, const boost::json::value& params,
                                                    ProgressHandler progress, const Finished& finished) {
    if (!Reachability::isReachable(context_.network())) {
        finished({}, RestStatusNotReachable);
        return std::nullopt;
    }
    progressHandler_ = std::move(progress);
    configSessionForDownload();
    auto body = JsonPost::body(params, "Json String ", JsonPost::priorityOf(task));
    if (body.error() != nullptr) {
        finished(Result<boost::json::value>(*body.error()), RestStatusEncodeError);
        return std::nullopt;
    }
    return std::move(*body.value());
}

void RestConnector::startAsyncTask(std::string_view task, const boost::json::value& params, ProgressHandler progress,
                                   Finished finished) {
    auto body = beginPost(task, params, std::move(progress), finished);
    if (!body)
        return;
    sessionTask_ = session_->dataTaskWithRequest(
        JsonPost::jsonRequest(getAbsoluteURL(task), std::move(*body)),
        [finished = std::move(finished), priority = JsonPost::priorityOf(task)](
            const std::optional<Data>& data, const std::optional<HttpUrlResponse>& response,
            const std::optional<Error>& error) { JsonPost::finish(data, error, finished, priority, response); });
    resume();
}

void RestConnector::startAsyncDownloadWithStreamRequest(std::string_view task, const boost::json::value& params,
                                                        ProgressHandler progress, RawFinished finished) {
    if (!Reachability::isReachable(context_.network()))
        return finished(std::nullopt, {}, RestStatusNotReachable);
    progressHandler_ = std::move(progress);
    configSessionForData();
    auto body = JsonPost::body(params, "");
    if (body.error() != nullptr)
        return finished(std::nullopt, Result<Data>(*body.error()), RestStatusEncodeError);
    sessionTask_ = session_->dataTaskWithRequest(
        JsonPost::jsonRequest(getAbsoluteURL(task), std::move(*body.value())),
        [finished = std::move(finished)](std::optional<Data> data, std::optional<HttpUrlResponse> response,
                                         std::optional<Error> error) {
            if (error)
                finished(std::nullopt, Result<Data>(std::move(*error)), RestStatusTransportError);
            else
                finished(std::move(response), Result<Data>(std::move(data).value_or(Data())), RestStatusSuccess);
        });
    resume();
}

void RestConnector::startAsyncUploadWithStreamRequest(std::string_view task, const boost::json::object& params,
                                                      ProgressHandler progress, Finished finished) {
    if (!Reachability::isReachable(context_.network()))
        return finished({}, RestStatusNotReachable);
    progressHandler_ = std::move(progress);
    configSessionForUpload();
    auto upload = std::make_shared<StagedUpload>(params, context_.settings().stagingDirectory);
    const auto request = upload->request(getAbsoluteURL(task));
    // A task that is never started, as is required.
    session_->uploadTaskWithStreamedRequest(request);
    std::shared_ptr<UploadProgress> uploadProgress;
    if (context_.uploadProgress)
        uploadProgress = std::make_shared<UploadProgress>(context_.uploadProgress,
                                                          Platform::Files::size(upload->fileUrl().path()).value_or(0));
    const auto uploadTask = session_->uploadTaskWithRequest(
        request, upload->fileUrl(),
        [finished = std::move(finished), upload, uploadProgress](const std::optional<Data>& data,
                                                                 const std::optional<HttpUrlResponse>& response,
                                                                 std::optional<Error> error) {
            using Response = Result<boost::json::value>;
            if (error)
                return finished(Response(std::move(*error)), RestStatusTransportError);
            auto decoded = Platform::Json::parse(data ? std::string_view(*data) : std::string_view());
            upload->removeCopy();
            // What the caller's progress handler throws is passed on, and the upload has finished all the same.
            std::exception_ptr thrown;
            try {
                // A server may refuse a request before it has read all of it.
                if (uploadProgress && response && response->statusCode < 400)
                    uploadProgress->finish();
            } catch (...) {
                thrown = std::current_exception();
            }
            auto* json = std::get_if<boost::json::value>(&decoded);
            finished(json != nullptr ? Response(std::move(*json)) : Response(), RestStatusSuccess);
            if (thrown)
                std::rethrow_exception(thrown);
        });
    if (uploadProgress)
        uploadProgress->follow(uploadTask);
    uploadTask->setTaskDescription(upload->name());
    uploadTask->resume();
}

void RestConnector::startAsyncDownload(std::string_view url, ProgressHandler progress, DataFinished finished) {
    if (!Reachability::isReachable(context_.network()))
        return finished({}, RestStatusNotReachable);
    progressHandler_ = std::move(progress);
    configSessionForDownload();
    sessionTask_ = session_->downloadTaskWithURL(
        Platform::Url::fromString(url),
        [finished = std::move(finished)](const std::optional<std::string>& location,
                                         const std::optional<HttpUrlResponse>&, std::optional<Error> error) {
            const std::string file = location.value_or("");
            if (!error && Platform::Files::size(file).value_or(0) > Platform::maximumDataInMemory)
                error = Platform::UrlError::tooLong(Platform::maximumDataInMemory);
            if (error) {
                finished(Result<Data>(*error), RestStatusTransportError);
                Log::write("nework error......." + text(*error), Log::Priority::Warning);
                return;
            }
            auto content = Platform::Files::contents(file);
            auto* data = std::get_if<std::string>(&content);
            finished(data != nullptr ? Result<Data>(std::move(*data)) : Result<Data>(), RestStatusSuccess);
        });
    resume();
}

void RestConnector::startAsyncUpload(std::string_view task, const boost::json::value& params, ProgressHandler progress,
                                     const Finished& finished) {
    auto body = beginPost(task, params, std::move(progress), finished);
    if (!body)
        return;
    const auto request = JsonPost::request(getAbsoluteURL(task), std::move(*body));
    Log::write("url is........" + (request.url ? request.url->absoluteString() : text(std::nullopt)));
}

void RestConnector::resume() {
    if (sessionTask_)
        sessionTask_->resume();
}

void RestConnector::pause() {
    resume();
}

void RestConnector::close() {
    if (sessionTask_)
        sessionTask_->cancel();
}

void RestConnector::URLSessionDidReceiveChallenge(UrlSession&, Platform::ChallengeHandler) {}

void RestConnector::URLSessionTaskDidReceiveChallenge(UrlSession&, Platform::UrlSessionTask&,
                                                      Platform::ChallengeHandler) {}

void RestConnector::URLSessionTaskDidCompleteWithError(UrlSession&, Platform::UrlSessionTask& task,
                                                       const std::optional<Error>& error) {
    const auto* response = task.response();
    Log::write("........." + (response != nullptr ? text(*response) : text(std::nullopt)));
    Log::write("error ............" + text(error), error ? Log::Priority::Warning : Log::Priority::Info);
}

void RestConnector::URLSessionDownloadTaskDidWriteData(UrlSession&, Platform::UrlSessionTask&, std::int64_t,
                                                       std::int64_t, std::int64_t) {}
void RestConnector::URLSessionDownloadTaskDidFinishDownloadingToURL(UrlSession&, Platform::UrlSessionTask&,
                                                                    const Platform::Url&) {}
void RestConnector::URLSessionDownloadTaskDidResumeAtOffset(UrlSession&, Platform::UrlSessionTask&, std::int64_t,
                                                            std::int64_t) {}

} // namespace Quenmark
