#pragma once

#include "Platform/Error.h"

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
    OutputStream(OutputStream&& other) noexcept;
    OutputStream& operator=(OutputStream&& other) noexcept;
    ~OutputStream();

    void open();
    void close();
    /// How many bytes were written, at most those given (write(2)); -1 on failure, which `streamError` tells.
    std::int64_t write(std::string_view bytes);
    /// The error of the last `open` or `write` that failed.
    const std::optional<Error>& streamError() const { return error_; }

private:
    std::string path_;
    int descriptor_ = -1;
    std::optional<Error> error_;
};

} // namespace Platform
