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

void logArrival(const Attempt::Course& course) {
    Log::write("The item " + printable(course.item) + " is in place: " + std::to_string(course.bytes) + " bytes in " +
               secondsOf(Platform::RunLoop::main().now() - course.offered));
}

/// What is known of a failure besides its reason: the item, the HTTP status, and `detail`.
std::string circumstances(const Attempt::Course& course, const std::string& detail) {
    std::string text;
    const auto add = [&](const std::string& part) { text += (text.empty() ? " (" : ", ") + part; };
    if (course.hasItem)
        add(printable(course.item));
    if (course.httpStatus != 0)
        add("HTTP " + std::to_string(course.httpStatus));
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
        // One that was lost is reported as lost.
        return end.reason.empty() ? logArrival(attempt.course()) : void();
    default:
        return failed(attempt, end, next, isStalled);
    }
}

void AttemptLog::failed(const Attempt& attempt, const AttemptEnd& end, const std::string& next, bool isStalled) {
    const auto entryWith = [&](const std::string& detail) {
        return printable(reasonOf(end)) + circumstances(attempt.course(), detail) + "; " + next;
    };
    // What an error says tells times, too, that are never the same.
    std::string failure = entryWith("");
    const auto now = Platform::RunLoop::main().now();
    // Without a network nothing was tried, which is worth no second line however long it lasts.
    const bool isKnown = failure == last_ && (end.kind == Kind::NoNetwork || now - lastTime_ < repetition);
    if (isKnown && !isStalled)
        return;
    Log::write(entryWith(end.detail), isStalled ? Log::Priority::Error : Log::Priority::Warning);
    last_ = std::move(failure);
    lastTime_ = now;
}

} // namespace Quenmark
