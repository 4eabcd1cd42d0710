#include "WebService/Outbox/FolderWatches.h"

#include <sys/inotify.h>
#include <unistd.h>

namespace webservice {

namespace {

constexpr std::uint32_t watchedEvents = IN_CREATE | IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_MOVED_TO |
                                        IN_MOVED_FROM | IN_DELETE | IN_ONLYDIR | IN_DONT_FOLLOW | IN_EXCL_UNLINK;

} // namespace

FolderWatches::FolderWatches(const OutboxTree& tree)
    : tree_(tree), inotify_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (!inotify_)
        throwErrno("cannot watch the outbox");
}

std::vector<const inotify_event*> FolderWatches::read() {
    std::vector<const inotify_event*> events;
    const ssize_t length = ::read(inotify_.get(), buffer_.data(), buffer_.size());
    for (ssize_t at = 0; at < length;) {
        events.push_back(reinterpret_cast<const inotify_event*>(buffer_.data() + at));
        at += static_cast<ssize_t>(sizeof(inotify_event) + events.back()->len);
    }
    return events;
}

std::optional<std::string> FolderWatches::folderOf(const inotify_event& event) const {
    const auto folder = paths_.find(event.wd);
    return folder == paths_.end() ? std::nullopt : std::optional(folder->second);
}

bool FolderWatches::add(const std::string& path) {
    const int watch = ::inotify_add_watch(inotify_.get(), tree_.absolute(path).c_str(), watchedEvents);
    if (watch < 0)
        return false;
    if (const auto before = paths_.find(watch); before != paths_.end() && before->second != path)
        watches_.erase(before->second);
    paths_[watch] = path;
    watches_[path] = watch;
    return true;
}

void FolderWatches::ended(int watch) {
    const auto folder = paths_.find(watch);
    const auto watched = watches_.find(folder->second);
    if (watched != watches_.end() && watched->second == watch)
        watches_.erase(watched);
    paths_.erase(folder);
}

Work<> FolderWatches::remove(std::string path) {
    const std::string below = path + '/';
    for (auto next = watches_.lower_bound(path); next != watches_.end() && next->first.starts_with(path);) {
        if (next->first != path && !next->first.starts_with(below)) {
            ++next;
            continue;
        }
        ::inotify_rm_watch(inotify_.get(), next->second);
        paths_.erase(next->second);
        next = watches_.erase(next);
        co_await pause();
    }
}

void FolderWatches::clear() {
    for (const auto& [watch, path] : paths_)
        ::inotify_rm_watch(inotify_.get(), watch);
    paths_.clear();
    watches_.clear();
}

} // namespace webservice
