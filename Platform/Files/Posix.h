#pragma once

#include "Platform/Error.h"

#include <cerrno>
#include <string>
#include <system_error>

/// What every file that makes system calls on paths needs.
namespace Platform::Posix {

/// The domain of errors whose code is a number of errno(3).
inline constexpr const char* errorDomain = "POSIX";

/// The error of a system call that concerned `path`.
inline Error error(const std::string& path, int number = errno) {
    return Error{errorDomain, number, path + ": " + std::generic_category().message(number)};
}

/// The path that such an error names.
inline std::string pathOf(const Error& error) {
    return error.localizedDescription.substr(0, error.localizedDescription.rfind(": "));
}

/// The path for a system call; the empty one, which names nothing (ENOENT), in place of one that a zero byte would
/// cut short.
inline const char* named(const std::string& path) {
    return path.find('\0') == std::string::npos ? path.c_str() : "";
}

} // namespace Platform::Posix
