#include "Tools/Bundle/LogValues.h"

#include "Platform/Ascii.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <initializer_list>
#include <optional>

namespace Tools {

namespace {

constexpr auto nowhere = std::string_view::npos;
constexpr std::string_view whitespace = " \t\r\n";
constexpr const char* valueLabel = "[value]";

/// Keys, in lower case, whose values are shown.
constexpr std::array shownKeys{
    std::string_view("returnstatus"), std::string_view("filesize"),          std::string_view("content-length"),
    std::string_view("content-type"), std::string_view("transfer-encoding"), std::string_view("date"),
    std::string_view("server"),       std::string_view("connection")};

/// A quote, which is escaped in JSON that is itself the text of a string; nothing where there is none.
std::string_view quoteAt(std::string_view text, std::size_t at) {
    for (const std::string_view quote : {"\\\"", "\""}) {
        if (text.substr(at).starts_with(quote))
            return quote;
    }
    return {};
}

/// The end of what is quoted, behind its quote; the end of the text where that is missing.
std::size_t endOfQuoted(std::string_view text, std::size_t at, std::string_view quote) {
    at += quote.size();
    if (quote.size() > 1) {
        const auto end = text.find(quote, at);
        return end == nowhere ? text.size() : end + quote.size();
    }
    for (; at < text.size(); ++at) {
        if (text[at] == '\\')
            ++at;
        else if (text[at] == '"')
            return at + 1;
    }
    return text.size();
}

/// The end of a list; nothing where it holds dictionaries alone, whose values have keys of their own.
std::optional<std::size_t> endOfList(std::string_view text, std::size_t at) {
    std::size_t depth = 0;
    bool holdsDictionaries = false;
    bool holdsOthers = false;
    std::size_t end = text.size();
    for (; at < text.size(); ++at) {
        const auto quote = quoteAt(text, at);
        if (!quote.empty())
            at = endOfQuoted(text, at, quote) - 1;
        const char character = quote.empty() ? text[at] : 'x';
        if (depth == 1 && character == '{')
            holdsDictionaries = true;
        else if (depth == 1 && std::string_view(" \t\n,;])").find(character) == nowhere)
            holdsOthers = true;
        if (std::string_view("[({").find(character) != nowhere) {
            ++depth;
        } else if (std::string_view("])}").find(character) != nowhere && --depth == 0) {
            end = at + 1;
            break;
        }
    }
    return holdsDictionaries && !holdsOthers ? std::nullopt : std::optional(end);
}

/// Where the value that begins there ends; where it begins for a value that has values of its own.
std::size_t endOfValue(std::string_view text, std::size_t at) {
    if (at >= text.size() || text[at] == '{')
        return at;
    if (text[at] == '[' || text[at] == '(')
        return endOfList(text, at).value_or(at);
    if (const auto quote = quoteAt(text, at); !quote.empty())
        return endOfQuoted(text, at, quote);
    return std::min(text.find_first_of(",;\n})", at), text.size());
}

/// Where the value of a key begins whose quoted name ends there; nowhere where it is no key.
std::size_t valueBehind(std::string_view text, std::size_t at) {
    at = text.find_first_not_of(whitespace, at);
    if (at == nowhere || (text[at] != ':' && text[at] != '='))
        return nowhere;
    return std::min(text.find_first_not_of(whitespace, at + 1), text.size());
}

bool isShown(std::string_view key) {
    return std::ranges::find(shownKeys, std::string_view(Platform::lowerCase(key))) != shownKeys.end();
}

bool isDelimiter(char character) {
    return std::isspace(static_cast<unsigned char>(character)) != 0 ||
           std::string_view("\"'<>(),;=/\\[]{}|").find(character) != nowhere;
}

} // namespace

std::string withoutValues(std::string_view entry) {
    std::string result;
    std::size_t at = 0;
    while (at < entry.size()) {
        const auto quote = quoteAt(entry, at);
        if (quote.empty()) {
            result += entry[at++];
            continue;
        }
        const std::size_t end = endOfQuoted(entry, at, quote);
        const std::size_t value = valueBehind(entry, end);
        const auto key = entry.substr(at + quote.size(), end - at - std::min(end - at, 2 * quote.size()));
        if (value == nowhere) {
            // A key may begin inside of what an unmatched quote before it seemed to enclose.
            result += quote;
            at += quote.size();
            continue;
        }
        const std::size_t valueEnd = isShown(key) ? value : endOfValue(entry, value);
        result.append(entry, at, value - at).append(valueEnd == value ? "" : valueLabel);
        at = valueEnd;
    }
    return result;
}

std::string withoutCredentials(std::string_view entry) {
    const std::string lower = Platform::lowerCase(entry);
    constexpr std::array<std::string_view, 7> names{"password",   "passwd", "token",  "secret",
                                                    "credential", "basic ", "bearer "};
    std::string result;
    std::size_t taken = 0;
    for (std::size_t at = 0; at < lower.size(); ++at) {
        const auto* const name =
            std::ranges::find_if(names, [&](std::string_view one) { return lower.compare(at, one.size(), one) == 0; });
        if (name == names.end())
            continue;
        std::size_t value = at + name->size();
        if (!name->ends_with(' ')) {
            while (value < lower.size() && (std::isalnum(static_cast<unsigned char>(lower[value])) != 0 ||
                                            lower[value] == '_' || lower[value] == '-'))
                ++value;
            const auto sign = lower.find_first_not_of(" \t", value);
            if (sign == nowhere || (lower[sign] != '=' && lower[sign] != ':'))
                continue;
            value = std::min(lower.find_first_not_of(" \t", sign + 1), lower.size());
        }
        const auto quote = quoteAt(lower, value);
        const std::size_t end = quote.empty() ? std::min(lower.find_first_of("& \t\r\n,;\"'", value), lower.size())
                                              : endOfQuoted(lower, value, quote);
        result.append(entry, taken, value - taken).append("[credential]");
        taken = end;
        at = std::max(at, end) - (end > at ? 1 : 0);
    }
    return result.append(entry, taken);
}

std::string withoutMailAddresses(std::string_view entry) {
    std::string result;
    std::size_t taken = 0;
    for (auto at = entry.find('@'); at != nowhere; at = entry.find('@', at + 1)) {
        std::size_t begin = at;
        while (begin > taken && !isDelimiter(entry[begin - 1]))
            --begin;
        std::size_t end = at + 1;
        while (end < entry.size() && !isDelimiter(entry[end]))
            ++end;
        if (begin == at || end == at + 1)
            continue;
        result.append(entry, taken, begin - taken).append("[mail]");
        taken = end;
        at = end - 1;
    }
    return result.append(entry, taken);
}

} // namespace Tools
