#pragma once

namespace Quenmark {

/// Tells whether the network can be used.
class NetWorkConnectionStatus {
public:
    NetWorkConnectionStatus() = delete;

    /// Whether the Internet can be used now, by flags that are read anew and at once; false where they cannot be
    /// read. May be called on any thread. A network that is reachable and direct is good enough here even where it
    /// still requires a connection; `Reachability` is stricter, and the difference is meant.
    static bool ConectionStatus();
};

} // namespace Quenmark
