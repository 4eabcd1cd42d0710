#include "Platform/Network/HostAndPort.h"

#include "Platform/Ascii.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <system_error>

namespace Platform {

namespace {

constexpr std::string_view digits = "0123456789";

bool isPort(std::string_view text) {
    std::uint16_t port = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), port);
    return failure == std::errc() && end == text.data() + text.size() && port != 0;
}

bool isLabel(std::string_view label) {
    constexpr std::string_view allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_";
    return !label.empty() && label.size() <= 63 && label.front() != '-' && label.back() != '-' &&
           label.find_first_not_of(allowed) == std::string_view::npos;
}

std::optional<in_addr> address4(std::string_view text) {
    in_addr address{};
    return ::inet_pton(AF_INET, std::string(text).c_str(), &address) == 1 ? std::optional(address) : std::nullopt;
}

std::optional<in6_addr> address6(std::string_view text) {
    in6_addr address{};
    return ::inet_pton(AF_INET6, std::string(text).c_str(), &address) == 1 ? std::optional(address) : std::nullopt;
}

std::string_view withoutFinalDot(std::string_view name) {
    if (name.ends_with('.'))
        name.remove_suffix(1);
    return name;
}

/// Whether it is an IPv4 address in four decimal parts, or a name of the domain name system. A name whose last part is
/// a number is neither.
bool isHostName(std::string_view name) {
    name = withoutFinalDot(name);
    if (address4(name))
        return true;
    const std::size_t length = name.size();
    std::string_view label;
    while (!name.empty()) {
        label = name.substr(0, name.find('.'));
        if (!isLabel(label) || label.size() + 1 == name.size())
            return false;
        name.remove_prefix(std::min(label.size() + 1, name.size()));
    }
    return length > 0 && length <= 253 && label.find_first_not_of(digits) != std::string_view::npos;
}

} // namespace

std::optional<HostAndPort> HostAndPort::split(std::string_view text) {
    const bool isBracketed = text.starts_with('[');
    const std::size_t end = text.find(isBracketed ? ']' : ':');
    if (isBracketed && end == std::string_view::npos)
        return std::nullopt;
    HostAndPort parts{text.substr(0, end), isBracketed, std::nullopt};
    std::string_view rest = text.substr(parts.host.size());
    if (isBracketed) {
        parts.host.remove_prefix(1);
        rest.remove_prefix(1);
    }
    if (!rest.empty() && rest.front() != ':')
        return std::nullopt;
    if (!rest.empty())
        parts.port = rest.substr(1);
    return parts;
}

bool HostAndPort::isValid() const {
    if ((port && !isPort(*port)) || host.find('\0') != std::string_view::npos)
        return false;
    return isBracketed ? address6(host).has_value() : isHostName(host);
}

bool HostAndPort::isLoopback() const {
    if (isBracketed) {
        const auto address = address6(host);
        return address && IN6_IS_ADDR_LOOPBACK(&*address);
    }
    const std::string name = lowerCase(withoutFinalDot(host));
    if (const auto address = address4(name))
        return (ntohl(address->s_addr) >> 24) == IN_LOOPBACKNET;
    return name == "localhost" || name.ends_with(".localhost");
}

} // namespace Platform
