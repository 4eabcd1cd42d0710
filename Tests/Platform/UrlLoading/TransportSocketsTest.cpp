// The sockets that the transport's connections use: how they are found by their ends, and what becomes of one that
// nobody waits for.

#include "Platform/UrlLoading/TransportSockets.h"

#include "Platform/Files/FileDescriptor.h"
#include "Platform/UrlLoading/Transfer.h"
#include "Platform/UrlLoading/TransferDriver.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace Platform {
namespace {

class TheTransportsSockets : public testing::Test {
protected:
    struct Call {
        int socket;
        const Transfer* transfer;
        std::uint32_t events;
    };

    /// Listens on the loopback address of that family.
    void listen(int family) {
        sockaddr_in four{};
        four.sin_family = AF_INET;
        four.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        sockaddr_in6 six{};
        six.sin6_family = AF_INET6;
        six.sin6_addr = IN6ADDR_LOOPBACK_INIT;
        address = {};
        addressLength = family == AF_INET ? sizeof four : sizeof six;
        std::memcpy(&address, family == AF_INET ? static_cast<void*>(&four) : &six, addressLength);
        listener.reset(::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0));
        isListening = ::bind(listener.get(), place(), addressLength) == 0 && ::listen(listener.get(), 8) == 0 &&
                      ::getsockname(listener.get(), place(), &addressLength) == 0;
    }
    sockaddr* place() { return reinterpret_cast<sockaddr*>(&address); }
    int port() const {
        return ntohs(address.ss_family == AF_INET ? reinterpret_cast<const sockaddr_in*>(&address)->sin_port
                                                  : reinterpret_cast<const sockaddr_in6*>(&address)->sin6_port);
    }
    /// The port of a socket's own end.
    static int ownPort(int socket) {
        sockaddr_storage own{};
        socklen_t length = sizeof own;
        EXPECT_EQ(::getsockname(socket, reinterpret_cast<sockaddr*>(&own), &length), 0);
        return ntohs(own.ss_family == AF_INET ? reinterpret_cast<const sockaddr_in*>(&own)->sin_port
                                              : reinterpret_cast<const sockaddr_in6*>(&own)->sin6_port);
    }
    /// Connects the socket, and returns the other end of the connection.
    FileDescriptor connect(int socket) {
        const int begun = ::connect(socket, place(), addressLength);
        EXPECT_TRUE(begun == 0 || errno == EINPROGRESS);
        FileDescriptor other(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        EXPECT_TRUE(other);
        return other;
    }
    void settle() {
        for (int turn = 0; turn < 10; ++turn)
            loop.runOnce(Duration::zero());
    }
    /// Whether the other side has closed the connection.
    static bool isClosed(const FileDescriptor& end) {
        char byte = 0;
        return ::recv(end.get(), &byte, 1, MSG_DONTWAIT) == 0;
    }

    RunLoop loop;
    std::vector<Call> calls;
    TransportSockets sockets{loop, [this](int socket, Transfer& transfer, std::uint32_t events) {
                                 calls.push_back({socket, &transfer, events});
                             }};
    const Url url = *Url::fromString("http://127.0.0.1/");
    const RequestHeaders headers{};
    Transfer firstTransfer{loop.attachment<TransferDriver>(), Transfer::Request{url, headers, {}}, [] {}};
    Transfer otherTransfer{loop.attachment<TransferDriver>(), Transfer::Request{url, headers, {}}, [] {}};

    FileDescriptor listener;
    bool isListening = false;
    sockaddr_storage address{};
    socklen_t addressLength = 0;
};

TEST_F(TheTransportsSockets, BlockNobodyAndAreNoChilds) {
    const int socket = sockets.open(AF_INET, SOCK_STREAM, 0);
    ASSERT_GE(socket, 0);
    EXPECT_EQ(::fcntl(socket, F_GETFD), FD_CLOEXEC);
    EXPECT_NE(::fcntl(socket, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(sockets.close(socket), 0);
    EXPECT_EQ(::fcntl(socket, F_GETFD), -1);
    EXPECT_EQ(sockets.close(socket), -1);
}

TEST_F(TheTransportsSockets, AreNoneWhereTheSystemHasNone) {
    EXPECT_EQ(sockets.open(-1, SOCK_STREAM, 0), -1);
    EXPECT_EQ(errno, EAFNOSUPPORT);
    EXPECT_EQ(sockets.find("", ""), -1);
}

TEST_F(TheTransportsSockets, AreFoundByBothTheirEndsOnceTheyAreConnected) {
    listen(AF_INET);
    ASSERT_TRUE(isListening);
    const int one = sockets.open(AF_INET, SOCK_STREAM, 0);
    const int two = sockets.open(AF_INET, SOCK_STREAM, 0);
    const auto peer = endpointText("127.0.0.1", port());
    EXPECT_EQ(peer, "127.0.0.1 " + std::to_string(port()));
    EXPECT_EQ(sockets.find("127.0.0.1 1", peer), -1);
    const auto otherOne = connect(one);
    const auto otherTwo = connect(two);
    for (const int socket : {one, two}) {
        const auto local = endpointText("127.0.0.1", ownPort(socket));
        EXPECT_EQ(sockets.find(local, peer), socket);
        EXPECT_EQ(sockets.find(local, "127.0.0.1 1"), -1);
        EXPECT_EQ(sockets.find(peer, local), -1);
    }
    const auto ofTwo = endpointText("127.0.0.1", ownPort(two));
    sockets.close(two);
    EXPECT_EQ(sockets.find(ofTwo, peer), -1);
    sockets.close(one);
}

TEST_F(TheTransportsSockets, AreFoundByTheirAddressesOfTheNewerInternetProtocolToo) {
    listen(AF_INET6);
    ASSERT_TRUE(isListening) << "the loopback link has no address of IPv6";
    const int socket = sockets.open(AF_INET6, SOCK_STREAM, 0);
    const auto other = connect(socket);
    EXPECT_EQ(sockets.find(endpointText("::1", ownPort(socket)), endpointText("::1", port())), socket);
    sockets.close(socket);
}

TEST_F(TheTransportsSockets, AreSilentWhileTheyAreOpenAndHoldNoBytes) {
    listen(AF_INET);
    const int socket = sockets.open(AF_INET, SOCK_STREAM, 0);
    auto other = connect(socket);
    EXPECT_TRUE(TransportSockets::isConnectedAndIdle(socket));
    ASSERT_EQ(::send(other.get(), "x", 1, MSG_NOSIGNAL), 1);
    EXPECT_FALSE(TransportSockets::isConnectedAndIdle(socket));
    EXPECT_FALSE(TransportSockets::isConnectedAndIdle(socket)) << "the byte was taken";
    char byte = 0;
    ASSERT_EQ(::recv(socket, &byte, 1, MSG_DONTWAIT), 1);
    EXPECT_TRUE(TransportSockets::isConnectedAndIdle(socket));
    other.reset();
    EXPECT_FALSE(TransportSockets::isConnectedAndIdle(socket));
    sockets.close(socket);
    EXPECT_FALSE(TransportSockets::isConnectedAndIdle(socket));
}

TEST_F(TheTransportsSockets, CallTheTransferThatWaitsWithTheEventsThatItWaitsFor) {
    listen(AF_INET);
    const int socket = sockets.open(AF_INET, SOCK_STREAM, 0);
    const auto other = connect(socket);
    sockets.watch(socket, EPOLLIN, &firstTransfer);
    settle();
    EXPECT_TRUE(calls.empty());
    sockets.watch(socket, EPOLLOUT, &otherTransfer);
    ASSERT_TRUE(loop.runUntil([&] { return !calls.empty(); }));
    EXPECT_EQ(calls.front().socket, socket);
    EXPECT_EQ(calls.front().transfer, &otherTransfer);
    EXPECT_EQ(calls.front().events, EPOLLOUT);
    sockets.close(socket);
}

TEST_F(TheTransportsSockets, ThatNobodyUsesAreShutDownAtTheFirstUnaskedByte) {
    listen(AF_INET);
    const int socket = sockets.open(AF_INET, SOCK_STREAM, 0);
    const auto other = connect(socket);
    EXPECT_FALSE(sockets.markInUse(socket, firstTransfer));
    sockets.watch(socket, EPOLLIN, &firstTransfer);
    sockets.detach(socket);
    sockets.markUnused(socket, otherTransfer);
    ASSERT_EQ(::send(other.get(), "x", 1, MSG_NOSIGNAL), 1);
    settle();
    EXPECT_FALSE(isClosed(other)) << "a transfer that is paused still uses it";
    EXPECT_TRUE(sockets.markInUse(socket, firstTransfer));
    sockets.markUnused(socket, firstTransfer);
    sockets.watch(socket, EPOLLIN, &firstTransfer);
    sockets.detach(socket);
    ASSERT_TRUE(loop.runUntil([&] { return isClosed(other); }));
    EXPECT_TRUE(calls.empty());
    sockets.close(socket);
}

TEST_F(TheTransportsSockets, MayBeUnknown) {
    sockets.detach(12345);
    sockets.markUnused(12345, firstTransfer);
    EXPECT_EQ(sockets.find("127.0.0.1 1", "127.0.0.1 2"), -1);
    EXPECT_THROW(sockets.markInUse(12345, firstTransfer), std::out_of_range);
}

} // namespace
} // namespace Platform
