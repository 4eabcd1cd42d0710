#include "Platform/SettingsFile.h"

#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Log.h"
#include "Platform/Posix.h"

#include <sys/stat.h>

#include <map>
#include <mutex>
#include <tuple>

namespace Platform::SettingsFile {

namespace {

/// What tells one state of a file from the next, the error included: access rights change without the file.
using FileState = std::tuple<dev_t, ino_t, off_t, time_t, long, std::string>;

FileState stateOf(const std::string& path, const std::string& error) {
    struct stat status {};
    if (::stat(Posix::named(path), &status) != 0)
        status = {};
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec, error};
}

/// The states that were logged last, by path. A path whose file is good again leaves the map.
class LoggedStates {
public:
    void logOnce(const std::string& path, const std::string& error) {
        auto state = stateOf(path, error);
        {
            const std::lock_guard guard(lock_);
            auto& logged = states_[path];
            if (logged == state)
                return;
            logged = std::move(state);
        }
        Log::write("A settings file counts as absent: " + error);
    }

    void forget(const std::string& path) {
        const std::lock_guard guard(lock_);
        states_.erase(path);
    }

private:
    std::mutex lock_;
    std::map<std::string, FileState> states_;
};

LoggedStates& loggedStates() {
    static LoggedStates states;
    return states;
}

} // namespace

std::variant<std::optional<boost::json::object>, Error> read(const std::string& path) {
    auto content = Files::contents(path, maximumSize);
    if (auto* error = std::get_if<Error>(&content)) {
        if (error->code == ENOENT)
            return std::nullopt;
        return std::move(*error);
    }
    auto parsed = Json::parse(std::get<std::string>(content));
    if (auto* error = std::get_if<Error>(&parsed)) {
        error->localizedDescription = path + ": " + error->localizedDescription;
        return std::move(*error);
    }
    auto& value = std::get<boost::json::value>(parsed);
    if (!value.is_object())
        return Error{Json::errorDomain, Json::errorCode,
                     path + ": Not a JSON object: the top level is an array at byte " +
                         std::to_string(std::get<std::string>(content).find('['))};
    return std::move(value.get_object());
}

std::optional<boost::json::object> readOrLog(const std::string& path) {
    auto content = read(path);
    if (const auto* error = std::get_if<Error>(&content)) {
        loggedStates().logOnce(path, error->localizedDescription);
        return std::nullopt;
    }
    loggedStates().forget(path);
    return std::get<0>(std::move(content));
}

} // namespace Platform::SettingsFile
