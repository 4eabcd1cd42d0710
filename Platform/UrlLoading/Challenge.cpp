#include "Platform/UrlLoading/Challenge.h"

#include <algorithm>
#include <array>

namespace Platform {

namespace {

constexpr std::array<std::string_view, 4> knownSchemes{"Basic", "Digest", "NTLM", "Negotiate"};

/// The end of the list element at the start of `list`; a comma in a quoted string ends none.
std::size_t endOfElement(std::string_view list) {
    bool quoted = false;
    for (std::size_t at = 0; at < list.size(); ++at) {
        if (quoted && list[at] == '\\')
            ++at;
        else if (list[at] == '"')
            quoted = !quoted;
        else if (list[at] == ',' && !quoted)
            return at;
    }
    return list.size();
}

/// Whether a list element begins a challenge of a known scheme; one that is `name=value` is a parameter of the
/// challenge before it.
bool beginsKnownChallenge(std::string_view element) {
    element.remove_prefix(std::min(element.find_first_not_of(" \t"), element.size()));
    const auto end = std::min(element.find_first_of(" \t="), element.size());
    const auto behind = element.find_first_not_of(" \t", end);
    if (end < element.size() && behind != std::string_view::npos && element[behind] == '=')
        return false;
    return std::any_of(
        knownSchemes.begin(), knownSchemes.end(),
        [scheme = element.substr(0, end)](std::string_view known) { return sameFieldName(scheme, known); });
}

} // namespace

bool asksForAuthentication(const HttpUrlResponse& response) {
    const auto field = response.statusCode == 401 ? response.allHeaderFields.value("WWW-Authenticate") : std::nullopt;
    std::string_view list = field ? std::string_view(*field) : std::string_view();
    while (!list.empty()) {
        const auto end = endOfElement(list);
        if (beginsKnownChallenge(list.substr(0, end)))
            return true;
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return false;
}

} // namespace Platform
