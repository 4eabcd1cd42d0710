#include "Platform/Network/Netlink.h"

#include <climits>

#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>

#include <array>
#include <cerrno>
#include <utility>

namespace Platform::Netlink {

namespace {

/// As much as the kernel puts into one part of a dump.
constexpr std::size_t bufferSize = 32 << 10;
/// The kernel replies before send(2) returns; this only keeps a fault from blocking the process.
constexpr timeval receiveTimeout{2, 0};

using Buffer = std::array<std::byte, bufferSize>;

struct Received {
    int error = 0;
    Bytes bytes;
    bool fromKernel = false;
};

Received receive(int socket, Buffer& buffer, int flags) {
    sockaddr_nl sender{};
    iovec place{buffer.data(), buffer.size()};
    msghdr message{};
    message.msg_name = &sender;
    message.msg_namelen = sizeof sender;
    message.msg_iov = &place;
    message.msg_iovlen = 1;
    ssize_t length = 0;
    do
        length = ::recvmsg(socket, &message, flags);
    while (length < 0 && errno == EINTR);
    if (length < 0)
        return {errno, {}, false};
    if ((message.msg_flags & MSG_TRUNC) != 0)
        return {EMSGSIZE, {}, false};
    const bool fromKernel = message.msg_namelen == sizeof sender && sender.nl_pid == 0;
    return {0, Bytes(buffer.data(), static_cast<std::size_t>(length)), fromKernel};
}

/// The number that an ending message states. Some kernels' "done" states none, which means success.
int errorOf(std::optional<int> stated, std::uint16_t type) {
    if (!stated)
        return type == NLMSG_DONE ? 0 : EBADMSG;
    return *stated > 0 || *stated == INT_MIN ? EBADMSG : -*stated;
}

FileDescriptor openSocket(int flags) {
    return FileDescriptor(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | flags, NETLINK_ROUTE));
}

} // namespace

void ReplyReader::read(Bytes datagram) {
    while (!ended_) {
        const auto header = leading<nlmsghdr>(datagram);
        if (!header || header->nlmsg_len < sizeof *header || header->nlmsg_len > datagram.size())
            return;
        if (header->nlmsg_seq == sequence_)
            readMessage(*header, after(datagram.first(header->nlmsg_len), sizeof *header));
        datagram = after(datagram, header->nlmsg_len);
    }
}

void ReplyReader::readMessage(const nlmsghdr& header, Bytes payload) {
    interrupted_ = interrupted_ || (header.nlmsg_flags & NLM_F_DUMP_INTR) != 0;
    switch (header.nlmsg_type) {
    case NLMSG_NOOP:
        return;
    case NLMSG_DONE:
    case NLMSG_ERROR: // Both begin with zero or the negated number of an error.
        error_ = errorOf(leading<int>(payload), header.nlmsg_type);
        ended_ = true;
        return;
    default:
        visit_(header.nlmsg_type, payload);
        ended_ = !dump_;
    }
}

void Request::append(const void* data, std::size_t size) {
    const std::size_t start = bytes_.size();
    bytes_.resize(NLMSG_ALIGN(start + size));
    std::memcpy(bytes_.data() + start, data, size);
}

void Request::addAttribute(std::uint16_t type, Bytes payload) {
    const nlattr header{static_cast<std::uint16_t>(sizeof(nlattr) + payload.size()), type};
    append(&header, sizeof header);
    append(payload.data(), payload.size());
}

Bytes Request::bytes(std::uint32_t sequence) {
    header_.nlmsg_len = static_cast<std::uint32_t>(bytes_.size());
    header_.nlmsg_seq = sequence;
    std::memcpy(bytes_.data(), &header_, sizeof header_);
    return bytes_;
}

Socket::Socket() : socket_(openSocket(0)) {
    const int on = 1;
    // Kernels before Linux 4.20 have no strict checking and reply with more than was requested.
    ::setsockopt(socket_.get(), SOL_NETLINK, NETLINK_GET_STRICT_CHK, &on, sizeof on);
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &receiveTimeout, sizeof receiveTimeout);
}

int Socket::exchange(Request& request, const Visitor& visit, bool& interrupted) {
    const Bytes bytes = request.bytes(++sequence_);
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    if (::sendto(socket_.get(), bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&kernel),
                 sizeof kernel) < 0)
        return errno;
    ReplyReader reader(sequence_, request.isDump(), visit);
    Buffer buffer; // NOLINT(cppcoreguidelines-pro-type-member-init): written by the kernel before it is read.
    while (!reader.ended()) {
        const Received received = receive(socket_.get(), buffer, 0);
        if (received.error != 0)
            return received.error;
        if (received.fromKernel)
            reader.read(received.bytes);
    }
    interrupted = reader.interrupted();
    return reader.error();
}

ChangeSocket::ChangeSocket() : socket_(openSocket(SOCK_NONBLOCK)) {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;
    if (::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        socket_.reset();
}

bool ChangeSocket::takeChanges() {
    bool changed = false;
    Buffer buffer; // NOLINT(cppcoreguidelines-pro-type-member-init): written by the kernel before it is read.
    for (;;) {
        const Received received = receive(socket_.get(), buffer, MSG_DONTWAIT);
        if (received.error == ENOBUFS || received.error == EMSGSIZE || received.fromKernel)
            changed = true;
        else if (received.error != 0)
            return changed;
    }
}

} // namespace Platform::Netlink
