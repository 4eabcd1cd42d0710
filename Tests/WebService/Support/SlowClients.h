#pragma once

#include "WebService/Common/Descriptor.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace webservice::test {

/// Many connections to a port of 127.0.0.1 that send the given bytes and read nothing.
class SlowClients {
public:
    /// Opens `count` connections and sends `bytes` on each.
    SlowClients(std::uint16_t port, int count, std::string_view bytes);

    /// Sends some bytes on every connection that is still open.
    void send(std::string_view bytes) const;

    /// Waits until the other side has sent something on each; std::runtime_error after a minute.
    void waitForResponses() const;

    /// How many connections the other side has closed.
    int closed() const;

private:
    std::vector<Descriptor> sockets_;
};

/// Lets this process have as many files open as it may, or `limit` of them.
void allowOpenFiles(std::size_t limit = SIZE_MAX);

} // namespace webservice::test
