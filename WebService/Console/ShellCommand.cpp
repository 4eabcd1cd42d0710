#include "WebService/Console/ShellCommand.h"

#include "WebService/Common/WireName.h"
#include "WebService/Console/RequestRecord.h"

#include <boost/beast/core/string.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>
#include <vector>

namespace webservice {

namespace {

using boost::beast::iequals;

/// The only control character that can be pasted into a shell's quotes unchanged is a line feed.
bool isText(std::string_view bytes) {
    return isUtf8(bytes) && std::ranges::none_of(bytes, [](char c) {
               const auto byte = static_cast<unsigned char>(c);
               return (byte < 0x20 && c != '\n') || byte == 0x7f;
           });
}

std::string quoted(std::string_view text) {
    std::string word = "'";
    for (const char c : text) {
        if (c == '\'')
            word += "'\\''";
        else
            word += c;
    }
    return word += '\'';
}

/// A command that writes the bytes (printf(1p)).
std::string printfCommand(std::string_view bytes) {
    std::string format;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        std::array<char, 5> escaped{};
        if (c == '%')
            format += "%%";
        else if (byte >= 0x20 && byte < 0x7f && c != '\\' && c != '\'')
            format += c;
        else if (std::snprintf(escaped.data(), escaped.size(), "\\%03o", byte) > 0)
            format += escaped.data();
    }
    return "printf '" + format + '\'';
}

bool isPlainWord(std::string_view text) {
    constexpr std::string_view plain = "_./:=@%+,-";
    return !text.empty() && std::ranges::all_of(text, [&](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               plain.find(c) != plain.npos;
    });
}

using Fields = std::vector<std::pair<std::string, std::string>>;

const std::string* valueOf(const Fields& fields, std::string_view name) {
    const auto field = std::ranges::find_if(fields, [&](const auto& entry) { return iequals(entry.first, name); });
    return field == fields.end() ? nullptr : &field->second;
}

/// curl makes those that frame the body by itself, and the host's from the address.
bool isMadeByCurl(const std::string& name, const std::string& value, std::string_view authority) {
    return iequals(name, "Content-Length") || iequals(name, "Transfer-Encoding") || iequals(name, "Expect") ||
           (iequals(name, "Host") && value == authority);
}

std::string headerOptions(const Fields& fields, std::string_view authority, bool hasBody) {
    std::string options;
    for (const auto& [name, value] : fields) {
        // curl(1): a field without a value ends in a semicolon.
        if (!isMadeByCurl(name, value, authority))
            options += " -H " + shellWord(value.empty() ? name + ';' : name + ": " + value);
    }
    for (const char* name : {"User-Agent", "Accept", "Content-Type"}) {
        // A field with nothing behind its colon removes one that curl would send by default (curl(1), --header).
        const bool isSent = name != std::string_view("Content-Type") || hasBody;
        if (isSent && valueOf(fields, name) == nullptr)
            options += std::string(" -H ") + name + ':';
    }
    return options;
}

/// Whether curl would send the target as it is.
bool isPlainTarget(std::string_view target) {
    return target.starts_with('/') &&
           std::ranges::all_of(target,
                               [](char c) {
                                   return c > 0x20 && c < 0x7f &&
                                          std::string_view("#[]{}\\").find(c) == std::string_view::npos;
                               }) &&
           target.find("/.") == std::string_view::npos;
}

std::string bodyOptions(const JournalEntry& entry) {
    const KeptMessage& request = entry.request;
    if (request.body.size() < request.size)
        return " --data-binary @body # body: a file with the " + std::to_string(request.size) +
               " bytes of the body, of which not all were kept";
    return isText(request.body) ? " --data-raw " + shellWord(request.body) : " --data-binary @-";
}

} // namespace

std::string shellWord(std::string_view bytes) {
    if (isPlainWord(bytes))
        return std::string(bytes);
    return isText(bytes) ? quoted(bytes) : "\"$(" + printfCommand(bytes) + ")\"";
}

std::optional<std::string> curlCommand(const JournalEntry& entry, std::string_view address) {
    if (entry.method.empty() || entry.target.empty())
        return std::nullopt;
    const Fields fields = headerFields(entry.request.header);
    const bool hasBody = entry.request.size > 0 || valueOf(fields, "Content-Length") != nullptr ||
                         valueOf(fields, "Transfer-Encoding") != nullptr;
    const bool isPiped = hasBody && entry.request.body.size() == entry.request.size && !isText(entry.request.body);
    std::string command = isPiped ? printfCommand(entry.request.body) + " | curl" : "curl";
    if (entry.method == "HEAD" && !hasBody)
        command += " --head";
    else if (entry.method != (hasBody ? "POST" : "GET"))
        command += " -X " + shellWord(entry.method);
    const std::string_view authority = address.substr(address.find("//") + 2);
    if (isPlainTarget(entry.target))
        command += ' ' + shellWord(std::string(address) + entry.target);
    else
        command += ' ' + shellWord(std::string(address) + '/') + " --request-target " + shellWord(entry.target);
    command += headerOptions(fields, authority, hasBody);
    return hasBody ? command + bodyOptions(entry) : command;
}

} // namespace webservice
