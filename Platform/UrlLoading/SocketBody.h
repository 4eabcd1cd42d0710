#pragma once

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/UrlLoading/PieceBuffer.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace Platform {

/// Receives the rest of a body of known length straight from its connection, into the memory that is delivered: no byte
/// is copied on the way, and all that the socket holds is received with one call.
///
/// Where bytes arrive fast, the kernel is asked to gather 256 KiB before it wakes this process (SO_RCVLOWAT,
/// socket(7)). That ends as soon as less arrives in a twentieth of a second of real time: what has arrived by then is
/// received, and from there on bytes are received as they arrive.
class SocketBody {
public:
    /// Receives `length` bytes from `socket` into `pieces`. `changed` is called by the loop, after bytes were received
    /// and at the end; it may destroy this.
    SocketBody(FileDescriptor socket, std::uint64_t length, PieceBuffer& pieces, std::function<void()> changed);

    /// To be called when `pieces` has room again.
    void continueReading();

    bool isComplete() const { return left_ == 0; }
    /// Whether the connection ended before the body; `error` then tells how, 0 where it was closed in order.
    bool isBroken() const { return broken_; }
    int error() const { return error_; }

private:
    void receive();
    void startGathering();
    void stopGathering();
    void gatherAtLeast(int count);
    void timerFired();

    FileDescriptor socket_;
    std::uint64_t left_;
    PieceBuffer& pieces_;
    std::function<void()> changed_;
    bool broken_ = false;
    int error_ = 0;
    std::unique_ptr<DescriptorWatch> watch_;
    /// Whether anything has been received since the timer last fired.
    bool received_ = false;
    /// These are there while the kernel gathers.
    FileDescriptor timer_;
    std::unique_ptr<DescriptorWatch> timerWatch_;
};

} // namespace Platform
