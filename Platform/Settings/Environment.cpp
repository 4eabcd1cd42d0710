#include "Platform/Settings/Environment.h"

#include "Platform/Files/Files.h"
#include "Product.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace Platform::Environment {

namespace {

bool isAbsolute(std::string_view path) {
    return path.starts_with('/');
}

/// The variable's path, or nil where it is no absolute one.
std::optional<std::string> directory(const char* variable) {
    const char* value = std::getenv(variable);
    if (value == nullptr || !isAbsolute(value))
        return std::nullopt;
    return value;
}

std::string directory(const char* variable, std::string_view defaultBelowHome) {
    auto path = directory(variable);
    return path ? *std::move(path) : Files::appendingPathComponent(homeDirectory(), defaultBelowHome);
}

/// What the user database says of the user whom this process acts for: a member of its entry (passwd(5)), or "".
std::string inUserDatabase(char* passwd::*member) {
    passwd entry{};
    passwd* found = nullptr;
    std::array<char, 16384> buffer{};
    if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr)
        return found->*member;
    return "";
}

} // namespace

std::string homeDirectory() {
    auto home = directory("HOME");
    if (home)
        return *std::move(home);
    auto inDatabase = inUserDatabase(&passwd::pw_dir);
    return isAbsolute(inDatabase) ? inDatabase : "/";
}

std::string userName() {
    return inUserDatabase(&passwd::pw_name);
}

std::string configHome() {
    return directory("XDG_CONFIG_HOME", ".config");
}

std::vector<std::string> configDirectories() {
    const char* value = std::getenv("XDG_CONFIG_DIRS");
    std::string_view rest = value != nullptr ? value : "";
    std::vector<std::string> directories;
    while (!rest.empty()) {
        const auto path = rest.substr(0, rest.find(':'));
        if (isAbsolute(path))
            directories.emplace_back(path);
        rest.remove_prefix(std::min(path.size() + 1, rest.size()));
    }
    if (directories.empty())
        directories.emplace_back("/etc/xdg");
    return directories;
}

std::string temporaryDirectory() {
    auto path = directory("TMPDIR");
    if (!path)
        path = Files::appendingPathComponent(directory("XDG_CACHE_HOME", ".cache"), Product::directoryName);
    if (!path->ends_with('/'))
        *path += '/';
    return *std::move(path);
}

} // namespace Platform::Environment
