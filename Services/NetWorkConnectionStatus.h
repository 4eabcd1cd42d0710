#pragma once

#include "Platform/Network/NetworkFlags.h"

#include <cstdint>
#include <optional>

namespace Quenmark {

/// The availability of the network.
class NetWorkConnectionStatus {
public:
    NetWorkConnectionStatus() = delete;

    /// Whether the Internet can be used now, by flags that are read anew and at once; false where they cannot be
    /// read. May be called on any thread. A network that is reachable and direct is good enough here even where it
    /// still requires a connection; `Reachability` is stricter; the difference is required.
    static bool ConectionStatus(Platform::NetworkSource source = {});
    /// The same of given flags; nil where they cannot be read.
    static bool connectionStatusForFlags(std::optional<std::uint32_t> flags);
};

} // namespace Quenmark
