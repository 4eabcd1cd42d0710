// Any bytes as the reply of the kernel's routing socket: messages, cut short, with wrong lengths or from somebody
// else, are read as links and routes or passed over.
//
// The first byte of the input says by its lowest bit whether the reply is a dump. Datagrams follow, each behind its
// length in two bytes, the lower one first; the last may be cut short. The question has the number 1.

#include "Platform/Network/RouteMessages.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>
#include <vector>

namespace {

using namespace Platform;
using Netlink::Bytes;

constexpr std::uint32_t number = 1;

void require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

std::vector<Bytes> datagramsOf(Bytes input) {
    std::vector<Bytes> datagrams;
    while (input.size() >= 2) {
        const auto length = std::to_integer<std::size_t>(input[0]) + std::to_integer<std::size_t>(input[1]) * 256;
        input = input.subspan(2);
        datagrams.push_back(input.first(std::min(length, input.size())));
        input = input.subspan(datagrams.back().size());
    }
    return datagrams;
}

/// Everything that a reply says.
struct Outcome {
    bool ended = false;
    int error = 0;
    bool interrupted = false;
    std::size_t messages = 0;
    bool isUp = false;
    std::vector<int> links;
    std::vector<Routes::RouteKind> kinds;

    bool operator==(const Outcome&) const = default;
};

bool lieIn(Bytes part, Bytes whole) {
    return part.empty() || (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}

Outcome readReply(const std::vector<Bytes>& datagrams, bool isDump) {
    Outcome outcome;
    Bytes current;
    Netlink::ReplyReader reader(number, isDump, [&](std::uint16_t type, Bytes payload) {
        require(lieIn(payload, current), "a payload reaches out of its datagram");
        require(isDump || outcome.messages == 0, "a reply that is no dump has two messages");
        ++outcome.messages;
        outcome.isUp = RouteMessages::isLinkUp(type, payload);
        RouteMessages::addLinksOfDefaultRoute(type, payload, outcome.links);
        outcome.kinds.push_back(RouteMessages::routeKindOf(type, payload));
    });
    std::size_t bytes = 0;
    for (const Bytes datagram : datagrams) {
        const bool hadEnded = reader.ended();
        const std::size_t before = outcome.messages;
        current = datagram;
        reader.read(datagram);
        require(!hadEnded || outcome.messages == before, "something is read behind the end");
        bytes += datagram.size();
    }
    require(reader.error() >= 0, "an error is negative");
    require(reader.error() == 0 || reader.ended(), "an error does not end the reply");
    require(outcome.messages * sizeof(nlmsghdr) <= bytes, "there are more messages than bytes for them");
    require(outcome.links.size() * sizeof(int) <= bytes, "there are more links than bytes for them");
    outcome.ended = reader.ended();
    outcome.error = reader.error();
    outcome.interrupted = reader.interrupted();
    return outcome;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
    if (size == 0)
        return 0;
    const auto datagrams = datagramsOf(std::as_bytes(std::span(input + 1, size - 1)));
    const bool isDump = (input[0] & 1U) != 0;
    const Outcome outcome = readReply(datagrams, isDump);

    // The same bytes at the end of memory of their own, where a step too far is noticed, say the same.
    std::vector<std::vector<std::byte>> copies;
    for (const Bytes datagram : datagrams)
        copies.emplace_back(datagram.begin(), datagram.end());
    std::vector<Bytes> again(copies.begin(), copies.end());
    require(readReply(again, isDump) == outcome, "the same reply says something else");
    return 0;
}
