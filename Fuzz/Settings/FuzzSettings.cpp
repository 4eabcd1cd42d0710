// Any bytes as a file of settings: of preferences, and of the deployment. What is no object counts as absent and stays
// as it is; what is one keeps its values, and their order, when another is set or removed.

#include "Platform/Files/Files.h"
#include "Platform/Log.h"
#include "Platform/Settings/DeploymentReader.h"
#include "Platform/Settings/Preferences.h"
#include "Platform/Settings/SettingsFile.h"

#include <boost/json.hpp>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

namespace {

using boost::json::object;
using boost::json::value;
using namespace Platform;

constexpr const char* key = "set by the fuzz program";

void require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

/// A configuration home in memory, which is this process's alone and goes with it.
class ConfigurationHome {
public:
    ConfigurationHome() {
        std::string name = "/dev/shm/fuzz-settings-XXXXXX";
        require(::mkdtemp(name.data()) != nullptr, "there is no /dev/shm");
        path_ = name;
        ::setenv("XDG_CONFIG_HOME", path_.c_str(), 1);
        ::setenv("XDG_CONFIG_DIRS", (path_ + "/none").c_str(), 1);
        preferences_ = Preferences::pathOfDomain("domain");
        folder_ = Files::deletingLastPathComponent(preferences_);
        Files::createDirectory(folder_);
        Log::setSink([](std::string_view) {});
    }
    ConfigurationHome(const ConfigurationHome&) = delete;
    ConfigurationHome& operator=(const ConfigurationHome&) = delete;
    ~ConfigurationHome() { Files::removeItem(path_); }

    const std::string& preferences() const { return preferences_; }
    std::string deployment() const { return folder_ + "/deployment.json"; }

private:
    std::string path_;
    std::string folder_;
    std::string preferences_;
};

/// The library does not round the last digits of a double exactly when it reads it.
bool holdsDouble(const value& one) {
    if (one.is_array())
        return std::ranges::any_of(one.get_array(), holdsDouble);
    if (one.is_object())
        return std::ranges::any_of(one.get_object(), [](const auto& member) { return holdsDouble(member.value()); });
    return one.is_double();
}

/// Whether both have the same keys in the same order, and the same values but for doubles.
bool isSame(const object& one, const object& other) {
    return std::ranges::equal(one, other, [](const auto& a, const auto& b) {
        return a.key() == b.key() && (a.value() == b.value() || holdsDouble(a.value()));
    });
}

void readAndChangePreferences(const ConfigurationHome& home, std::string_view content) {
    Files::write(home.preferences(), content);
    const auto before = Preferences::persistentDomainForName("domain");
    const auto failure = Preferences::setObject("domain", key, "value");
    require(before.has_value() == !failure, "what can be read cannot be changed, or the other way round");
    if (!before) {
        require(std::get<std::string>(Files::contents(home.preferences())) == content, "a malformed file is changed");
        return;
    }
    object expected = *before;
    expected.insert_or_assign(key, "value");
    const auto after = Preferences::persistentDomainForName("domain");
    require(after && isSame(*after, expected), "a value is lost or moved when another is set");
    require(Preferences::objectForKey("domain", key) == value("value"), "the value that was set is not there");
    require(!Preferences::removeObject("domain", key), "a value cannot be removed");
    if (const auto place = expected.find(key); place != expected.end())
        expected.stable_erase(place);
    const auto last = Preferences::persistentDomainForName("domain");
    require(last && isSame(*last, expected), "a value is lost or moved when another is removed");
}

void readDeployment(const ConfigurationHome& home, std::string_view content, const std::string& builtInHost) {
    Files::write(home.deployment(), content);
    const auto settings = DeploymentReader().current();
    constexpr const char* allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.:[]";
    require(settings.serviceHost.find_first_not_of(allowed) == std::string::npos, "the host holds a foreign character");
    require(std::isfinite(settings.appKitVersionNumber), "the release is no number");
    settings.hostIsLoopback();
    const auto file = SettingsFile::read(home.deployment());
    if (std::holds_alternative<Error>(file))
        require(settings.serviceHost == builtInHost, "a malformed file names the host");
    else if (const auto& values = std::get<0>(file))
        require(!settings.serviceHost.empty() || values->contains("serviceScheme") ||
                    values->contains("certificateAuthorities"),
                "the host is empty");
    require(DeploymentReader().current().serviceHost == settings.serviceHost, "another reading gives another host");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
    static const ConfigurationHome home;
    static const std::string builtInHost = DeploymentReader().current().serviceHost;
    const std::string_view content(reinterpret_cast<const char*>(input), size);
    readAndChangePreferences(home, content);
    readDeployment(home, content, builtInHost);
    return 0;
}
