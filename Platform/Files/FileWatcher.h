#pragma once

#include <functional>
#include <memory>
#include <string>

namespace Platform {

/// What happened to an item of a watched folder.
struct FileEvent {
    enum class Kind {
        /// A folder was made or moved in; a file was moved in, or was made here and closed after writing. A file whose
        /// name starts with "." only counts when it is moved in: such names are usual for what is still being written.
        Arrived,
        /// A file's content changed.
        Changed,
        /// The item was removed or moved away.
        Left,
        /// Events were lost: the queue of events overflowed, or a folder cannot be watched. `path` is where.
        Missed,
    };
    Kind kind;
    std::string path;
    bool isDirectory = false;

    bool operator==(const FileEvent&) const = default;
};

/// Watches a folder with all the folders in it, at any depth (inotify(7)). The folder need not exist yet, and may be
/// removed and made again: once it appears, its content has arrived. The content of a folder that arrives has arrived
/// too, each item once and after its folder; what is made there after the folder was reported is reported in order.
/// Symbolic links in the folder are items and are not followed.
class FileWatcher {
public:
    using Handler = std::function<void(const FileEvent&)>;

    /// `folder` is an absolute path. The handler is called on the loop's thread, outside of any queue, and must not end
    /// the watcher. Throws std::system_error where the system gives no inotify instance.
    FileWatcher(std::string folder, Handler handler);
    FileWatcher(const FileWatcher&) = delete;
    FileWatcher& operator=(const FileWatcher&) = delete;
    ~FileWatcher();

private:
    class State;
    std::unique_ptr<State> state_;
};

} // namespace Platform
