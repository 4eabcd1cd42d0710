#pragma once

#include "Platform/Error.h"
#include "Platform/Loop/Queue.h"
#include "Platform/UrlLoading/UrlRequest.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Platform {

class UrlSession;
class UrlSessionTask;

/// How a session's requests are made. A session keeps the configuration as it was when the session was made.
struct UrlSessionConfiguration {
    /// Header fields of every request that does not set them itself.
    HeaderFields httpAdditionalHeaders;
    /// Whether networks that are paid for may be used. Kept for callers; every network is the same here.
    bool allowsCellularAccess = true;
    /// The longest time without progress.
    std::chrono::duration<double> timeoutIntervalForRequest = std::chrono::seconds(60);
    /// The longest time of a whole transfer.
    std::chrono::duration<double> timeoutIntervalForResource = std::chrono::hours(7 * 24);
    /// How many connections to one host this session uses at once; further tasks wait for a slot. All sessions of a
    /// process together have at most 32 exchanges with one server under way, long bodies aside. No timeout runs while
    /// a task waits.
    int httpMaximumConnectionsPerHost = 6;
    /// How long a body may be that is gathered in a file, for a caller that then reads it into memory; a longer one
    /// ends its task with `UrlError::DataLengthExceedsMaximum`. Nil sets no limit.
    std::optional<std::uint64_t> maximumDownloadLength;

    static UrlSessionConfiguration defaultSessionConfiguration() { return {}; }
};

/// What to do about a server that asks for authentication.
enum class ChallengeDisposition {
    /// Deliver the response that carries the challenge (status 401) as the task's response.
    PerformDefaultHandling,
    /// End the task with `UrlError::Cancelled`.
    CancelChallenge,
};
using ChallengeHandler = std::function<void(ChallengeDisposition)>;

/// Receives the events of a session's tasks, each on the session's delegate queue, in order. Every call has a
/// default that does nothing, but for the challenges, whose default is `PerformDefaultHandling`.
class UrlSessionDelegate {
public:
    virtual ~UrlSessionDelegate() = default;

    /// A server asks for authentication (a response of status 401 with a WWW-Authenticate field; RFC 9110,
    /// section 11.6.1). The task waits, for as long as its timeouts allow, until the handler is called; it may be
    /// called later, once. No other task waits for it.
    virtual void URLSessionTaskDidReceiveChallenge(UrlSession& session, UrlSessionTask& task,
                                                   ChallengeHandler completionHandler);
    /// The next bytes of a data task that has no completion handler. `data` is valid during the call.
    virtual void URLSessionDataTaskDidReceiveData(UrlSession& session, UrlSessionTask& dataTask, std::string_view data);
    /// Asks about the session's connections as a whole. Servers are judged by their certificates here, and proxies are
    /// not asked for; so no session makes this call, which is for an owner's own use.
    virtual void URLSessionDidReceiveChallenge(UrlSession& session, ChallengeHandler completionHandler);
    /// The progress of a download task, its file, and where it went on. Every download task has a completion handler,
    /// which replaces them, so no session makes these calls either.
    virtual void URLSessionDownloadTaskDidWriteData(UrlSession& session, UrlSessionTask& downloadTask,
                                                    std::int64_t bytesWritten, std::int64_t totalBytesWritten,
                                                    std::int64_t totalBytesExpectedToWrite);
    virtual void URLSessionDownloadTaskDidFinishDownloadingToURL(UrlSession& session, UrlSessionTask& downloadTask,
                                                                 const Url& location);
    virtual void URLSessionDownloadTaskDidResumeAtOffset(UrlSession& session, UrlSessionTask& downloadTask,
                                                         std::int64_t fileOffset, std::int64_t expectedTotalBytes);
    /// The task has ended, with an error or nil. Last call for the task; not made for one with a completion handler.
    virtual void URLSessionTaskDidCompleteWithError(UrlSession& session, UrlSessionTask& task,
                                                    const std::optional<Error>& error);
};

/// One request of a session. It is made suspended and starts at `resume`. A task that is running is kept alive by
/// its session.
class UrlSessionTask {
public:
    enum class State { Running, Suspended, Canceling, Completed };

    virtual ~UrlSessionTask() = default;
    /// Starts a new or suspended task; no effect on another.
    virtual void resume() = 0;
    /// Delivers nothing until `resume`; the timeouts are stopped meanwhile.
    virtual void suspend() = 0;
    /// Ends the task with `UrlError::Cancelled`, unless it has ended.
    virtual void cancel() = 0;

    virtual State state() const = 0;
    virtual const UrlRequest& originalRequest() const = 0;
    /// The response's status and headers; nil until they are received. They stay when the task ends.
    virtual const HttpUrlResponse* response() const = 0;
    /// How many bytes of the request's body were sent so far; 0 before it is sent and once the task has ended.
    virtual std::uint64_t countOfBytesSent() const = 0;
    virtual void setTaskDescription(std::string description) = 0;
    virtual const std::string& taskDescription() const = 0;
};

/// Makes tasks that share a configuration and a delegate. A session with unfinished tasks stays alive and keeps its
/// delegate; it is freed, and releases the delegate, once the last task is done and nobody else holds it.
class UrlSession : public std::enable_shared_from_this<UrlSession> {
public:
    /// The response of a task, on the session's delegate queue: all of the body, and the headers; or an error. What was
    /// not received is nil.
    using DataHandler = std::function<void(std::optional<Data>, std::optional<HttpUrlResponse>, std::optional<Error>)>;
    /// As above; the body is in a file at `location` that is removed after the call.
    using DownloadHandler =
        std::function<void(std::optional<std::string> location, std::optional<HttpUrlResponse>, std::optional<Error>)>;

    /// `delegate` may be nil. Without a `delegateQueue` the session makes a serial queue of its own.
    static std::shared_ptr<UrlSession> sessionWithConfiguration(UrlSessionConfiguration configuration,
                                                                std::shared_ptr<UrlSessionDelegate> delegate = nullptr,
                                                                std::optional<Queue> delegateQueue = std::nullopt);
    virtual ~UrlSession() = default;

    /// A task whose response is delivered to the delegate piece by piece as it is received.
    virtual std::shared_ptr<UrlSessionTask> dataTaskWithRequest(UrlRequest request) = 0;
    /// A task whose response is gathered in memory.
    virtual std::shared_ptr<UrlSessionTask> dataTaskWithRequest(UrlRequest request, DataHandler completionHandler) = 0;
    /// Sends a file, read as it goes, as the request's body. A file that cannot be opened ends the task with
    /// `UrlError::FileDoesNotExist`.
    virtual std::shared_ptr<UrlSessionTask> uploadTaskWithRequest(UrlRequest request, const Url& fromFile,
                                                                  DataHandler completionHandler) = 0;
    /// A task whose body is to be streamed; the delegate is asked for no stream, so such a task sends none.
    virtual std::shared_ptr<UrlSessionTask> uploadTaskWithStreamedRequest(UrlRequest request) = 0;
    /// Gets a URL into a file.
    virtual std::shared_ptr<UrlSessionTask> downloadTaskWithURL(std::optional<Url> url,
                                                                DownloadHandler completionHandler) = 0;

    virtual const UrlSessionConfiguration& configuration() const = 0;
    virtual const Queue& delegateQueue() const = 0;
};

} // namespace Platform
