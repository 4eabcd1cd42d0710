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
Work<> removeFromOutbox(const OutboxTree& outbox, IncomingFolder& incoming, std::string relative) {
    std::vector<std::filesystem::path> waiting;
    if (std::string aside = incoming.newPath(); outbox.moveOut(relative, aside))
        waiting.emplace_back(std::move(aside));
    std::error_code error;
    while (!waiting.empty() && !error) {
        const std::filesystem::path next = waiting.back();
        const auto entries = isFolder(next) ? someEntries(next, error) : std::vector<std::filesystem::path>();
        if (entries.empty()) {
            std::filesystem::remove(next, error);
            waiting.pop_back();
        }
        for (auto entry = entries.begin(); entry != entries.end() && !error; ++entry) {
            co_await pause();
            if (isFolder(*entry)) {
                waiting.emplace_back(incoming.newPath());
                std::filesystem::rename(*entry, waiting.back(), error);
            } else {
                std::filesystem::remove(*entry, error);
            }
        }
        co_await pause();
    }
    if (error)
        logLine("cannot remove all of " + relative + ": " + error.message());
}

} // namespace webservice
