#pragma once

#include "Platform/Ipc/Message.h"

#include <string>
#include <utility>
#include <variant>

struct sd_bus_message;

namespace Platform::Ipc {

/// A method call that has reached an object of this process. It gets one reply at most; a caller that asked for no
/// reply gets none whatever is called here, and a reply to a caller that has left the bus is dropped.
class IncomingCall {
public:
    /// Holds a reference of its own to the message.
    explicit IncomingCall(sd_bus_message& message);
    IncomingCall(IncomingCall&& other) noexcept : message_(std::exchange(other.message_, nullptr)) {}
    IncomingCall& operator=(IncomingCall&& other) noexcept {
        std::swap(message_, other.message_);
        return *this;
    }
    ~IncomingCall();

    /// The unique bus name of the caller.
    std::string sender() const;
    std::string interface() const;
    std::string method() const;
    bool wantsReply() const;
    /// The first argument.
    std::variant<Value, MessageFailure> argument() const;

    /// Sends an empty reply.
    void reply() const;
    /// Replies with an error (D-Bus Specification, "Error messages").
    void fail(const char* errorName, const std::string& text) const;

private:
    sd_bus_message* message_;
};

} // namespace Platform::Ipc
