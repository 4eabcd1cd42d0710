#include "WebService/Console/CallCommand.h"

#include "WebService/Console/ShellCommand.h"
#include "WebService/Operations/Uploads.h"

#include <boost/json.hpp>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace webservice {

namespace {

/// The operations whose name in the tool is not the last part of their path. The tool takes names without "async", in
/// any case of letters.
constexpr auto otherNames = std::to_array<std::pair<std::string_view, std::string_view>>({
    {"VerifyAndRegisterUserFromTool", "UserRegistration"},
    {"UpdateFileExists", "UpdateFileExist"},
    {"UpdateBSUploadStreamStarted", "UpdateBSUploadStreamStart"},
    {"UpdateBSDownloadStreamStarted", "UpdateBSDownloadStreamStart"},
    {"UpdateBSReceiveStreamStarted", "UpdateBSReceiveStreamStart"},
});

constexpr std::string_view uploadName = "UpdateFileRequestWithStream"; // sends the content of a file
constexpr std::string_view listName = "SyncFilesInTableAndCloud";      // sends a list

std::string nameOf(std::string_view operation) {
    const std::string_view last = operation.substr(operation.rfind('/') + 1);
    const auto* const other =
        std::ranges::find(otherNames, last, &std::pair<std::string_view, std::string_view>::first);
    return std::string(other == otherNames.end() ? last : other->second);
}

/// Whether the tool takes it as Key=value and sends it as it is.
bool isPair(const boost::json::key_value_pair& member) {
    const std::string_view key = member.key();
    return !key.empty() && !key.starts_with('-') && key.find_first_of("=\0", 0, 2) == std::string_view::npos &&
           member.value().is_string() && member.value().get_string().find('\0') == boost::json::string::npos;
}

bool isFlat(const boost::json::value& value) {
    return value.is_object() && std::ranges::all_of(value.get_object(), isPair);
}

bool isFlatList(const boost::json::value& value) {
    return value.is_array() && std::ranges::all_of(value.get_array(), isFlat);
}

/// A command substitution removes line feeds at its end: see shellWord().
bool canBeWord(std::string_view text) {
    return !text.ends_with('\n') || shellWord(text).starts_with('\'');
}

} // namespace

std::optional<std::string> callCommand(const JournalEntry& entry) {
    if (entry.operation.empty() || entry.operation.ends_with(uploadName) ||
        entry.request.body.size() < entry.request.size)
        return std::nullopt;
    boost::json::error_code error;
    const boost::json::value body = boost::json::parse(entry.request.body, error);
    if (error)
        return std::nullopt;
    const std::string name = nameOf(entry.operation);
    if (name == listName)
        return isFlatList(body) ? std::optional("printf %s " + shellWord(boost::json::serialize(body)) +
                                                " | quenmark call " + name + " --json -")
                                : std::nullopt;
    if (!isFlat(body))
        return std::nullopt;
    std::string command = "quenmark call " + name;
    for (const auto& member : body.get_object()) {
        const std::string pair = std::string(member.key()) + '=' + std::string(member.value().get_string());
        if (!canBeWord(pair))
            return std::nullopt;
        command += ' ' + shellWord(pair);
    }
    return name == downloadName ? command + " --output item" : command;
}

} // namespace webservice
