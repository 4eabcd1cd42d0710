#include "WebService/Common/RequestError.h"

namespace webservice {

namespace {

constexpr int operationFailed = 200;
constexpr std::size_t maxMessageLength = 300;

/// Cuts at the end of a character of UTF-8.
std::string shortened(std::string_view text) {
    if (text.size() <= maxMessageLength)
        return std::string(text);
    std::size_t end = maxMessageLength;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80)
        --end;
    return std::string(text.substr(0, end)) + "...";
}

} // namespace

RequestError::RequestError(std::string code, std::string_view message, int status, HeaderFields headers)
    : std::runtime_error(status == operationFailed ? shortened(message) : std::string(message)), code_(std::move(code)),
      status_(status), headers_(std::move(headers)) {}

RequestError unknownPath() {
    return {"UnknownPath", "there is nothing at this path", 404};
}

RequestError wrongMethod(const std::string& allowed) {
    return wrongMethod(allowed, allowed);
}

RequestError wrongMethod(const std::string& allowed, const std::string& inWords) {
    return {"WrongMethod", "this path is for " + inWords, 405, {{"Allow", allowed}}};
}

RequestError tooLong(std::string_view message) {
    return {"TooLong", message, 413};
}

} // namespace webservice
