#pragma once

#include "Platform/UrlLoading/UrlSession.h"
#include "Services/JsonPost.h"
#include "Services/Result.h"
#include "Services/ServiceContext.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace Quenmark {

/// Makes one request to the web service over a URL session. It must be held by a shared pointer when a request is
/// started; the session then keeps it alive until the request has ended. Outcomes are reported on the main queue, but
/// for `RestStatusNotReachable` and `RestStatusEncodeError`, which are reported before the `start...` function returns.
class RestConnector : public Platform::UrlSessionDelegate, public std::enable_shared_from_this<RestConnector> {
public:
    /// Is stored and never called.
    using ProgressHandler = std::function<void()>;
    using Finished = JsonPost::Finished;
    using DataFinished = std::function<void(Result<Platform::Data>, std::uint64_t status)>;
    /// The status and header fields of the response; its body, or the error.
    using RawFinished =
        std::function<void(std::optional<Platform::HttpUrlResponse>, Result<Platform::Data>, std::uint64_t status)>;

    explicit RestConnector(ServiceContext context = {}) : context_(std::move(context)) {}

    /// The address of a path below the service root; nil when it forms no URL.
    std::optional<Platform::Url> getAbsoluteURL(std::string_view path) const;

    /// Each makes a new session, with this as its delegate and the main queue as its delegate queue.
    void configSessionForData();
    void configSessionForUpload();
    void configSessionForDownload();

    /// Posts parameters as JSON and decodes the JSON response. A transport error with code -1 is logged and never
    /// reported.
    void startAsyncTask(std::string_view task, const boost::json::value& params, ProgressHandler progress,
                        Finished finished);
    /// Posts parameters as JSON and reports the response undecoded.
    void startAsyncDownloadWithStreamRequest(std::string_view task, const boost::json::value& params,
                                             ProgressHandler progress, RawFinished finished);
    /// Sends the file at "FilePath" of the parameters, by way of a copy in the home directory, with the parameters
    /// "FilePath", "TransitDownloadPath" and "FileRequestID" in header fields. A response that is not JSON is reported
    /// as nil with `RestStatusSuccess`. The upload is not the `sessionTask`. Its progress is reported to the context's
    /// `uploadProgress`.
    void startAsyncUploadWithStreamRequest(std::string_view task, const boost::json::object& params,
                                           ProgressHandler progress, Finished finished);
    /// Gets an absolute URL into memory; a response that is too long for that (UrlRequest.h, `maximumDataInMemory`) is
    /// a transport error.
    void startAsyncDownload(std::string_view url, ProgressHandler progress, DataFinished finished);
    /// Builds a request and sends nothing; `finished` is called for failures only. That is required; nothing uses it.
    void startAsyncUpload(std::string_view task, const boost::json::value& params, ProgressHandler progress,
                          const Finished& finished);

    /// Starts the `sessionTask`, where there is one.
    void resume();
    /// The same as `resume`, which is intended.
    void pause();
    /// Cancels the `sessionTask`, where there is one.
    void close();

    /// The session that was made last; it stays when its request ends.
    const std::shared_ptr<Platform::UrlSession>& session() const { return session_; }
    void setSession(std::shared_ptr<Platform::UrlSession> session) { session_ = std::move(session); }
    const std::shared_ptr<Platform::UrlSessionTask>& sessionTask() const { return sessionTask_; }
    void setSessionTask(std::shared_ptr<Platform::UrlSessionTask> task) { sessionTask_ = std::move(task); }
    const ProgressHandler& progressHandler() const { return progressHandler_; }
    void setProgressHandler(ProgressHandler handler) { progressHandler_ = std::move(handler); }

    /// Leaves the challenge unanswered, as the one of a task.
    void URLSessionDidReceiveChallenge(Platform::UrlSession& session,
                                       Platform::ChallengeHandler completionHandler) override;
    /// Leaves the challenge unanswered, so that the task waits until its time-out.
    void URLSessionTaskDidReceiveChallenge(Platform::UrlSession& session, Platform::UrlSessionTask& task,
                                           Platform::ChallengeHandler completionHandler) override;
    void URLSessionTaskDidCompleteWithError(Platform::UrlSession& session, Platform::UrlSessionTask& task,
                                            const std::optional<Platform::Error>& error) override;
    /// Report no progress, whether there is a progress handler or not, and do nothing else.
    void URLSessionDownloadTaskDidWriteData(Platform::UrlSession& session, Platform::UrlSessionTask& downloadTask,
                                            std::int64_t bytesWritten, std::int64_t totalBytesWritten,
                                            std::int64_t totalBytesExpectedToWrite) override;
    void URLSessionDownloadTaskDidFinishDownloadingToURL(Platform::UrlSession& session,
                                                         Platform::UrlSessionTask& downloadTask,
                                                         const Platform::Url& location) override;
    void URLSessionDownloadTaskDidResumeAtOffset(Platform::UrlSession& session, Platform::UrlSessionTask& downloadTask,
                                                 std::int64_t fileOffset, std::int64_t expectedTotalBytes) override;

private:
    void makeSession(Platform::UrlSessionConfiguration configuration);
    /// What a post of JSON begins with: its session and its body; nil where it has ended with a status instead.
    std::optional<std::string> beginPost(std::string_view task, const boost::json::value& params,
                                         ProgressHandler progress, const Finished& finished);

    ServiceContext context_;
    std::shared_ptr<Platform::UrlSession> session_;
    std::shared_ptr<Platform::UrlSessionTask> sessionTask_;
    ProgressHandler progressHandler_;
};

} // namespace Quenmark
