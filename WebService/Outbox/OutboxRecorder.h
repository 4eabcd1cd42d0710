#pragma once

#include "WebService/Common/FileIdentity.h"
#include "WebService/Common/Work.h"
#include "WebService/Outbox/OutboxLedger.h"
#include "WebService/Outbox/OutboxTree.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace webservice {

/// Records in the ledger the folders and files that appear in the outbox, change and disappear, a file once it is
/// finished: a writer has closed it or it was renamed into place, and no other writer has it open (see writersOf). What
/// cannot be an item is logged once. Paths are relative to the outbox.
///
/// Three kinds of file are checked again a second later, in recheckPending(): an empty one found by a scan (its maker
/// may be between making and opening it), one that appears without being closed (a link to a nameless or existing file,
/// mknod), and one whose writers the kernel does not tell (it counts as finished when it has not changed for three
/// seconds).
class OutboxRecorder {
public:
    using Clock = std::chrono::steady_clock;

    /// How a file was noticed.
    enum class Source { Closed, Created, Scanned };

    OutboxRecorder(const OutboxTree& tree, OutboxLedger& ledger) : tree_(tree), ledger_(ledger) {}

    /// A file has appeared, or may have been finished.
    void fileAppeared(const std::string& path, Source source);

    /// A writer has written to the file and not closed it yet.
    void fileModified(const std::string& path) { modified_.insert(path); }

    /// The attributes of a file have changed.
    void attributesChanged(const std::string& path);

    void fileRemoved(const std::string& path);

    /// A folder has appeared; the folders that it is in are recorded first. False when one of them cannot be an item.
    bool folderAppeared(std::string_view path);

    /// A folder was removed with everything in it.
    Work<> folderRemoved(std::string path);

    /// Checks the files again that could not be judged when they appeared.
    Work<> recheckPending(Clock::time_point now);

    /// Logs once, until the item is removed, that it is ignored.
    void logIgnored(const std::string& path, std::string_view reason);

private:
    struct Pending {
        std::optional<Clock::time_point> since;
        FileIdentity identity;
    };

    void recheck(const std::string& path, Clock::time_point now);
    void fileFinished(const std::string& path, const FileIdentity& identity);

    const OutboxTree& tree_;
    OutboxLedger& ledger_;
    std::unordered_map<std::string, Pending> pending_;
    /// Files that have been written to and not closed yet.
    std::unordered_set<std::string> modified_;
    std::unordered_set<std::string> logged_;
};

/// The computer and the path in its folder: "7" and "Docs/a.txt" for "7/Docs/a.txt".
std::pair<std::string_view, std::string_view> splitComputer(std::string_view path);

/// Whether the folder, or what is in it, can be an item.
bool canBeItem(std::string_view path);

} // namespace webservice
