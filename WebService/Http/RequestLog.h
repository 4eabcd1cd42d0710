#pragma once

#include "WebService/Http/ClientSocket.h"
#include "WebService/Http/RequestRecorder.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace webservice {

/// Logs one line about a request when it ends, in whatever way: peer, method, path, status, bytes sent and time, and
/// "incomplete" where the response was not sent to its end.
class RequestLog : public RequestProgress {
public:
    explicit RequestLog(const ClientSocket& client) : client_(client) {}
    ~RequestLog() override;

    std::uint64_t sent() const override { return client_.sent() - sentBefore_; }
    std::chrono::duration<double, std::milli> time() const override {
        return std::chrono::steady_clock::now() - started_;
    }

    /// To be called when the request has ended, unless the server has.
    void end();

    std::string method = "-";
    std::string path = "-";
    /// Null where nothing is noted.
    std::unique_ptr<RequestRecorder> recorder;

private:
    const ClientSocket& client_;
    std::uint64_t sentBefore_ = client_.sent();
    std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
};

} // namespace webservice
