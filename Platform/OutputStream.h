#pragma once

#include "Platform/Error.h"
#include "Platform/FileDescriptor.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Platform {

/// Bytes appended to a file. The file is made, with mode 0600, when it is missing. A stream that could not be opened,
/// or was closed, fails each write.
class OutputStream {
public:
    explicit OutputStream(std::string pathToAppendTo);

    /// Opens the file. What is no regular file is refused (EINVAL), so that no write can wait for a reader.
    void open();
    void close();
    /// How many bytes were written, at most those given (write(2)); -1 on failure, which `streamError` tells.
    std::int64_t write(std::string_view bytes);
    /// The error of the last `open` or `write` that failed.
    const std::optional<Error>& streamError() const { return error_; }

private:
    std::string path_;
    FileDescriptor file_;
    std::optional<Error> error_;
};

} // namespace Platform
