#pragma once

#include "WebService/Common/Work.h"
#include "WebService/Outbox/FolderWatches.h"
#include "WebService/Outbox/OutboxRecorder.h"
#include "WebService/Outbox/OutboxTree.h"

#include <cstdint>
#include <string>
#include <vector>

namespace webservice {

/// Lists what is in a folder of the outbox and below it, and watches these folders. A folder is watched before it is
/// read, so that an event reports everything that appears later.
class OutboxScan {
public:
    struct Entry {
        std::string path;
        bool isFolder = false;
        /// The last change of its status, in nanoseconds: the order of arrival.
        std::int64_t changed = 0;
    };

    OutboxScan(const OutboxTree& tree, FolderWatches& watches, OutboxRecorder& recorder)
        : tree_(tree), watches_(watches), recorder_(recorder) {}

    Work<> run(std::string top);

    /// Records what was found, in the order of arrival.
    Work<> record();

    const std::vector<Entry>& entries() const { return entries_; }

    /// Whether a folder could not be watched, as where the kernel's limit of watches is reached.
    bool lacksWatches() const { return lacksWatches_; }

private:
    Work<> list(const std::string& folder, std::vector<std::string>& folders);

    const OutboxTree& tree_;
    FolderWatches& watches_;
    OutboxRecorder& recorder_;
    std::vector<Entry> entries_;
    bool lacksWatches_ = false;
};

/// The path of an entry of a folder; the folder is empty for the outbox itself.
std::string entryPath(const std::string& folder, std::string_view name);

} // namespace webservice
