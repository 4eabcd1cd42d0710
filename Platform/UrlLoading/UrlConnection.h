#pragma once

#include "Platform/Error.h"
#include "Platform/Loop/Queue.h"
#include "Platform/UrlLoading/LoadStage.h"
#include "Platform/UrlLoading/UrlRequest.h"

#include <functional>
#include <memory>
#include <optional>
#include <string_view>

namespace Platform {

class UrlConnection;

/// Receives the events of a connection's request, each on the connection's delegate queue, in order: the response's
/// headers, the bytes of its body, and one of the two ends.
class UrlConnectionDelegate {
public:
    virtual ~UrlConnectionDelegate() = default;
    virtual void connectionDidReceiveResponse(UrlConnection& connection, const HttpUrlResponse& response);
    virtual void connectionDidReceiveData(UrlConnection& connection, std::string_view data);
    virtual void connectionDidFinishLoading(UrlConnection& connection);
    virtual void connectionDidFailWithError(UrlConnection& connection, const Error& error);
};

/// One request over the older, connection-based interface. While it loads, it is kept alive, and keeps its delegate.
class UrlConnection : public std::enable_shared_from_this<UrlConnection> {
public:
    UrlConnection(UrlRequest request, std::shared_ptr<UrlConnectionDelegate> delegate);
    UrlConnection(const UrlConnection&) = delete;
    UrlConnection& operator=(const UrlConnection&) = delete;
    virtual ~UrlConnection();

    /// The queue that the delegate is called on; the main queue where none is set. To be set before `start`.
    void setDelegateQueue(Queue queue);
    /// Starts loading; once. The connection must be held by a shared pointer.
    void start();
    /// Ends loading; the delegate is not called any more.
    void cancel();

    const UrlRequest& originalRequest() const;
    /// How far the request has come, while there is no response and no error; where redirects were followed, the last
    /// one.
    LoadStage stage() const;

    /// Loads a request whole, and calls the handler once on `queue` with the headers and all of the body, or an error.
    using Handler = std::function<void(std::optional<HttpUrlResponse>, std::optional<Data>, std::optional<Error>)>;
    static void sendAsynchronousRequest(UrlRequest request, const Queue& queue, Handler completionHandler);

private:
    struct Loading;
    std::unique_ptr<Loading> loading_;
};

} // namespace Platform
