#pragma once

#include "Platform/Ipc/Value.h"

#include <cstdint>

namespace Platform::Ipc {

/// Who is at the other end of a connection.
struct PeerIdentity {
    /// Stands for every number that neither the bus nor the system tells, and for an audit session that was never set
    /// (as the system itself has it: proc(5), /proc/PID/sessionid).
    static constexpr std::uint32_t unset = 4294967295;

    std::uint32_t effectiveUser = unset;
    std::uint32_t effectiveGroup = unset;
    std::uint32_t process = unset;
    std::uint32_t auditSession = unset;

    bool operator==(const PeerIdentity&) const = default;
};

/// The identity in the bus's reply to org.freedesktop.DBus.GetConnectionCredentials (D-Bus Specification). The bus
/// tells user and process, as they were when the peer connected. Group and audit session are those of that process
/// now, as long as it belongs to that user; a process that has ended leaves them unset.
PeerIdentity peerIdentity(const Value& credentials);

} // namespace Platform::Ipc
