#include "Support/LogCapture.h"

#include "Platform/Log.h"

#include <algorithm>

namespace TestSupport {

LogCapture::LogCapture() {
    Platform::Log::setSink([this](std::string_view entry) { entries_.emplace_back(entry); });
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

} // namespace TestSupport
