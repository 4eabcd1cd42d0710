#pragma once

#include "Platform/Loop/RunLoop.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

namespace Platform {

class Transfer;

/// The sockets of a multi handle: which transfer waits for each, and its two ends.
class TransportSockets {
public:
    using Ready = std::function<void(int socket, Transfer& transfer, std::uint32_t events)>;

    /// `ready` is called when the socket of a transfer is ready.
    TransportSockets(RunLoop& loop, Ready ready) : loop_(loop), ready_(std::move(ready)) {}

    /// Opens a socket (socket(2)); negative where that fails.
    int open(int family, int type, int protocol);
    int close(int socket) noexcept;

    /// Calls `ready` with these events (EPOLLIN, EPOLLOUT) from now on. Throws where the socket cannot be watched.
    void watch(int socket, std::uint32_t events, Transfer* transfer);
    /// libcurl waits for nothing there for now. The watch stays, since the next request most often comes soon.
    void detach(int socket) noexcept;

    /// The socket between two ends, each an address and a port as text; negative where there is none.
    int find(std::string_view local, std::string_view peer);
    /// Whether a connection is open and holds no bytes, so that what is received next is the response to the next
    /// request.
    static bool isConnectedAndIdle(int socket);
    /// Marks that the connection carries a request, and returns whether it has carried one before.
    bool markInUse(int socket, const Transfer& transfer);
    /// The transfer does not use its connection any more, which may be closed, idle or already used by another.
    void markUnused(int socket, const Transfer& transfer) noexcept;

private:
    struct Entry {
        std::unique_ptr<DescriptorWatch> watch;
        Transfer* transfer = nullptr;
        /// Its two ends, once they are known.
        std::string local;
        std::string peer;
        bool used = false;
        const Transfer* user = nullptr;
    };

    void socketReady(int socket, std::uint32_t events);

    RunLoop& loop_;
    Ready ready_;
    std::unordered_map<int, Entry> entries_;
};

/// The text of one end of a connection: "127.0.0.1 8080".
std::string endpointText(std::string_view address, int port);

} // namespace Platform
