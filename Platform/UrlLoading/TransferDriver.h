#pragma once

#include "Platform/Loop/RunLoop.h"

#include <memory>
#include <string_view>

namespace Platform {

class Transfer;
class TransportSockets;

/// Runs every transfer of a loop on one libcurl multi handle, driven by the loop's descriptors and a timer of real
/// time. libcurl's callbacks only record which transfer has changed. The changes are reported after libcurl has
/// returned, one transfer at a time, first changed first reported; changes that a report causes are appended, and a
/// nested call reports nothing itself. Idle connections stay open for a while and serve the next transfers. Found by
/// `RunLoop::attachment`.
class TransferDriver {
public:
    explicit TransferDriver(RunLoop& loop);
    TransferDriver(const TransferDriver&) = delete;
    TransferDriver& operator=(const TransferDriver&) = delete;
    /// Ends every transfer; none of them changes any more.
    ~TransferDriver();

    /// Every transfer is known here from its beginning to its end.
    void add(Transfer& transfer);
    void remove(Transfer& transfer) noexcept;
    /// Starts the transfer and runs it as far as it goes without waiting; where all slots of its origin are taken, once
    /// it gets one.
    void start(Transfer& transfer);
    /// The same, never before this returns.
    void startLater(Transfer& transfer);
    /// Releases the transfer's slot to the one that has waited longest.
    void releaseSlot(Transfer& transfer) noexcept;
    /// Ends the transfer's handle and releases its slot; its connection is closed unless the response is complete.
    void release(Transfer& transfer) noexcept;
    /// Has the transfer's change reported once libcurl has returned. Takes no memory.
    void addChanged(Transfer& transfer) noexcept;
    void reportChanges() noexcept;
    /// Lets libcurl do what is due now, and reports the changes.
    void perform();
    /// The same, in a later turn of the loop.
    void performLater() noexcept;
    TransportSockets& sockets();

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace Platform
