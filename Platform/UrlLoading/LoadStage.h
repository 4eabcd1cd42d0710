#pragma once

namespace Platform {

/// How far a request has come that has no response yet.
enum class LoadStage {
    /// It waits for its slot, or for the addresses of the host.
    Waiting,
    /// The addresses of the host are known.
    HostFound,
    Connected,
    /// The TLS connection is there, the server's certificate accepted.
    Secured,
};

} // namespace Platform
