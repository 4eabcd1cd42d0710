#include "Support/ServedApplication.h"

#include <stdexcept>

namespace webservice::test {

namespace {

class SteppedExchange : public Exchange {
public:
    SteppedExchange(ServedApplication::Step step, ServedApplication::Hook receive)
        : step_(std::move(step)), receive_(std::move(receive)) {}
    void receive(std::string_view piece) override {
        if (receive_)
            receive_();
        body_ += piece;
    }
    std::size_t memory() const override { return body_.capacity(); }
    Response finish() override { throw std::logic_error("a stepped exchange is not finished at once"); }
    std::optional<Response> step() override { return step_(); }

private:
    ServedApplication::Step step_;
    ServedApplication::Hook receive_;
    std::string body_;
};

} // namespace

ServedApplication::~ServedApplication() {
    context_.stop();
    if (thread_.joinable())
        thread_.join();
}

std::uint16_t ServedApplication::serve(const Limits& limits, std::shared_ptr<const TlsIdentity> identity) {
    auto acceptor = listenOn(context_, {.host = "127.0.0.1", .port = "0"});
    const std::uint16_t port = acceptor.local_endpoint().port();
    serveConnections(std::move(acceptor), *this, limits, std::move(identity));
    thread_ = std::thread([this] { context_.run(); });
    return port;
}

std::unique_ptr<Exchange> ServedApplication::begin(const Request& request) {
    const auto found = paths_.find(request.path());
    if (found == paths_.end())
        throw RequestError("UnknownPath", "there is nothing at this path", 404);
    const Path& path = found->second;
    if (path.begin)
        path.begin();
    return std::make_unique<SteppedExchange>(path.step, path.receive);
}

Response textResponse(std::string body) {
    Response response;
    response.body = std::move(body);
    return response;
}

} // namespace webservice::test
