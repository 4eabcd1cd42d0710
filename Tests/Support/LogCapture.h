#pragma once

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
    void clear() { entries_.clear(); }

private:
    std::vector<std::string> entries_;
};

} // namespace TestSupport
