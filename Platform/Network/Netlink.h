#pragma once

#include "Platform/Files/FileDescriptor.h"

#include <linux/netlink.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <span>
#include <vector>

/// Requests to the kernel's routing socket (netlink(7), rtnetlink(7)), and its notifications. Every length that a
/// message states is checked against the bytes that are there.
namespace Platform::Netlink {

using Bytes = std::span<const std::byte>;

/// A value at the start of some bytes; nil where they are too few.
template <class Value>
std::optional<Value> leading(Bytes bytes) {
    static_assert(std::is_trivially_copyable_v<Value>);
    if (bytes.size() < sizeof(Value))
        return std::nullopt;
    Value value{};
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

/// What follows a header of `length` bytes and its padding; nothing where the bytes are too few.
inline Bytes after(Bytes bytes, std::size_t length) {
    const std::size_t aligned = NLMSG_ALIGN(length);
    return aligned < bytes.size() ? bytes.subspan(aligned) : Bytes();
}

/// Calls `visit` with type and payload of each attribute, up to the first that states a wrong length.
template <std::invocable<std::uint16_t, Bytes> Visit>
void forEachAttribute(Bytes attributes, Visit&& visit) {
    while (const auto header = leading<nlattr>(attributes)) {
        if (header->nla_len < sizeof *header || header->nla_len > attributes.size())
            return;
        visit(static_cast<std::uint16_t>(header->nla_type & NLA_TYPE_MASK),
              attributes.subspan(sizeof *header, header->nla_len - sizeof *header));
        attributes = after(attributes, header->nla_len);
    }
}

/// A request: a message header, the fixed part of its type, and attributes.
class Request {
public:
    template <class Fixed>
    Request(std::uint16_t type, std::uint16_t flags, const Fixed& fixed) : bytes_(NLMSG_LENGTH(0)) {
        header_.nlmsg_type = type;
        header_.nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | flags);
        append(&fixed, sizeof fixed);
    }
    void addAttribute(std::uint16_t type, Bytes payload);
    bool isDump() const { return (header_.nlmsg_flags & NLM_F_DUMP) == NLM_F_DUMP; }

    /// The bytes to send, with the sequence number that the reply repeats.
    Bytes bytes(std::uint32_t sequence);

private:
    void append(const void* data, std::size_t size);

    nlmsghdr header_{};
    std::vector<std::byte> bytes_;
};

/// Called with the type and the payload of each message of a reply.
using Visitor = std::function<void(std::uint16_t type, Bytes payload)>;

/// Reads the messages of one reply, datagram after datagram, until the one that ends it. Messages with a sequence
/// number other than the request's are skipped.
class ReplyReader {
public:
    /// `dump` says whether the reply has several parts and a message of its own that ends it (NLM_F_DUMP).
    ReplyReader(std::uint32_t sequence, bool dump, Visitor visit)
        : sequence_(sequence), dump_(dump), visit_(std::move(visit)) {}

    /// Reads on, up to the first message that states a wrong length.
    void read(Bytes datagram);
    bool ended() const { return ended_; }
    /// The number of errno(3) by which the kernel refused, or 0.
    int error() const { return error_; }
    /// Whether the kernel's tables changed during the dump, so that it may be incomplete (NLM_F_DUMP_INTR).
    bool interrupted() const { return interrupted_; }

private:
    void readMessage(const nlmsghdr& header, Bytes payload);

    std::uint32_t sequence_;
    bool dump_;
    Visitor visit_;
    bool ended_ = false;
    bool interrupted_ = false;
    int error_ = 0;
};

/// A socket for requests, one after the other.
class Socket {
public:
    /// Opens it; where that failed, every request fails with EBADF.
    Socket();

    /// Sends the request and calls `visit` with every message of the reply. Returns 0 or the number of errno(3) with
    /// which the kernel refused or the exchange failed; sets `interrupted` as `ReplyReader::interrupted`.
    int exchange(Request& request, const Visitor& visit, bool& interrupted);

private:
    FileDescriptor socket_;
    std::uint32_t sequence_ = 0;
};

/// A socket for the kernel's notifications of changed links, addresses and routes.
class ChangeSocket {
public:
    ChangeSocket();
    /// Negative where it could not be opened.
    int descriptor() const { return socket_.get(); }
    /// Reads all notifications, without blocking, and says whether there was any; notifications that were lost
    /// (ENOBUFS) count.
    bool takeChanges();

private:
    FileDescriptor socket_;
};

} // namespace Platform::Netlink
