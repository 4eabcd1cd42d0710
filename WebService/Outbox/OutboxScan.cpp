#include "WebService/Outbox/OutboxScan.h"

#include <dirent.h>
#include <fcntl.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <system_error>
#include <tuple>

namespace webservice {

std::string entryPath(const std::string& folder, std::string_view name) {
    return folder.empty() ? std::string(name) : (folder + '/').append(name);
}

Work<> OutboxScan::run(std::string top) {
    std::vector<std::string> pending = {std::move(top)};
    while (!pending.empty()) {
        const std::string folder = std::move(pending.back());
        pending.pop_back();
        if (watches_.add(folder)) {
            co_await list(folder, pending);
        } else if (errno != ENOENT && errno != ENOTDIR) {
            recorder_.logIgnored(folder, "it cannot be watched: " + std::generic_category().message(errno));
            lacksWatches_ = true;
            co_await list(folder, pending);
        }
    }
}

/// Lists what is in one folder, and adds the folders in it to `folders`.
Work<> OutboxScan::list(const std::string& folder, std::vector<std::string>& folders) {
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(::opendir(tree_.absolute(folder).c_str()), &::closedir);
    if (!stream && errno != ENOENT && errno != ENOTDIR && errno != EACCES)
        throwErrno("cannot read " + tree_.absolute(folder)); // what is in it is not gone
    while (const dirent* entry = stream ? ::readdir(stream.get()) : nullptr) {
        const std::string_view name = entry->d_name;
        struct stat status {};
        if (name == "." || name == ".." ||
            ::fstatat(::dirfd(stream.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        const bool isFolder = S_ISDIR(status.st_mode);
        entries_.push_back({entryPath(folder, name), isFolder,
                            std::int64_t{status.st_ctim.tv_sec} * 1'000'000'000 + status.st_ctim.tv_nsec});
        if (isFolder && canBeItem(entries_.back().path))
            folders.push_back(entries_.back().path);
        co_await pause();
    }
}

Work<> OutboxScan::record() {
    const auto arrival = [](const Entry& entry) { return std::tie(entry.changed, entry.path); };
    std::ranges::make_heap(entries_, std::ranges::greater(), arrival); // sorting could not be interrupted
    while (!entries_.empty()) {
        co_await pause();
        std::ranges::pop_heap(entries_, std::ranges::greater(), arrival);
        const Entry entry = std::move(entries_.back());
        entries_.pop_back();
        if (entry.isFolder)
            recorder_.folderAppeared(entry.path);
        else
            recorder_.fileAppeared(entry.path, OutboxRecorder::Source::Scanned);
    }
}

} // namespace webservice
