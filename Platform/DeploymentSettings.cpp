#include "Platform/DeploymentSettings.h"

#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/Log.h"
#include "Platform/SettingsFile.h"
#include "Platform/Text.h"
#include "Product.h"

#include <boost/json/value.hpp>

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <mutex>
#include <string_view>

namespace Platform {

namespace {

constexpr std::string_view digits = "0123456789";

/// A host without its port, and without the brackets of an IPv6 address.
struct Host {
    std::string name;
    bool bracketed = false;
};

bool isPort(std::string_view text) {
    std::uint16_t port = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), port);
    return failure == std::errc() && end == text.data() + text.size() && port != 0;
}

bool isLabel(std::string_view label) {
    constexpr std::string_view allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_";
    return !label.empty() && label.size() <= 63 && label.front() != '-' && label.back() != '-' &&
           label.find_first_not_of(allowed) == std::string_view::npos;
}

/// Whether it is an IPv4 address in four decimal parts, or a name of the domain name system (RFC 1123, section 2.1).
/// A name whose last part is a number is neither.
bool isHostName(std::string_view name) {
    if (name.ends_with('.'))
        name.remove_suffix(1);
    in_addr address{};
    if (::inet_pton(AF_INET, std::string(name).c_str(), &address) == 1)
        return true;
    const std::size_t length = name.size();
    std::string_view label;
    while (!name.empty()) {
        label = name.substr(0, name.find('.'));
        if (!isLabel(label) || label.size() + 1 == name.size())
            return false;
        name.remove_prefix(std::min(label.size() + 1, name.size()));
    }
    return length > 0 && length <= 253 && label.find_first_not_of(digits) != std::string_view::npos;
}

bool isAddress6(const std::string& text) {
    in6_addr address{};
    return ::inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

/// Takes "host" or "host:port" apart; nil where it is neither.
std::optional<Host> parseHost(std::string_view text) {
    const bool bracketed = text.starts_with('[');
    const std::size_t end = bracketed ? text.find(']') : text.find(':');
    const std::size_t rest = bracketed && end != std::string_view::npos ? end + 1 : end;
    if (bracketed && end == std::string_view::npos)
        return std::nullopt;
    if (rest < text.size() && (text[rest] != ':' || !isPort(text.substr(rest + 1))))
        return std::nullopt;
    Host host{std::string(bracketed ? text.substr(1, end - 1) : text.substr(0, end)), bracketed};
    if (host.name.find('\0') != std::string::npos || !(bracketed ? isAddress6(host.name) : isHostName(host.name)))
        return std::nullopt;
    return host;
}

void refuse(const std::string& path, const char* key, const boost::json::value& value, const char* wanted) {
    Log::write(path + ": \"" + key + "\" is not " + wanted + " and counts as absent: " + text(value));
}

void takeServiceHost(const boost::json::object& values, const std::string& path, DeploymentSettings& settings) {
    const auto* value = values.if_contains("serviceHost");
    if (value == nullptr)
        return;
    if (!value->is_string() || !parseHost(std::string_view(value->get_string())))
        return refuse(path, "serviceHost", *value, "a host with an optional port");
    settings.serviceHost = value->get_string();
}

void takeVersion(const boost::json::object& values, const std::string& path, DeploymentSettings& settings) {
    const auto* value = values.if_contains("appKitVersionNumber");
    if (value == nullptr)
        return;
    if (!value->is_number() || !std::isfinite(value->to_number<double>()))
        return refuse(path, "appKitVersionNumber", *value, "a number");
    settings.appKitVersionNumber = value->to_number<double>();
}

DeploymentSettings readSettings() {
    DeploymentSettings settings;
    settings.serviceHost = Product::serviceHost;
    auto directories = Environment::configDirectories();
    directories.insert(directories.begin(), Environment::configHome());
    for (const auto& directory : directories) {
        const std::string folder = Files::appendingPathComponent(directory, Product::directoryName);
        const std::string path = Files::appendingPathComponent(folder, "deployment.json");
        if (const auto values = SettingsFile::readOrLog(path)) {
            takeServiceHost(*values, path, settings);
            takeVersion(*values, path, settings);
            break;
        }
    }
    return settings;
}

/// The settings of this process. Whoever asks first reads the files, on whatever thread that is.
struct ProcessSettings {
    std::mutex lock;
    std::optional<DeploymentSettings> settings;
};

ProcessSettings& processSettings() {
    static ProcessSettings settings;
    return settings;
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

} // namespace

const DeploymentSettings& DeploymentSettings::current() {
    auto& process = processSettings();
    const std::lock_guard guard(process.lock);
    if (!process.settings)
        process.settings = readSettings();
    return *process.settings;
}

void DeploymentSettings::replace(std::optional<DeploymentSettings> settings) {
    auto& process = processSettings();
    const std::lock_guard guard(process.lock);
    process.settings = std::move(settings);
}

bool DeploymentSettings::hostIsLoopback() const {
    const auto host = parseHost(serviceHost);
    if (!host)
        return false;
    in6_addr address6{};
    if (host->bracketed)
        return ::inet_pton(AF_INET6, host->name.c_str(), &address6) == 1 && IN6_IS_ADDR_LOOPBACK(&address6);
    std::string name = lowerCase(host->name);
    if (name.ends_with('.'))
        name.pop_back();
    in_addr address{};
    if (::inet_pton(AF_INET, name.c_str(), &address) == 1)
        return (ntohl(address.s_addr) >> 24) == IN_LOOPBACKNET;
    return name == "localhost" || name.ends_with(".localhost");
}

} // namespace Platform
