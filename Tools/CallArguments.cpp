#include "Tools/CallArguments.h"

#include "Platform/Files/Files.h"
#include "Platform/Json.h"
#include "Platform/Printable.h"
#include "Platform/StandardStreams.h"
#include "Services/ServicesUtilities.h"
#include "Tools/Failure.h"
#include "Tools/NearestName.h"
#include "Tools/Output.h"

#include <boost/json/array.hpp>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace Tools {

using Quenmark::OperationVariant;

namespace {

constexpr std::size_t largestBody = std::size_t{256} << 20;
constexpr const char* filePathKey = "FilePath";

void requireKey(const OperationDescription& operation, std::string_view key) {
    const auto keys = operation.requestKeys();
    if (std::ranges::find(keys, key) != keys.end())
        return;
    throw Failure(ExitStatus::Usage, std::string(operation.name) + " has no key \"" + std::string(key) +
                                         "\"; the nearest one is " + std::string(nearestName(key, keys)));
}

boost::json::object bodyOfPairs(const OperationDescription& operation, const std::vector<std::string>& pairs) {
    boost::json::object body;
    for (const auto& pair : pairs) {
        const auto end = pair.find('=');
        if (end == std::string::npos)
            throw Failure(ExitStatus::Usage, "\"" + pair + "\" is not Key=value");
        const auto key = std::string_view(pair).substr(0, end);
        requireKey(operation, key);
        if (!body.emplace(key, std::string_view(pair).substr(end + 1)).second)
            throw Failure(ExitStatus::Usage, std::string(key) + " is given twice");
    }
    return body;
}

/// The text that a field of a request carries for a JSON value; nil for null.
std::optional<boost::json::string> fieldText(std::string_view key, const boost::json::value& value) {
    switch (value.kind()) {
    case boost::json::kind::null:
        return std::nullopt;
    case boost::json::kind::string:
        return value.get_string();
    case boost::json::kind::int64:
        return boost::json::string(std::to_string(value.get_int64()));
    case boost::json::kind::uint64:
        return boost::json::string(std::to_string(value.get_uint64()));
    case boost::json::kind::bool_:
        return boost::json::string(value.get_bool() ? "True" : "False");
    default:
        throw Failure(ExitStatus::DataError, "the value of " + std::string(key) + " is not a text");
    }
}

boost::json::object bodyOfJson(const OperationDescription& operation, const boost::json::value& json) {
    const auto* object = json.if_object();
    if (object == nullptr)
        throw Failure(ExitStatus::DataError, "the body must be a JSON object");
    const auto keys = operation.requestKeys();
    boost::json::object body;
    for (const auto& [key, value] : *object) {
        // So that what --wire printed of a response can be the request that follows it.
        if (std::ranges::find(keys, std::string_view(key)) == keys.end()) {
            printMessage("ignored: " + std::string(operation.name) + " has no key " + Platform::printable(key));
            continue;
        }
        if (auto text = fieldText(key, value))
            body.emplace(key, std::move(*text));
    }
    return body;
}

/// Whether reading failed after the source was there and open.
bool hasBegun(const std::string& source, const Platform::Error& error) {
    return source == "-" || error.code == static_cast<int>(std::errc::file_too_large);
}

std::string readBody(const std::string& source) {
    auto read = source == "-" ? Platform::StandardStreams::readInput(largestBody)
                              : Platform::Files::contents(source, largestBody);
    if (const auto* error = std::get_if<Platform::Error>(&read))
        throw Failure(hasBegun(source, *error) ? ExitStatus::InputOutput : ExitStatus::NoInput,
                      error->localizedDescription);
    return std::get<std::string>(std::move(read));
}

boost::json::value parsedBody(const OperationDescription& operation, const std::string& source) {
    auto parsed = Platform::Json::parse(readBody(source));
    if (const auto* error = std::get_if<Platform::Error>(&parsed))
        throw Failure(ExitStatus::DataError, error->localizedDescription);
    const auto& json = std::get<boost::json::value>(parsed);
    if (operation.variant != OperationVariant::PostList)
        return bodyOfJson(operation, json);
    const auto* array = json.if_array();
    if (array == nullptr)
        throw Failure(ExitStatus::DataError, "the body must be a JSON array of objects");
    boost::json::array list;
    for (const auto& element : *array)
        list.emplace_back(bodyOfJson(operation, element));
    return list;
}

/// A local file as the operation names it: from the root on, with "\" between the names.
std::string wirePathOf(const std::string& file) {
    std::error_code failure;
    const auto path = std::filesystem::absolute(file, failure).lexically_normal().string();
    if (failure || file.empty())
        throw Failure(ExitStatus::Usage, "--file names no file");
    if (path.find('\\') != std::string::npos)
        throw Failure(ExitStatus::Usage, "a path with a backslash in it cannot be sent");
    return Quenmark::ServicesUtilities::convertPathToWindows(path);
}

void setFile(const OperationDescription& operation, const std::string& file, boost::json::value& body) {
    if (operation.variant != OperationVariant::HeaderUpload)
        throw Failure(ExitStatus::Usage, std::string(operation.name) + " sends no file");
    const std::string wirePath = wirePathOf(file);
    // Opens the file and reads nothing of it: every file that can be read is too large.
    const auto opened = Platform::Files::contents(file, 0);
    if (const auto* error = std::get_if<Platform::Error>(&opened);
        error != nullptr && error->code != static_cast<int>(std::errc::file_too_large))
        throw Failure(ExitStatus::NoInput, error->localizedDescription);
    if (!body.get_object().emplace(filePathKey, wirePath).second)
        throw Failure(ExitStatus::Usage, "--file and FilePath exclude each other");
}

} // namespace

boost::json::value requestBody(const OperationDescription& operation, const CallArguments& arguments) {
    boost::json::value body;
    if (arguments.json)
        body = parsedBody(operation, *arguments.json);
    else if (operation.variant != OperationVariant::PostList)
        body = bodyOfPairs(operation, arguments.pairs);
    else if (arguments.pairs.empty())
        body = boost::json::array();
    else
        body = boost::json::array{bodyOfPairs(operation, arguments.pairs)};
    if (arguments.file)
        setFile(operation, *arguments.file, body);
    return body;
}

} // namespace Tools
