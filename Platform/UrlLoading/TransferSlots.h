#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>

namespace Platform {

class Transfer;

/// Which transfers may have a connection: so many of one server at once. Those beyond wait for their turn, in order,
/// and hold up nobody else's.
class TransferSlots {
public:
    explicit TransferSlots(std::size_t perOrigin) : perOrigin_(perOrigin) {}

    /// Whether the transfer may begin; otherwise `leave` hands it out when its turn has come.
    bool take(Transfer& transfer, const std::string& origin);
    /// Gives up the transfer's slot or its turn. The transfer that may begin now; null where none waits.
    Transfer* leave(Transfer& transfer) noexcept;
    /// How many transfers have a slot.
    std::size_t taken() const { return taken_; }

private:
    struct Server {
        std::size_t taken = 0;
        std::list<Transfer*> waiting;
    };
    using Servers = std::map<std::string, Server>;
    struct Place {
        Servers::iterator server;
        /// Nil for a transfer that has its slot.
        std::optional<std::list<Transfer*>::iterator> turn;
    };

    std::size_t perOrigin_;
    std::size_t taken_ = 0;
    Servers servers_;
    std::unordered_map<Transfer*, Place> places_;
};

} // namespace Platform
