#include "Platform/Settings/SettingsFile.h"

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Files/Files.h"
#include "Platform/Files/Flush.h"
#include "Platform/Files/Posix.h"
#include "Platform/Json.h"
#include "Platform/Log.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <map>
#include <mutex>
#include <string_view>
#include <utility>
#include <vector>

namespace Platform::SettingsFile {

namespace {

bool isSame(const timespec& one, const timespec& other) {
    return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

/// The entries that were logged last, by path. A path whose file is good again leaves the map.
class LoggedStates {
public:
    void logOnce(const std::string& path, const std::string& entry) {
        // The entry is part of it: access rights change without the file.
        std::pair<State, std::string> state(stateOf(path), entry);
        {
            const std::lock_guard guard(lock_);
            auto& logged = states_[path];
            if (logged == state)
                return;
            logged = std::move(state);
        }
        Log::write(entry, Log::Priority::Error);
    }

    void forget(const std::string& path) {
        const std::lock_guard guard(lock_);
        states_.erase(path);
    }

private:
    std::mutex lock_;
    std::map<std::string, std::pair<State, std::string>> states_;
};

LoggedStates& loggedStates() {
    static LoggedStates states;
    return states;
}

/// Acquires an exclusive lock against other writers, held until the descriptor is closed.
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

std::optional<Error> makeFolder(const std::string& path) {
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

std::optional<Error> change(const std::string& path, const std::function<bool(boost::json::object&)>& change) {
    if (auto error = makeFolder(Files::deletingLastPathComponent(path)))
        return error;
    const FileDescriptor lock = lockForWriting(path);
    if (!lock)
        return Posix::error(path);
    auto current = read(path);
    if (auto* error = std::get_if<Error>(&current))
        return std::move(*error);
    auto values = std::get<0>(std::move(current)).value_or(boost::json::object());
    if (!change(values))
        return std::nullopt;
    auto written = Json::prettyPrinted(std::move(values));
    if (auto* error = std::get_if<Error>(&written))
        return std::move(*error);
    return Files::writeAtomically(path, std::get<std::string>(written) + '\n');
}

bool isFailureToRead(const Error& error) {
    if (error.domain != Posix::errorDomain)
        return false;
    // No file at all, no regular file, or too large a one.
    return error.code != ENOTDIR && error.code != EISDIR && error.code != EINVAL && error.code != EFBIG;
}

bool State::operator==(const State& other) const {
    return device == other.device && inode == other.inode && size == other.size && isSame(modified, other.modified) &&
           isSame(changed, other.changed);
}

State stateOf(const std::string& path) {
    struct stat status {};
    if (::stat(Posix::named(path), &status) != 0)
        return {};
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim, status.st_ctim};
}

bool isSettled(const State& state) {
    constexpr time_t longestStep = 2;
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec - state.changed.tv_sec > longestStep;
}

void logOnce(const std::string& path, const std::string& entry) {
    loggedStates().logOnce(path, entry);
}

void forget(const std::string& path) {
    loggedStates().forget(path);
}

std::optional<boost::json::object> valuesOrLog(const std::string& path,
                                               std::variant<std::optional<boost::json::object>, Error> content) {
    if (const auto* error = std::get_if<Error>(&content)) {
        logOnce(path, "A settings file counts as absent: " + error->localizedDescription);
        return std::nullopt;
    }
    forget(path);
    return std::get<0>(std::move(content));
}

} // namespace Platform::SettingsFile
