#include "Tools/Setup/Password.h"

#include "Platform/Files/Files.h"
#include "Platform/StandardStreams.h"
#include "Platform/Utf8.h"
#include "Tools/Failure.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>
#include <variant>

namespace Tools {

namespace {

constexpr std::size_t longestPassword = 1024;
/// Enough for the longest one and its line end.
constexpr std::size_t longestInput = longestPassword + 2;

using Input = std::variant<std::string, Platform::Error>;

/// What comes through a pipe, such as that of a shell's <(command).
Input readPipe(const std::string& path) {
    std::ifstream pipe(path, std::ios::binary);
    if (!pipe)
        return Platform::Error{"", 0, path + ": cannot be read"};
    std::string bytes;
    // One byte more says that there is too much.
    bytes.reserve(longestInput + 1);
    for (std::istreambuf_iterator<char> at(pipe), end; at != end && bytes.size() <= longestInput; ++at)
        bytes += *at;
    return bytes;
}

Input readSource(const std::string& source) {
    if (source == "-")
        return Platform::StandardStreams::readInput(longestInput);
    std::error_code error;
    if (std::filesystem::is_fifo(source, error))
        return readPipe(source);
    return Platform::Files::contents(source, longestInput);
}

} // namespace

std::optional<std::string> problemOfPassword(const std::string& password) {
    if (password.empty())
        return "is empty";
    if (password.size() > longestPassword)
        return "is longer than " + std::to_string(longestPassword) + " bytes";
    if (password.find_first_of(std::string("\0\r\n", 3)) != std::string::npos)
        return "has more than one line";
    if (Platform::firstInvalidUtf8(password) != std::string::npos)
        return "is not UTF-8";
    return std::nullopt;
}

Platform::Secret readPassword(const std::string& source) {
    auto input = readSource(source);
    if (const auto* error = std::get_if<Platform::Error>(&input))
        throw Failure(ExitStatus::NoInput, "--password-file " + error->localizedDescription);
    Platform::Secret password(std::get<std::string>(std::move(input)));
    // A short text is copied when it is moved.
    Platform::Secret::wipe(std::get<std::string>(input));
    auto& text = password.text();
    if (text.ends_with('\n'))
        text.pop_back();
    if (text.ends_with('\r'))
        text.pop_back();
    if (const auto problem = problemOfPassword(text))
        throw Failure(ExitStatus::DataError, "the password of --password-file " + source + " " + *problem);
    return password;
}

} // namespace Tools
