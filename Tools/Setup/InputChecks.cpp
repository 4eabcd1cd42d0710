#include "Tools/Setup/InputChecks.h"

#include "Platform/Network/HostAndPort.h"
#include "Platform/Printable.h"

namespace Tools::InputChecks {

namespace {

constexpr std::size_t longestMail = 254;
constexpr std::size_t longestIdentifier = 256;

bool isPlainText(const std::string& text) {
    return Platform::printable(text) == text;
}

} // namespace

Problem ofHost(const std::string& text) {
    const auto parts = Platform::HostAndPort::split(text);
    if (parts && parts->isValid())
        return std::nullopt;
    return "is not a host with an optional port, such as 127.0.0.1:8080";
}

Problem ofMail(const std::string& text) {
    const auto at = text.rfind('@');
    const bool isAddress = at != std::string::npos && at > 0 && at + 1 < text.size();
    if (isAddress && text.size() <= longestMail && isPlainText(text) && text.find(' ') == std::string::npos)
        return std::nullopt;
    return "is not a mail address";
}

Problem ofFolder(const std::string& text) {
    if (!text.starts_with('/'))
        return "is not an absolute path";
    if (!isPlainText(text))
        return "has control characters, or bytes that are not UTF-8";
    return std::nullopt;
}

Problem ofIdentifier(const std::string& text) {
    if (text.empty())
        return "is empty";
    if (text.size() > longestIdentifier)
        return "is longer than " + std::to_string(longestIdentifier) + " bytes";
    if (!isPlainText(text))
        return "has control characters, or bytes that are not UTF-8";
    return std::nullopt;
}

} // namespace Tools::InputChecks
