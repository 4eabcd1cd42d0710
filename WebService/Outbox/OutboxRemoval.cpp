#include "WebService/Outbox/OutboxRemoval.h"

#include "WebService/Common/Log.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <vector>

namespace webservice {

namespace {

constexpr std::size_t batchSize = 500;

/// Some of what is in the folder; nothing when it is empty or cannot be read.
std::vector<std::filesystem::path> someEntries(const std::filesystem::path& folder, std::error_code& error) {
    std::vector<std::filesystem::path> found;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        found.push_back(entry->path());
        if (found.size() == batchSize)
            break;
    }
    return found;
}

bool isFolder(const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::symlink_status(path, error).type() == std::filesystem::file_type::directory;
}

} // namespace

/// A folder in the folder is moved out of it before it is emptied in its turn, so that no path gets long, however
/// deeply the folders are nested.
Work<> removeAside(std::vector<std::filesystem::path> aside, IncomingFolder& incoming, std::string shown) {
    std::error_code error;
    while (!aside.empty() && !error) {
        const std::filesystem::path next = aside.back();
        const auto entries = isFolder(next) ? someEntries(next, error) : std::vector<std::filesystem::path>();
        if (entries.empty()) {
            std::filesystem::remove(next, error);
            aside.pop_back();
        }
        for (auto entry = entries.begin(); entry != entries.end() && !error; ++entry) {
            co_await pause();
            if (isFolder(*entry)) {
                aside.emplace_back(incoming.newPath());
                std::filesystem::rename(*entry, aside.back(), error);
            } else {
                std::filesystem::remove(*entry, error);
            }
        }
        co_await pause();
    }
    if (error)
        logLine("cannot remove all of " + shown + ": " + error.message());
}

Work<> removeFromOutbox(const OutboxTree& outbox, IncomingFolder& incoming, std::string relative) {
    std::vector<std::filesystem::path> aside;
    if (std::string path = incoming.newPath(); outbox.moveOut(relative, path))
        aside.emplace_back(std::move(path));
    co_await removeAside(std::move(aside), incoming, std::move(relative));
}

Work<> emptyOutbox(const OutboxTree& outbox, IncomingFolder& incoming, std::vector<std::filesystem::path> aside) {
    std::error_code error;
    for (std::filesystem::directory_iterator entry(outbox.path(), error), end; !error && entry != end;
         entry.increment(error)) {
        if (std::string path = incoming.newPath(); outbox.moveOut(entry->path().filename().native(), path))
            aside.emplace_back(std::move(path));
    }
    if (error)
        logLine("cannot read the outbox: " + error.message());
    co_await removeAside(std::move(aside), incoming, "what was reset");
}

} // namespace webservice
