// What the kernel's messages about links and routes mean (rtnetlink(7)), and the sockets that they come on.

#include "Platform/Network/RouteMessages.h"

#include "Platform/Network/HostAndPort.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/if.h>
#include <linux/rtnetlink.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

namespace {

namespace Netlink = Platform::Netlink;
namespace RouteMessages = Platform::RouteMessages;
using Platform::HostAndPort;
using Platform::Routes::RouteKind;
using Octets = std::vector<std::byte>;
using LinkNumbers = std::vector<int>;

template <class Value>
Octets octetsOf(const Value& value) {
    Octets bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

Octets operator+(Octets one, const Octets& other) {
    one.resize(NLMSG_ALIGN(one.size()));
    one.insert(one.end(), other.begin(), other.end());
    return one;
}

Octets attributeOf(unsigned type, const Octets& value) {
    return octetsOf(
               nlattr{static_cast<std::uint16_t>(sizeof(nlattr) + value.size()), static_cast<std::uint16_t>(type)}) +
           value;
}

Octets linkMessage(unsigned flags) {
    ifinfomsg message{};
    message.ifi_flags = flags;
    return octetsOf(message);
}

rtmsg routeMessage(std::uint8_t type = RTN_UNICAST) {
    rtmsg message{};
    message.rtm_type = type;
    return message;
}

Octets nextHop(int index, std::uint16_t length = sizeof(rtnexthop)) {
    rtnexthop next{};
    next.rtnh_len = length;
    next.rtnh_ifindex = index;
    return octetsOf(next);
}

LinkNumbers linksOf(const rtmsg& message, const Octets& attributes, std::uint16_t type = RTM_NEWROUTE) {
    LinkNumbers links;
    RouteMessages::addLinksOfDefaultRoute(type, octetsOf(message) + attributes, links);
    return links;
}

TEST(ALinkMessage, TellsOfALinkThatIsUpWhereAllThreeFlagsSaySo) {
    constexpr unsigned all = IFF_UP | IFF_RUNNING | IFF_LOWER_UP;
    EXPECT_TRUE(RouteMessages::isLinkUp(RTM_NEWLINK, linkMessage(all)));
    EXPECT_TRUE(RouteMessages::isLinkUp(RTM_NEWLINK, linkMessage(all | IFF_LOOPBACK)));
    for (const unsigned missing : {unsigned{IFF_UP}, unsigned{IFF_RUNNING}, unsigned{IFF_LOWER_UP}})
        EXPECT_FALSE(RouteMessages::isLinkUp(RTM_NEWLINK, linkMessage(all & ~missing))) << missing;
    EXPECT_FALSE(RouteMessages::isLinkUp(RTM_DELLINK, linkMessage(all)));
    Octets cut = linkMessage(all);
    cut.pop_back();
    EXPECT_FALSE(RouteMessages::isLinkUp(RTM_NEWLINK, cut));
}

TEST(ARouteMessage, NamesTheLinksOfADefaultRoute) {
    const Octets out = attributeOf(RTA_OIF, octetsOf(7));
    EXPECT_EQ(linksOf(routeMessage(), out), LinkNumbers{7});
    EXPECT_EQ(linksOf(routeMessage(), attributeOf(RTA_PRIORITY, octetsOf(100)) + out), LinkNumbers{7});
    EXPECT_EQ(linksOf(routeMessage(), attributeOf(RTA_OIF, {})), LinkNumbers{0});
    EXPECT_EQ(linksOf(routeMessage(), out, RTM_DELROUTE), LinkNumbers{});
    rtmsg narrower = routeMessage();
    narrower.rtm_dst_len = 1;
    EXPECT_EQ(linksOf(narrower, out), LinkNumbers{});
    rtmsg cloned = routeMessage();
    cloned.rtm_flags = RTM_F_CLONED;
    EXPECT_EQ(linksOf(cloned, out), LinkNumbers{});
    EXPECT_EQ(linksOf(routeMessage(RTN_BROADCAST), out), LinkNumbers{});
    LinkNumbers links;
    RouteMessages::addLinksOfDefaultRoute(RTM_NEWROUTE, Octets(sizeof(rtmsg) - 1), links);
    EXPECT_EQ(links, LinkNumbers{});
}

TEST(ARouteMessage, NamesTheLinkOfEachHopUpToAWrongLength) {
    const auto several = [](const Octets& hops) { return linksOf(routeMessage(), attributeOf(RTA_MULTIPATH, hops)); };
    EXPECT_EQ(several(nextHop(3) + nextHop(4)), (LinkNumbers{3, 4}));
    EXPECT_EQ(several(nextHop(3, sizeof(rtnexthop) + 8) + Octets(8) + nextHop(4)), (LinkNumbers{3, 4}));
    EXPECT_EQ(several(nextHop(3) + nextHop(4, sizeof(rtnexthop) - 1) + nextHop(5)), LinkNumbers{3});
    EXPECT_EQ(several(nextHop(3) + nextHop(4, sizeof(rtnexthop) + 1)), LinkNumbers{3});
    EXPECT_EQ(several(nextHop(3) + Octets(sizeof(rtnexthop) - 1)), LinkNumbers{3});
}

RouteKind routeKindOf(const rtmsg& message, const Octets& attributes = {}, std::uint16_t type = RTM_NEWROUTE) {
    return RouteMessages::routeKindOf(type, octetsOf(message) + attributes);
}

TEST(ARouteMessage, TellsTheWayToAnAddress) {
    EXPECT_EQ(routeKindOf(routeMessage()), RouteKind::Direct);
    EXPECT_EQ(routeKindOf(routeMessage(RTN_LOCAL), attributeOf(RTA_OIF, octetsOf(1))), RouteKind::Direct);
    EXPECT_EQ(routeKindOf(routeMessage(), attributeOf(RTA_GATEWAY, octetsOf(1))), RouteKind::ThroughGateway);
    EXPECT_EQ(routeKindOf(routeMessage(), attributeOf(RTA_OIF, octetsOf(1)) + attributeOf(RTA_VIA, octetsOf(1))),
              RouteKind::ThroughGateway);
    for (const std::uint8_t type : {RTN_UNREACHABLE, RTN_BLACKHOLE, RTN_PROHIBIT, RTN_THROW})
        EXPECT_EQ(routeKindOf(routeMessage(type), attributeOf(RTA_GATEWAY, octetsOf(1))), RouteKind::None) << int{type};
    EXPECT_EQ(routeKindOf(routeMessage(), {}, RTM_NEWLINK), RouteKind::None);
    EXPECT_EQ(RouteMessages::routeKindOf(RTM_NEWROUTE, Octets(sizeof(rtmsg) - 1)), RouteKind::None);
}

/// The descriptor that the next socket gets.
int nextDescriptor() {
    const int next = ::dup(0);
    ::close(next);
    return next;
}

template <class Value>
Value socketOption(int socket, int level, int name) {
    Value value{};
    socklen_t length = sizeof value;
    EXPECT_EQ(::getsockopt(socket, level, name, &value, &length), 0) << std::strerror(errno);
    return value;
}

TEST(ASocketForRequests, WaitsTwoSecondsAndIsNoChilds) {
    const int expected = nextDescriptor();
    {
        const Netlink::Socket socket;
        ASSERT_EQ(socketOption<int>(expected, SOL_SOCKET, SO_DOMAIN), AF_NETLINK);
        EXPECT_EQ(socketOption<int>(expected, SOL_SOCKET, SO_PROTOCOL), NETLINK_ROUTE);
        EXPECT_EQ(socketOption<int>(expected, SOL_SOCKET, SO_TYPE), SOCK_RAW);
        EXPECT_EQ(socketOption<int>(expected, SOL_NETLINK, NETLINK_GET_STRICT_CHK), 1);
        const auto timeout = socketOption<timeval>(expected, SOL_SOCKET, SO_RCVTIMEO);
        EXPECT_EQ(timeout.tv_sec, 2);
        EXPECT_EQ(timeout.tv_usec, 0);
        EXPECT_EQ(::fcntl(expected, F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(::fcntl(expected, F_GETFL) & O_NONBLOCK, 0);
    }
    EXPECT_EQ(nextDescriptor(), expected);
}

TEST(ASocketForRequests, ThatCouldNotBeOpenedFailsEachRequest) {
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &usual), 0);
    const rlimit scarce{static_cast<rlim_t>(nextDescriptor()), usual.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &scarce), 0);
    Netlink::Socket socket;
    const Netlink::ChangeSocket changes;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &usual), 0);
    Netlink::Request request(RTM_GETLINK, 0, ifinfomsg{});
    bool interrupted = false;
    EXPECT_EQ(socket.exchange(
                  request, [](std::uint16_t, Netlink::Bytes) {}, interrupted),
              EBADF);
    EXPECT_LT(changes.descriptor(), 0);
}

