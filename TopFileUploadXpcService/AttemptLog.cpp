#include "TopFileUploadXpcService/AttemptLog.h"

#include "Platform/Log.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Printable.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <utility>

namespace Quenmark {

namespace Log = Platform::Log;
using Platform::printable;
using Kind = AttemptEnd::Kind;

namespace {

/// How long a failure that repeats itself is not logged again.
constexpr std::chrono::minutes repetition{1};

/// A duration in seconds, to a tenth.
std::string secondsOf(Platform::Duration duration) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f s", std::chrono::duration<double>(duration).count());
    return text.data();
}

void logArrival(const Attempt::Progress& progress) {
    Log::write("The item " + printable(progress.item) + " is in place: " + std::to_string(progress.bytes) +
               " bytes in " + secondsOf(Platform::RunLoop::main().now() - progress.offered));
}

/// What is known of a failure besides its reason: the item, the HTTP status, and `detail`.
std::string circumstances(const Attempt::Progress& progress, const std::string& detail) {
    std::string text;
    const auto add = [&](const std::string& part) { text += (text.empty() ? " (" : ", ") + part; };
    if (progress.hasItem)
        add(printable(progress.item));
    if (progress.httpStatus != 0)
        add("HTTP " + std::to_string(progress.httpStatus));
    if (!detail.empty())
        add(printable(detail));
    return text.empty() ? "" : text + ")";
}

} // namespace

void AttemptLog::ended(const Attempt& attempt, const AttemptEnd& end, const std::string& next, bool isStalled) {
    switch (end.kind) {
    case Kind::NoItem:
        return last_.clear();
    case Kind::NotConfigured: // Reported with the settings.
        return;
    case Kind::Acknowledged:
        last_.clear();
        // An item that was not placed has its own log entry.
        return end.reason.empty() ? logArrival(attempt.progress()) : void();
    default:
        return failed(attempt, end, next, isStalled);
    }
}

void AttemptLog::failed(const Attempt& attempt, const AttemptEnd& end, const std::string& next, bool isStalled) {
    const auto entryWith = [&](const std::string& detail) {
        return printable(reasonOf(end)) + circumstances(attempt.progress(), detail) + "; " + next;
    };
    // Compare without the error text, which may contain durations.
    std::string failure = entryWith("");
    const auto now = Platform::RunLoop::main().now();
    // A missing network is logged once, however long it lasts.
    const bool isKnown = failure == last_ && (end.kind == Kind::NoNetwork || now - lastTime_ < repetition);
    if (isKnown && !isStalled)
        return;
    Log::write(entryWith(end.detail), isStalled ? Log::Priority::Error : Log::Priority::Warning);
    last_ = std::move(failure);
    lastTime_ = now;
}

} // namespace Quenmark
