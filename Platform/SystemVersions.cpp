#include "Platform/SystemVersions.h"

#include "Platform/Files/Files.h"

#include <curl/curl.h>
#include <systemd/sd-bus.h>

#include <dlfcn.h>
#include <sys/utsname.h>

#include <cstdlib>
#include <memory>
#include <string_view>
#include <variant>

namespace Platform {

namespace {

constexpr const char* unknownVersion = "unknown";

std::string fileOfLibsystemd() {
    Dl_info found{};
    if (::dladdr(reinterpret_cast<const void*>(&sd_bus_open_user), &found) == 0 || found.dli_fname == nullptr)
        return unknownVersion;
    const std::unique_ptr<char, void (*)(void*)> path(::realpath(found.dli_fname, nullptr), std::free);
    return Files::lastPathComponent(path ? path.get() : found.dli_fname);
}

std::string kernel() {
    utsname names{};
    if (::uname(&names) != 0)
        return unknownVersion;
    return std::string(names.sysname) + " " + names.release + " " + names.machine;
}

/// The value of PRETTY_NAME, which is quoted where it has blanks.
std::string distribution() {
    constexpr std::uint64_t longest = 64 << 10;
    constexpr std::string_view name = "PRETTY_NAME=";
    const auto content = Files::contents("/etc/os-release", longest);
    const auto* text = std::get_if<std::string>(&content);
    const auto place = text == nullptr ? std::string::npos : ("\n" + *text).find("\n" + std::string(name));
    if (place == std::string::npos)
        return unknownVersion;
    std::string value = text->substr(place + name.size());
    value.resize(std::min(value.find('\n'), value.size()));
    std::erase(value, '"');
    return value;
}

} // namespace

std::vector<std::pair<std::string, std::string>> systemVersions() {
    return {{"libcurl", curl_version()},
            {"libsystemd", fileOfLibsystemd()},
            {"kernel", kernel()},
            {"distribution", distribution()}};
}

} // namespace Platform
