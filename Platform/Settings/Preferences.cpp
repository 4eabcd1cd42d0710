#include "Platform/Settings/Preferences.h"

#include "Platform/Files/Files.h"
#include "Platform/Files/Posix.h"
#include "Platform/Settings/Environment.h"
#include "Platform/Settings/SettingsFile.h"
#include "Product.h"

#include <functional>
#include <map>
#include <mutex>

namespace Platform::Preferences {

namespace {

using boost::json::object;

bool namesDomain(std::string_view domain) {
    return !domain.empty() && domain != "." && domain != ".." && domain.find('/') == std::string_view::npos &&
           domain.find('\0') == std::string_view::npos;
}

std::string folder() {
    return Files::appendingPathComponent(Environment::configHome(), Product::directoryName);
}

/// A cache of the domains' files, validated by their states. Thread-safe.
class KnownDomains {
public:
    /// The domain as its file is now. The file is read where it may have changed since it was read last.
    std::optional<object> now(const std::string& path) {
        const auto state = SettingsFile::stateOf(path);
        const std::lock_guard guard(lock_);
        Known& known = domains_[path];
        if (known.isSettled && known.state == state)
            return known.values;
        auto content = SettingsFile::read(path);
        const auto* error = std::get_if<Error>(&content);
        known.state = state;
        known.isSettled =
            SettingsFile::isSettled(state) && (error == nullptr || !SettingsFile::isFailureToRead(*error));
        known.values = SettingsFile::valuesOrLog(path, std::move(content));
        return known.values;
    }

private:
    struct Known {
        SettingsFile::State state;
        bool isSettled = false;
        std::optional<object> values;
    };

    std::mutex lock_;
    std::map<std::string, Known> domains_;
};

KnownDomains& knownDomains() {
    static KnownDomains domains;
    return domains;
}

/// Applies `change` to the domain as it is now, and writes it where `change` says that it did something.
std::optional<Error> changeDomain(std::string_view domain, const std::function<bool(object&)>& change) {
    const std::string path = pathOfDomain(domain);
    if (!namesDomain(domain))
        return Posix::error(path, EINVAL);
    return SettingsFile::change(path, change);
}

} // namespace

std::string pathOfDomain(std::string_view domain) {
    return Files::appendingPathComponent(folder(), std::string(domain) + ".json");
}

std::optional<object> persistentDomainForName(std::string_view domain) {
    if (!namesDomain(domain))
        return std::nullopt;
    return knownDomains().now(pathOfDomain(domain));
}

std::optional<boost::json::value> objectForKey(std::string_view domain, std::string_view key) {
    auto values = persistentDomainForName(domain);
    if (!values)
        return std::nullopt;
    auto* value = values->if_contains({key.data(), key.size()});
    if (value == nullptr)
        return std::nullopt;
    return std::move(*value);
}

std::optional<Error> setObject(std::string_view domain, std::string_view key, const boost::json::value& value) {
    return setObjects(domain, {{{key.data(), key.size()}, value}});
}

std::optional<Error> setObjects(std::string_view domain, const object& objects) {
    return changeDomain(domain, [&](object& values) {
        for (const auto& [key, value] : objects)
            values.insert_or_assign(key, value);
        return true;
    });
}

std::optional<Error> removeObject(std::string_view domain, std::string_view key) {
    return changeDomain(domain, [&](object& values) {
        const auto place = values.find({key.data(), key.size()});
        if (place == values.end())
            return false;
        values.stable_erase(place);
        return true;
    });
}

} // namespace Platform::Preferences
