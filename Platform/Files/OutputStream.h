#pragma once

#include "Platform/Error.h"
#include "Platform/Files/FileDescriptor.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace Platform {

/// Bytes appended to a file. The file is made, with the user's umask, when it is missing. A stream that could not be
/// opened, or was closed, fails each write.
class OutputStream {
public:
    /// Gives the open file of a path, or why there is none.
    using Opener = std::function<std::variant<FileDescriptor, Error>(const std::string& path)>;
    /// The usual opener. What is no regular file is refused (EINVAL), so that no write can wait for a reader.
    static std::variant<FileDescriptor, Error> openToAppend(const std::string& path);

    explicit OutputStream(std::string pathToAppendTo, Opener opener = openToAppend);

    void open();
    void close();
    /// How many bytes were written, at most those given (write(2)); -1 on failure, which `streamError` tells.
    std::int64_t write(std::string_view bytes);
    /// Another descriptor of the open file; none where no file is open.
    FileDescriptor duplicate() const;
    /// The error of the last `open` or `write` that failed.
    const std::optional<Error>& streamError() const { return error_; }

private:
    std::string path_;
    Opener opener_;
    FileDescriptor file_;
    std::optional<Error> error_;
};

} // namespace Platform
