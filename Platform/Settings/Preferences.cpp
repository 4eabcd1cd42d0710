#include "Platform/Settings/Preferences.h"

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Files/Files.h"
#include "Platform/Files/Flush.h"
#include "Platform/Files/Posix.h"
#include "Platform/Json.h"
#include "Platform/Settings/Environment.h"
#include "Platform/Settings/SettingsFile.h"
#include "Product.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <functional>
#include <map>
#include <mutex>
#include <vector>

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

/// Waits until no other writer of the file is at work, and keeps the others out until the descriptor is closed.
FileDescriptor lockForWriting(const std::string& path) {
    const std::string name = "." + Files::lastPathComponent(path) + ".lock";
    const std::string lockPath = Files::appendingPathComponent(Files::deletingLastPathComponent(path), name);
    FileDescriptor file(::open(Posix::named(lockPath), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (!file)
        return file;
    int result = 0;
    do
        result = ::flock(file.get(), LOCK_EX);
    while (result != 0 && errno == EINTR);
    if (result != 0)
        file.reset();
    return file;
}

std::optional<Error> makeFolder() {
    const std::string path = folder();
    if (Files::isDirectory(path))
        return std::nullopt;
    std::vector<std::string> made;
    if (auto error = Files::createDirectory(Files::deletingLastPathComponent(path), &made))
        return error;
    if (::mkdir(Posix::named(path), S_IRWXU) != 0)
        return errno == EEXIST ? std::nullopt : std::optional(Posix::error(path));
    made.push_back(path);
    return Flush::entries(made);
}

/// What was read of the domains' files, with their states before. Any thread may ask.
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
    if (auto error = makeFolder())
        return error;
    const FileDescriptor lock = lockForWriting(path);
    if (!lock)
        return Posix::error(path);
    auto current = SettingsFile::read(path);
    if (auto* error = std::get_if<Error>(&current))
        return std::move(*error);
    auto values = std::get<0>(std::move(current)).value_or(object());
    if (!change(values))
        return std::nullopt;
    auto written = Json::prettyPrinted(std::move(values));
    if (auto* error = std::get_if<Error>(&written))
        return std::move(*error);
    return Files::writeAtomically(path, std::get<std::string>(written) + '\n');
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
    return changeDomain(domain, [&](object& values) {
        values.insert_or_assign({key.data(), key.size()}, value);
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
