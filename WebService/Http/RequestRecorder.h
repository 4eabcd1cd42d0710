#pragma once

#include "WebService/Http/Response.h"

#include <chrono>
#include <cstdint>
#include <string_view>

namespace webservice {

/// How far a request has come.
class RequestProgress {
public:
    RequestProgress() = default;
    RequestProgress(const RequestProgress&) = delete;
    RequestProgress& operator=(const RequestProgress&) = delete;
    virtual ~RequestProgress() = default;

    /// The bytes that were sent to the client since the request began.
    virtual std::uint64_t sent() const = 0;
    virtual std::chrono::duration<double, std::milli> time() const = 0;

    /// Of the response; 0 before there is one.
    int status = 0;
    /// Whether the whole response was sent.
    bool isComplete = false;
};

/// What an application notes about a request while it is served. Destroyed without ended() when the server ends.
class RequestRecorder {
public:
    RequestRecorder() = default;
    RequestRecorder(const RequestRecorder&) = delete;
    RequestRecorder& operator=(const RequestRecorder&) = delete;
    virtual ~RequestRecorder() = default;

    /// The next piece of the body was received.
    virtual void received(std::string_view piece) = 0;

    /// The response is sent next, with this header section and, unless `hasNoBody`, its body. `progress` lives until
    /// ended() or the recorder's end.
    virtual void responding(const Response& response, std::string_view header, bool hasNoBody,
                            const RequestProgress& progress) = 0;

    /// The request has ended, in whatever way. Throws nothing.
    virtual void ended(const RequestProgress& progress) = 0;
};

} // namespace webservice
