#include "Support/LogCapture.h"

#include <algorithm>

namespace TestSupport {

LogCapture::LogCapture() {
    Platform::Log::setSink([this](std::string_view entry, Platform::Log::Priority priority) {
        entries_.emplace_back(entry);
        priorities_.push_back(priority);
    });
}

LogCapture::~LogCapture() {
    Platform::Log::setSink({});
}

bool LogCapture::contains(std::string_view entry) const {
    return count(entry) > 0;
}

std::size_t LogCapture::count(std::string_view entry) const {
    return static_cast<std::size_t>(std::count(entries_.begin(), entries_.end(), entry));
}

std::optional<Platform::Log::Priority> LogCapture::priorityOf(std::string_view start) const {
    for (std::size_t index = 0; index < entries_.size(); ++index) {
        if (entries_[index].starts_with(start))
            return priorities_[index];
    }
    return std::nullopt;
}

void LogCapture::clear() {
    entries_.clear();
    priorities_.clear();
}

} // namespace TestSupport
