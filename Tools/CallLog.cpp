#include "Tools/CallLog.h"

#include "Platform/Ascii.h"
#include "Platform/Log.h"
#include "Platform/StandardStreams.h"

#include <algorithm>
#include <cctype>

namespace Tools {

namespace {

constexpr std::string_view blanks = " \t\r\n";
constexpr std::string_view quote = "\"";
/// A quote in JSON that is itself the text of a string.
constexpr std::string_view escapedQuote = "\\\"";

/// What stands between a key's name and its value: the rest of the name, its quote, and a colon or equals sign with the
/// blanks around it. 0 bytes where no value follows.
std::size_t assignmentLength(std::string_view text) {
    constexpr auto none = std::string_view::npos;
    std::size_t at = 0;
    while (at < text.size() && (std::isalnum(static_cast<unsigned char>(text[at])) != 0 || text[at] == '_'))
        ++at;
    at += text.substr(at).starts_with(escapedQuote) ? 1 : 0;
    if (!text.substr(at).starts_with(quote))
        return 0;
    at = text.find_first_not_of(blanks, at + 1);
    if (at == none || (text[at] != ':' && text[at] != '='))
        return 0;
    return std::min(text.find_first_not_of(blanks, at + 1), text.size());
}

std::size_t valueLength(std::string_view text) {
    if (text.starts_with(escapedQuote)) {
        const auto end = text.find(escapedQuote, escapedQuote.size());
        return end == std::string_view::npos ? text.size() : end + escapedQuote.size();
    }
    if (!text.starts_with(quote))
        return std::min(text.find_first_of(",;\n})"), text.size());
    for (std::size_t at = 1; at < text.size(); ++at) {
        if (text[at] == '\\')
            ++at;
        else if (text[at] == '"')
            return at + 1;
    }
    return text.size();
}

} // namespace

std::string withoutPasswords(std::string_view entry) {
    constexpr std::string_view secret = "password";
    const std::string lower = Platform::lowerCase(entry);
    std::string result;
    std::size_t taken = 0;
    for (auto at = lower.find(secret); at != std::string::npos; at = lower.find(secret, at)) {
        at += secret.size();
        const std::size_t assignment = assignmentLength(entry.substr(at));
        if (assignment == 0)
            continue;
        at += assignment;
        result.append(entry, taken, at - taken).append("***");
        at += valueLength(entry.substr(at));
        taken = at;
    }
    return result.append(entry, taken);
}

CallLog::CallLog(bool isVerbose) {
    // Standard error may be a terminal whose user reads along, so writing may block.
    Platform::Log::setSink([isVerbose](std::string_view entry) {
        if (isVerbose)
            Platform::StandardStreams::writeError(Platform::Log::lineOf(withoutPasswords(entry)));
    });
}

CallLog::~CallLog() {
    Platform::Log::setSink({});
}

} // namespace Tools
