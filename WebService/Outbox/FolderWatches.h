#pragma once

#include "WebService/Common/Descriptor.h"
#include "WebService/Common/Work.h"
#include "WebService/Outbox/OutboxTree.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

struct inotify_event;

namespace webservice {

/// The inotify(7) watches of the folders of the outbox, by path and by watch descriptor. Paths are relative to the
/// outbox.
class FolderWatches {
public:
    /// Throws std::system_error where the system gives no inotify instance.
    explicit FolderWatches(const OutboxTree& tree);

    /// Readable when there are events.
    int descriptor() const { return inotify_.get(); }

    /// Reads the events that are pending, as many as fit into the buffer; none when there are none. They are valid
    /// until the next call.
    std::vector<const inotify_event*> read();

    /// The folder that an event is about; nil for a folder that has been moved away since.
    std::optional<std::string> folderOf(const inotify_event& event) const;

    /// Watches a folder; false (with errno) where that fails. A folder that was renamed keeps its watch.
    bool add(const std::string& path);

    /// The kernel has ended the watch, because its folder was removed.
    void ended(int watch);

    /// Ends the watches of a folder and of all folders below it.
    Work<> remove(std::string path);

    /// Ends all watches.
    void clear();

private:
    const OutboxTree& tree_;
    Descriptor inotify_;
    std::vector<char> buffer_ = std::vector<char>(65536);
    /// By watch.
    std::unordered_map<int, std::string> paths_;
    /// By path.
    std::map<std::string, int> watches_;
};

} // namespace webservice
