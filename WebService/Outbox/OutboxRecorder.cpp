#include "WebService/Outbox/OutboxRecorder.h"

#include "WebService/Common/Log.h"
#include "WebService/Common/WireName.h"

#include <system_error>
#include <vector>

namespace webservice {

namespace {

using namespace std::chrono_literals;

constexpr auto settleTime = 1s;
constexpr auto quietTime = 3s;
constexpr std::string_view inexpressible = "its name cannot be expressed on the wire";

} // namespace

std::pair<std::string_view, std::string_view> splitComputer(std::string_view path) {
    const std::size_t end = path.find('/');
    return end == std::string_view::npos ? std::pair(path, std::string_view())
                                         : std::pair(path.substr(0, end), path.substr(end + 1));
}

bool canBeItem(std::string_view path) {
    const auto [computer, rest] = splitComputer(path);
    return isExpressible(computer) && (rest.empty() || wireName(rest));
}

void OutboxRecorder::fileAppeared(const std::string& path, Source source) {
    const auto status = tree_.status(path);
    if (!status)
        return; // removed again; the event of that follows
    const auto [computer, rest] = splitComputer(path);
    if (rest.empty())
        return logIgnored(path, "it is in no computer's folder");
    if (!S_ISREG(status->st_mode))
        return logIgnored(path, "it is neither a file nor a folder");
    if (!isExpressible(computer) || !wireName(rest))
        return logIgnored(path, inexpressible);
    const Descriptor file = tree_.open(path);
    if (!file)
        return logIgnored(path, "it cannot be read: " + std::generic_category().message(errno));
    const Writers writers = writersOf(file.get());
    if (writers == Writers::Some)
        return; // an event follows when it is closed
    const bool linked = source == Source::Created && status->st_nlink > 1;
    const bool complete = source == Source::Scanned && status->st_size > 0;
    if (source == Source::Closed || (writers == Writers::None && (linked || complete)))
        fileFinished(path, identityOf(*status));
    else
        pending_[path] = {.since = std::nullopt, .identity = identityOf(*status)};
}

void OutboxRecorder::fileFinished(const std::string& path, const FileIdentity& identity) {
    pending_.erase(path);
    const bool rewritten = modified_.erase(path) > 0;
    if (folderAppeared(path.substr(0, path.rfind('/')))) {
        const auto [computer, rest] = splitComputer(path);
        ledger_.addFile(computer, *wireName(rest), identity, rewritten);
    }
}

/// Many programs set a copy's time after they have closed it. That makes no new content of it, now or when the time is
/// compared after a restart. While a writer has the file open, its content is judged when it is closed.
void OutboxRecorder::attributesChanged(const std::string& path) {
    const auto [computer, rest] = splitComputer(path);
    const auto status = tree_.status(path);
    const auto name = wireName(rest);
    if (!status || !S_ISREG(status->st_mode) || !name || modified_.contains(path))
        return;
    if (!ledger_.updateTimes(computer, *name, identityOf(*status)))
        fileAppeared(path, Source::Created); // it may have become readable
}

void OutboxRecorder::fileRemoved(const std::string& path) {
    pending_.erase(path);
    modified_.erase(path);
    logged_.erase(path);
    const auto [computer, rest] = splitComputer(path);
    if (const auto name = wireName(rest))
        ledger_.removeItem(computer, *name);
}

bool OutboxRecorder::folderAppeared(std::string_view path) {
    if (!canBeItem(path)) {
        logIgnored(std::string(path), inexpressible);
        return false;
    }
    const auto [computer, rest] = splitComputer(path);
    if (rest.empty() || ledger_.hasFolder(computer, *wireName(rest)))
        return true;
    for (std::size_t end = 0; end != std::string_view::npos;) {
        end = rest.find('/', end + 1);
        ledger_.addFolder(computer, *wireName(rest.substr(0, end)));
    }
    return true;
}

Work<> OutboxRecorder::folderRemoved(std::string path) {
    logged_.erase(path);
    const auto [computer, rest] = splitComputer(path);
    if (rest.empty())
        co_await ledger_.removeComputer(path);
    else if (const auto name = wireName(rest))
        co_await ledger_.removeTree(std::string(computer), *name);
}

Work<> OutboxRecorder::recheckPending(Clock::time_point now) {
    std::vector<std::string> paths;
    paths.reserve(pending_.size());
    for (const auto& [path, state] : pending_)
        paths.push_back(path);
    for (const std::string& path : paths) {
        co_await pause();
        recheck(path, now);
    }
}

void OutboxRecorder::recheck(const std::string& path, Clock::time_point now) {
    const Descriptor file = tree_.open(path);
    struct stat status {};
    const bool exists = file && ::fstat(file.get(), &status) == 0;
    const Writers writers = exists ? writersOf(file.get()) : Writers::Unknown;
    if (!exists || writers == Writers::Some) {
        pending_.erase(path); // an event follows
        return;
    }
    const auto found = pending_.find(path);
    if (found == pending_.end())
        return; // it was recorded meanwhile
    Pending& state = found->second;
    const FileIdentity identity = identityOf(status);
    if (!state.since || identity != state.identity)
        state = {.since = now, .identity = identity};
    else if (now - *state.since >= (writers == Writers::None ? settleTime : quietTime))
        fileFinished(path, identity);
}

void OutboxRecorder::logIgnored(const std::string& path, std::string_view reason) {
    if (logged_.insert(path).second)
        logLine("ignored in the outbox: " + path + ": " + std::string(reason));
}

} // namespace webservice
