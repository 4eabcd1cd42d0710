#pragma once

#include <string>

namespace Platform {

/// Why an operation failed, as a value that is handed to whoever asked for it.
struct Error {
    std::string domain;
    int code = 0;
    std::string localizedDescription;

    bool operator==(const Error&) const = default;
};

} // namespace Platform
