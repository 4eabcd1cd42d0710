#pragma once

#include <string>

namespace Platform {

/// Why an operation failed, as a value that its caller gets.
struct Error {
    /// What the code is a code of, such as `UrlError::domain`.
    std::string domain;
    /// Tells the causes of a domain apart.
    int code = 0;
    /// The cause in English, for people; no part of the interface.
    std::string localizedDescription;

    bool operator==(const Error&) const = default;
};

} // namespace Platform
