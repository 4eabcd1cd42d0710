#pragma once

#include "WebService/Common/Descriptor.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace webservice::test {

struct HttpResponse {
    std::string headerText; // status line and header fields as they came
    int status = 0;
    std::map<std::string, std::string> headers; // names as they were spelled
    std::string body;
};

/// One connection to 127.0.0.1 that shows exactly the bytes that were sent and received. Every wait ends within ten
/// seconds, with std::runtime_error.
class HttpClient {
public:
    explicit HttpClient(std::uint16_t port);

    void send(std::string_view bytes);
    HttpResponse receive();

    /// Whether there is something to receive by now.
    bool hasReceived() const;

    /// Reads some bytes; none when the other side has closed.
    std::string receiveSome(std::size_t most);
    bool isClosedByPeer();

    /// Everything up to the end of the connection, and whether that was a reset.
    std::pair<std::string, bool> receiveToEnd();

    /// Sends a request with a Content-Length and receives the response.
    HttpResponse exchange(std::string_view method, std::string_view target, std::string_view body,
                          std::string_view headers = "");
    HttpResponse post(std::string_view operation, std::string_view json);

    /// Closes the sending half of the connection.
    void endInput();

    /// Resets the connection.
    void reset();

private:
    void waitFor(short events);

    Descriptor socket_;
    std::string pending_; // received, not yet used
};

/// How many connections to this port of 127.0.0.1 the client has closed and the server has not (CLOSE-WAIT), once that
/// is none or two seconds have passed.
int connectionsInCloseWait(std::uint16_t port);

} // namespace webservice::test
