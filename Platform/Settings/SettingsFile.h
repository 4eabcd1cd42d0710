#pragma once

#include "Platform/Error.h"

#include <boost/json/object.hpp>

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <variant>

/// Files that hold one JSON object of settings.
namespace Platform::SettingsFile {

/// A larger file is not read.
inline constexpr std::uint64_t maximumSize = 16 << 20;

/// Reads the object; nil where no file is, an error where there is one that cannot be read, is no regular file, is
/// too large or holds no JSON object. The error names the path and the place.
std::variant<std::optional<boost::json::object>, Error> read(const std::string& path);

/// Applies `change` to the object of the file as it is now, an empty one where no file is, and replaces the file in one
/// step where `change` says that it did something. The missing folder of the file is made, for this user alone. Writers
/// exclude one another by a lock file beside it (flock(2)), so that no change is lost. A file of which `read` gives an
/// error is not overwritten: that is the error.
std::optional<Error> change(const std::string& path, const std::function<bool(boost::json::object& values)>& change);

/// Whether an error of `read` is temporary: the file could not be read this time (EACCES, EIO, EMFILE and the like;
/// errno(3)), so that its content is unknown.
bool isFailureToRead(const Error& error);

/// Identifies a version of a file's content. A file that does not exist has the zero state.
struct State {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec modified{};
    timespec changed{};

    bool operator==(const State& other) const;
};
State stateOf(const std::string& path);
/// Whether every change from now on gives the file another state. Times of files go in steps, of up to two seconds on
/// some file systems, so that two changes that follow one another closely may leave the same time.
bool isSettled(const State& state);

/// Logs an entry about a file, once for each state of the file and text; `forget` when the file is valid again.
void logOnce(const std::string& path, const std::string& entry);
void forget(const std::string& path);

/// What `read` returned for a file, for callers that treat an invalid file as absent: its error is logged once for each
/// state of the file.
std::optional<boost::json::object> valuesOrLog(const std::string& path,
                                               std::variant<std::optional<boost::json::object>, Error> content);

} // namespace Platform::SettingsFile
