#pragma once

#include "Platform/Log.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace TestSupport {

/// Takes what goes to the system log while it lives; one at a time. The log goes its usual way again afterwards.
class LogCapture {
public:
    LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
    ~LogCapture();

    /// Every entry so far, in order, each with exactly the text that was written.
    const std::vector<std::string>& entries() const { return entries_; }
    bool contains(std::string_view entry) const;
    /// How many entries are exactly `entry`.
    std::size_t count(std::string_view entry) const;
    /// The priority of the first entry that begins with `start`; nil where there is none.
    std::optional<Platform::Log::Priority> priorityOf(std::string_view start) const;
    void clear();

private:
    std::vector<std::string> entries_;
    std::vector<Platform::Log::Priority> priorities_;
};

} // namespace TestSupport
