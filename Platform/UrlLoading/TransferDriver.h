#pragma once

#include "Platform/RunLoop.h"

#include <memory>
#include <string_view>

namespace Platform {

class Transfer;
class TransportSockets;

/// Runs every transfer of a loop: the loop's descriptors and a timer of the machine's own time drive the transport,
/// whose callbacks only record. What they recorded is settled after the transport has returned. Connections stay open
/// for a while and serve whoever comes next. Found by `RunLoop::attachment`.
class TransferDriver {
public:
    explicit TransferDriver(RunLoop& loop);
    TransferDriver(const TransferDriver&) = delete;
    TransferDriver& operator=(const TransferDriver&) = delete;
    /// Lets go of every transfer; none of them changes any more.
    ~TransferDriver();

    /// Every transfer is known here from its beginning to its end.
    void add(Transfer& transfer);
    void remove(Transfer& transfer) noexcept;
    /// Starts what the transfer's handle says, as far as it goes without waiting; where very many of its server are
    /// under way, once its turn has come.
    void start(Transfer& transfer);
    /// The same, never before this returns.
    void startLater(Transfer& transfer);
    /// Releases the transfer's slot to the one that has waited longest.
    void releaseSlot(Transfer& transfer) noexcept;
    /// Ends the transfer's handle and what it has begun; an answer that is not complete costs its connection.
    void release(Transfer& transfer) noexcept;
    /// Has the transfer settled once the transport has returned.
    void touch(Transfer& transfer) noexcept;
    /// Does what is due now, and settles what it touched.
    void perform();
    TransportSockets& sockets();

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace Platform
