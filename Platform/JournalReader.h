#pragma once

#include "Platform/Error.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace Platform::Journal {

/// An entry of the journal (systemd.journal-fields(7)).
struct Entry {
    /// Microseconds since 1970-01-01 UTC.
    std::int64_t time = 0;
    /// As in syslog(3); "" where none was given.
    std::string priority;
    std::string message;

    bool operator==(const Entry&) const = default;
};

/// The last entries, at most `count`, that this user's programs of that name (SYSLOG_IDENTIFIER) have written, the
/// oldest first. `folder` is where the journal's files are; the machine's where it is empty. The error says why none
/// can be read; that there is no journal is one (ENOENT).
std::variant<std::vector<Entry>, Error> lastEntries(const std::string& program, std::size_t count,
                                                    const std::string& folder = "");

} // namespace Platform::Journal
