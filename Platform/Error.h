#pragma once

#include <string>

namespace Platform {

/// Why an operation failed, as a value that its caller gets.
struct Error {
    std::string domain;
    int code = 0;
    std::string localizedDescription;

    bool operator==(const Error&) const = default;
};

} // namespace Platform
