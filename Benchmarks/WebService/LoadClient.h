#pragma once

#include "WebService/Common/Descriptor.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Benchmarks {

/// Many connections to a port of 127.0.0.1, all of one thread: those that send a request at fixed times, each with a
/// connection of its own that is kept, and those that receive a long response and drop it. Throws std::runtime_error
/// where a response is not what it should be or a connection ends.
class LoadClient {
public:
    using Clock = std::chrono::steady_clock;

    struct Result {
        double seconds = 0;
        std::vector<float> latencies;   // of each request, in milliseconds, from when it was due to its whole response
        double worstDelay = 0;          // in milliseconds, from when a request was due until this client sent it
        std::uint64_t bytesDropped = 0; // of downloads
    };

    /// `expected` stands in the body of every response to a request.
    LoadClient(std::uint16_t port, std::string expected);
    LoadClient(const LoadClient&) = delete;
    LoadClient& operator=(const LoadClient&) = delete;
    ~LoadClient();

    /// Opens connections of computers, which send this text each.
    void connect(const std::vector<std::string>& requests);

    /// Each computer sends its request once in an interval, all evenly spread over it, for this time or, where there
    /// are downloads, until the last one has ended. Begins with the downloads.
    Result poll(Clock::duration interval, Clock::duration time, const std::vector<std::string>& downloads,
                std::uint64_t downloadLength);

    /// Each computer sends its request again as soon as it has the response.
    Result repeat(Clock::duration time);

private:
    struct Connection;

    Connection& open(const std::string& request, bool isDownload);
    void send(Connection& connection);
    void sendDue(Clock::time_point now, Clock::duration step);
    void receive(Connection& connection);
    void receiveDownload(Connection& connection);
    void onResponse(Connection& connection);
    void waitForEvents(Clock::duration timeout);

    std::uint16_t port_;
    std::string expected_;
    webservice::Descriptor epoll_;
    std::vector<std::unique_ptr<Connection>> computers_;
    std::vector<std::unique_ptr<Connection>> downloads_;
    std::vector<char> buffer_;
    std::size_t next_ = 0; // the computer whose request is due next
    Clock::time_point due_;
    Clock::duration interval_{};
    bool repeats_ = false;
    std::size_t downloadsLeft_ = 0;
    Result result_;
};

} // namespace Benchmarks
