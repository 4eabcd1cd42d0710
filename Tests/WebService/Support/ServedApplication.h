#pragma once

#include "WebService/Http/Exchange.h"
#include "WebService/Http/Listener.h"
#include "WebService/Http/Server.h"

#include <boost/asio/io_context.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <thread>

namespace webservice::test {

/// An application whose paths are set by the test. They are served on a loop with a thread of its own, on which what
/// the test sets is called.
class ServedApplication : public Application {
public:
    using Step = std::function<std::optional<Response>()>;

    ServedApplication() = default;
    ~ServedApplication() override;

    using Hook = std::function<void()>;

    /// What a request for `path` steps through, and what is called before, when it begins and for each piece of its
    /// body. Not to be called once serving has begun.
    void on(const std::string& path, Step step, Hook begin = {}, Hook receive = {}) {
        paths_[path] = {std::move(step), std::move(begin), std::move(receive)};
    }

    /// Serves on a free port of 127.0.0.1, which it returns; over TLS with an identity.
    std::uint16_t serve(const Limits& limits = {}, std::shared_ptr<const TlsIdentity> identity = nullptr);

    std::unique_ptr<Exchange> begin(const Request& request) override;

private:
    struct Path {
        Step step;
        Hook begin;
        Hook receive;
    };

    std::map<std::string, Path, std::less<>> paths_;
    boost::asio::io_context context_{1};
    std::thread thread_;
};

/// A response of status 200 with this body.
Response textResponse(std::string body);

} // namespace webservice::test
