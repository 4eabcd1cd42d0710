#pragma once

#include "WebService/Http/ClientSocket.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace webservice {

/// Logs one line about a request when it ends, in whatever way: peer, method, path, status, bytes sent and time, and
/// "incomplete" where the response was not sent to its end.
class RequestLog {
public:
    explicit RequestLog(const ClientSocket& client) : client_(client) {}
    RequestLog(const RequestLog&) = delete;
    RequestLog& operator=(const RequestLog&) = delete;
    ~RequestLog();

    std::string method = "-";
    std::string path = "-";
    int status = 0;
    bool isComplete = false; // the whole response was sent

private:
    const ClientSocket& client_;
    std::uint64_t sentBefore_ = client_.sent();
    std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
};

} // namespace webservice
