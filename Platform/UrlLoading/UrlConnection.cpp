#include "Platform/UrlLoading/UrlConnection.h"

#include "Platform/UrlLoading/GatheredBody.h"
#include "Platform/UrlLoading/HttpLoad.h"

#include <chrono>
#include <utility>

namespace Platform {

namespace {

std::shared_ptr<HttpLoad> makeLoad(UrlRequest request, Queue queue) {
    const auto idleTimeout = request.timeoutInterval;
    constexpr auto totalTimeout = std::chrono::hours(7 * 24);
    return std::make_shared<HttpLoad>(
        HttpLoad::Settings{std::move(request), {}, std::nullopt, idleTimeout, totalTimeout, std::move(queue)});
}

/// Gathers a response and delivers it whole.
class WholeResponse final : public HttpLoadClient {
public:
    WholeResponse(std::weak_ptr<HttpLoad> load, UrlConnection::Handler handler)
        : load_(std::move(load)), handler_(std::move(handler)) {}

    void loadDidReceiveResponse(HttpUrlResponse response) override {
        response_ = std::move(response);
        failWith(body_.expect(*response_));
    }
    void loadDidReceiveData(std::string_view data) override { failWith(body_.append(data)); }
    void loadDidEnd(const std::optional<Error>& error) override {
        if (handler_)
            handler_(std::move(response_), error ? std::nullopt : std::optional(body_.take()), error);
    }

private:
    void failWith(std::optional<Error> error) {
        const auto load = error ? load_.lock() : nullptr;
        if (load)
            load->fail(std::move(*error));
    }

    std::weak_ptr<HttpLoad> load_;
    UrlConnection::Handler handler_;
    std::optional<HttpUrlResponse> response_;
    GatheredBody body_;
};

/// Calls a connection's delegate; it keeps both while the connection loads.
class ConnectionEvents final : public HttpLoadClient {
public:
    ConnectionEvents(std::shared_ptr<UrlConnection> connection, std::shared_ptr<UrlConnectionDelegate> delegate)
        : connection_(std::move(connection)), delegate_(std::move(delegate)) {}

    void loadDidReceiveResponse(HttpUrlResponse response) override {
        if (delegate_)
            delegate_->connectionDidReceiveResponse(*connection_, response);
    }
    void loadDidReceiveData(std::string_view data) override {
        if (delegate_)
            delegate_->connectionDidReceiveData(*connection_, data);
    }
    void loadDidEnd(const std::optional<Error>& error) override {
        if (delegate_ && error)
            delegate_->connectionDidFailWithError(*connection_, *error);
        else if (delegate_)
            delegate_->connectionDidFinishLoading(*connection_);
    }

private:
    std::shared_ptr<UrlConnection> connection_;
    std::shared_ptr<UrlConnectionDelegate> delegate_;
};

} // namespace

void UrlConnectionDelegate::connectionDidReceiveResponse(UrlConnection&, const HttpUrlResponse&) {}
void UrlConnectionDelegate::connectionDidReceiveData(UrlConnection&, std::string_view) {}
void UrlConnectionDelegate::connectionDidFinishLoading(UrlConnection&) {}
void UrlConnectionDelegate::connectionDidFailWithError(UrlConnection&, const Error&) {}

struct UrlConnection::Loading {
    UrlRequest request;
    /// Until `start` or `cancel`.
    std::shared_ptr<UrlConnectionDelegate> delegate;
    Queue queue = Queue::main();
    bool over = false;
    std::shared_ptr<HttpLoad> load;
};

UrlConnection::UrlConnection(UrlRequest request, std::shared_ptr<UrlConnectionDelegate> delegate)
    : loading_(std::make_unique<Loading>()) {
    loading_->request = std::move(request);
    loading_->delegate = std::move(delegate);
}

UrlConnection::~UrlConnection() = default;

void UrlConnection::setDelegateQueue(Queue queue) {
    loading_->queue = std::move(queue);
}

void UrlConnection::start() {
    if (loading_->load || loading_->over)
        return;
    loading_->load = makeLoad(loading_->request, loading_->queue);
    loading_->load->begin(
        std::make_shared<ConnectionEvents>(shared_from_this(), std::exchange(loading_->delegate, nullptr)));
    loading_->load->start();
}

void UrlConnection::cancel() {
    loading_->over = true;
    loading_->delegate.reset();
    if (loading_->load)
        loading_->load->drop();
}

const UrlRequest& UrlConnection::originalRequest() const {
    return loading_->request;
}

LoadStage UrlConnection::stage() const {
    return loading_->load ? loading_->load->stage() : LoadStage::Waiting;
}

void UrlConnection::sendAsynchronousRequest(UrlRequest request, const Queue& queue, Handler completionHandler) {
    const auto load = makeLoad(std::move(request), queue);
    load->begin(std::make_shared<WholeResponse>(load, std::move(completionHandler)));
    load->start();
}

} // namespace Platform
