#include "Platform/Files/FileWatcher.h"

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Files/Files.h"
#include "Platform/Files/Posix.h"
#include "Platform/Loop/RunLoop.h"

#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>
#include <variant>
#include <vector>

namespace Platform {

namespace {

constexpr std::uint32_t eventsOfTree = IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_MODIFY | IN_CLOSE_WRITE;
constexpr std::uint32_t eventsOfAncestor = IN_CREATE | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF;
constexpr std::size_t bufferSize = std::size_t{64} << 10;

bool isRealDirectory(const std::string& path) {
    struct stat status {};
    return ::lstat(Posix::named(path), &status) == 0 && S_ISDIR(status.st_mode);
}

bool isHidden(std::string_view path) {
    return Files::lastPathComponent(path).starts_with('.');
}

bool isInside(std::string_view path, std::string_view folder) {
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

} // namespace

class FileWatcher::State {
public:
    State(std::string folder, Handler handler) : root_(std::move(folder)), handler_(std::move(handler)) {
        while (root_.size() > 1 && root_.ends_with('/'))
            root_.pop_back();
        inotify_.reset(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
        if (!inotify_)
            throw std::system_error(errno, std::generic_category(), "inotify_init1");
        attach(false);
        watch_ = RunLoop::main().watch(inotify_.get(), EPOLLIN, [this](auto) { readEvents(); });
    }

private:
    /// The entries of a folder, and the position in the event stream up to which they may have pending events.
    struct Listing {
        std::vector<std::string> names;
        std::uint64_t position = 0;
    };

    /// Watches the tree, or, where the folder is not there, the nearest folder above it.
    void attach(bool report) {
        while (true) {
            const std::string nearest = nearestFolder();
            const bool isRoot = nearest == root_;
            if (!addWatch(nearest, isRoot ? eventsOfTree | IN_DELETE_SELF | IN_MOVE_SELF : eventsOfAncestor)) {
                if (errno == ENOENT || errno == ENOTDIR)
                    continue;
                return handler_({FileEvent::Kind::Missed, root_, true});
            }
            attached_ = isRoot;
            if (isRoot)
                return takeContents(root_, list(root_), report);
            // What was made before the watch was set has caused no event.
            if (nearestFolder() == nearest)
                return;
            detach();
            report = true;
        }
    }

    std::string nearestFolder() const {
        std::string path = root_;
        while (path.size() > 1 && !Files::isDirectory(path))
            path = Files::deletingLastPathComponent(path);
        return path;
    }

    void detach() {
        for (const auto& [watch, path] : folders_)
            ::inotify_rm_watch(inotify_.get(), watch);
        folders_.clear();
        beingWritten_.clear();
        attached_ = false;
    }

    bool addWatch(const std::string& path, std::uint32_t events) {
        const int watch = ::inotify_add_watch(inotify_.get(), Posix::named(path), events | IN_ONLYDIR);
        if (watch < 0)
            return false;
        folders_[watch] = path;
        return true;
    }

    /// Watches the subfolders of a watched folder; with `report`, reports every entry but hidden files as arrived.
    void takeContents(const std::string& folder, const Listing& found, bool report) {
        for (const auto& name : found.names) {
            const std::string path = Files::appendingPathComponent(folder, name);
            const bool isDirectory = isRealDirectory(path);
            const bool counts = report && (isDirectory || !isHidden(path));
            if (counts && found.position > position_)
                alreadyFound_[path] = lastFound_ = found.position;
            if (isDirectory)
                takeFolder(path, report);
            else if (counts)
                handler_({FileEvent::Kind::Arrived, path, false});
        }
    }

    /// Watches a folder with those in it. It is listed before it is reported: what an observer makes in it after
    /// the report comes later, by an event of its own.
    void takeFolder(const std::string& path, bool report) {
        const bool isWatched = addWatch(path, eventsOfTree | IN_DONT_FOLLOW);
        const bool isMissed = !isWatched && errno != ENOENT && errno != ENOTDIR;
        const Listing found = isWatched ? list(path) : Listing();
        if (report)
            handler_({FileEvent::Kind::Arrived, path, true});
        if (isMissed)
            handler_({FileEvent::Kind::Missed, path, true});
        takeContents(path, found, report);
    }

    Listing list(const std::string& folder) const {
        auto contents = Files::contentsOfDirectory(folder);
        auto* names = std::get_if<std::vector<std::string>>(&contents);
        return {names != nullptr ? std::move(*names) : std::vector<std::string>(), position_ + unreadBytes()};
    }

    /// The events that the system holds, and those of the buffer that come after the current one.
    std::size_t unreadBytes() const {
        int waiting = 0;
        ::ioctl(inotify_.get(), FIONREAD, &waiting);
        return static_cast<std::size_t>(waiting) + bytesAfterCurrent_;
    }

    void readEvents() {
        alignas(inotify_event) std::array<char, bufferSize> buffer{};
        const auto size = ::read(inotify_.get(), buffer.data(), buffer.size());
        bytesAfterCurrent_ = size > 0 ? static_cast<std::size_t>(size) : 0;
        for (std::size_t at = 0; bytesAfterCurrent_ > 0;) {
            inotify_event event{};
            std::memcpy(&event, &buffer[at], sizeof event);
            const char* name = &buffer[at + sizeof event];
            const std::size_t length = sizeof event + event.len;
            at += length;
            bytesAfterCurrent_ -= length;
            position_ += length;
            handleEvent(event, event.len > 0 ? std::string(name, ::strnlen(name, event.len)) : std::string());
            if (position_ >= lastFound_)
                alreadyFound_.clear();
        }
    }

    void handleEvent(const inotify_event& event, const std::string& name) {
        if ((event.mask & IN_Q_OVERFLOW) != 0) {
            detach();
            attach(false);
            return handler_({FileEvent::Kind::Missed, root_, true});
        }
        const auto found = folders_.find(event.wd);
        if (found == folders_.end())
            return;
        const std::string folder = found->second;
        if ((event.mask & IN_IGNORED) != 0)
            folders_.erase(found);
        if (!attached_ || (folder == root_ && (event.mask & (IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF)) != 0)) {
            detach();
            return attach(true);
        }
        if (!name.empty())
            itemChanged(event.mask, Files::appendingPathComponent(folder, name));
    }

    void itemChanged(std::uint32_t mask, const std::string& path) {
        const bool isDirectory = (mask & IN_ISDIR) != 0;
        if ((mask & (IN_MOVED_FROM | IN_DELETE)) != 0)
            return itemLeft(path, isDirectory);
        if ((mask & (IN_CREATE | IN_MOVED_TO)) != 0 && wasFound(path))
            return;
        if ((mask & IN_MODIFY) != 0)
            return handler_({FileEvent::Kind::Changed, path, isDirectory});
        if ((mask & IN_CREATE) != 0 && !isDirectory) {
            beingWritten_.insert(path);
            return;
        }
        if ((mask & IN_CLOSE_WRITE) != 0 && (beingWritten_.erase(path) == 0 || isHidden(path)))
            return;
        if (isDirectory)
            takeFolder(path, true);
        else
            handler_({FileEvent::Kind::Arrived, path, false});
    }

    /// Whether the current event is of an item that has been found and reported since.
    bool wasFound(const std::string& path) const {
        const auto found = alreadyFound_.find(path);
        return found != alreadyFound_.end() && position_ <= found->second;
    }

    void itemLeft(const std::string& path, bool isDirectory) {
        beingWritten_.erase(path);
        alreadyFound_.erase(path);
        // A folder that was moved away is still watched, under a path that is no longer its own.
        for (auto folder = folders_.begin(); isDirectory && folder != folders_.end();) {
            const auto next = std::next(folder);
            if (isInside(folder->second, path)) {
                ::inotify_rm_watch(inotify_.get(), folder->first);
                folders_.erase(folder);
            }
            folder = next;
        }
        handler_({FileEvent::Kind::Left, path, isDirectory});
    }

    std::string root_;
    Handler handler_;
    FileDescriptor inotify_;
    std::unique_ptr<DescriptorWatch> watch_;
    /// Whether the tree is watched, and not a folder above it.
    bool attached_ = false;
    std::map<int, std::string> folders_;
    std::set<std::string> beingWritten_;
    /// How many bytes of events were processed.
    std::uint64_t position_ = 0;
    /// Items found by listing, with the position up to which events for them are duplicates.
    std::map<std::string, std::uint64_t> alreadyFound_;
    std::uint64_t lastFound_ = 0;
    std::size_t bytesAfterCurrent_ = 0;
};

FileWatcher::FileWatcher(std::string folder, Handler handler)
    : state_(std::make_unique<State>(std::move(folder), std::move(handler))) {}

FileWatcher::~FileWatcher() = default;

} // namespace Platform