TEST(ASocketForChanges, HearsOfLinksAddressesAndRoutesOfBothFamilies) {
    Netlink::ChangeSocket changes;
    ASSERT_GE(changes.descriptor(), 0);
    const auto groups =
        socketOption<std::array<std::uint32_t, 16>>(changes.descriptor(), SOL_NETLINK, NETLINK_LIST_MEMBERSHIPS);
    const auto bit = [](int group) { return 1U << (group - 1); };
    EXPECT_EQ(groups,
              (std::array<std::uint32_t, 16>{bit(RTNLGRP_LINK) | bit(RTNLGRP_IPV4_IFADDR) | bit(RTNLGRP_IPV6_IFADDR) |
                                             bit(RTNLGRP_IPV4_ROUTE) | bit(RTNLGRP_IPV6_ROUTE)}));
    EXPECT_EQ(::fcntl(changes.descriptor(), F_GETFD), FD_CLOEXEC);
    EXPECT_NE(::fcntl(changes.descriptor(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(socketOption<int>(changes.descriptor(), SOL_SOCKET, SO_PROTOCOL), NETLINK_ROUTE);
}

bool isValid(const std::string& text) {
    const auto parts = HostAndPort::split(text);
    return parts && parts->isValid();
}

TEST(AHostName, HasLabelsOf63CharactersAnd253InAll) {
    EXPECT_TRUE(isValid(std::string(63, 'a')));
    EXPECT_FALSE(isValid(std::string(64, 'a')));
    const std::string label = std::string(49, 'a') + ".";
    const std::string longest = label + label + label + label + label + "abc";
    ASSERT_EQ(longest.size(), 253U);
    EXPECT_TRUE(isValid(longest));
    EXPECT_TRUE(isValid(longest + "."));
    EXPECT_FALSE(isValid(longest + "d"));
    EXPECT_FALSE(isValid(longest + "d."));
}

TEST(AHostName, HasLettersDigitsHyphensAndUnderscoresAlone) {
    const std::string_view allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.";
    for (int byte = 0; byte < 256; ++byte) {
        const char character = static_cast<char>(byte);
        if (character == ':')
            continue;
        EXPECT_EQ(isValid(std::string("a") + character + "b"), allowed.find(character) != std::string_view::npos)
            << byte;
    }
}

TEST(AHostName, MayNotEndInANumber) {
    for (const char* text : {"a.1", "1.2.3.4.5", "1", "a.1.", "01"})
        EXPECT_FALSE(isValid(text)) << text;
    for (const char* text : {"1.a", "a.1b", "1.2.3.4", "1.2.3.4."})
        EXPECT_TRUE(isValid(text)) << text;
}

TEST(APort, IsANumberFromOneTo65535) {
    for (const char* text : {"a:1", "a:65535", "a:0080", "[::1]:1"})
        EXPECT_TRUE(isValid(text)) << text;
    for (const char* text : {"a:0", "a:65536", "a:", "a:1:2", "a: 1", "a:1 ", "a:-1", "[::1]:0"})
        EXPECT_FALSE(isValid(text)) << text;
    EXPECT_FALSE(isValid(std::string("a:1\0", 4)));
}

} // namespace
