#pragma once

#include "WebService/Descriptor.h"
#include "WebService/OutboxLedger.h"
#include "WebService/OutboxTree.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

struct inotify_event;

namespace webservice {

// Follows the outbox with inotify(7) and keeps the ledger true to it.
//
// A file is told to the ledger when it is finished: when a writer closes it or it is renamed into place, and no other
// writer has it open (see writersOf). A file that a scan finds, at the start or in a folder that has just appeared, is
// finished when nobody has it open for writing; otherwise the writer's closing is waited for, which cannot be missed,
// since a folder is watched before it is scanned. Three kinds of file are looked at again a second later, in
// settle(): an empty one found by a scan (its maker may be between making and opening it), one that appears without
// being closed (a link to a nameless or existing file, mknod), and one whose writers the kernel does not tell (it is
// taken as finished when it has not changed for three seconds). Where the kernel allows no more watches, the outbox is
// looked through every five seconds instead.
class OutboxWatcher {
public:
    using Clock = std::chrono::steady_clock;

    // Watches and scans the whole outbox. Throws std::system_error when inotify is not to be had.
    OutboxWatcher(OutboxTree& tree, OutboxLedger& ledger, Database& db);

    // Readable when drain() has something to do.
    int descriptor() const { return inotify_.get(); }

    // Takes in everything that has happened in the outbox up to now; never waits.
    void drain();

    // Looks again at the files that could not be judged when they appeared. To be called about once a second.
    void settle(Clock::time_point now);

private:
    enum class Seen { Closed, Created, Scanned };
    struct Unsettled {
        std::optional<Clock::time_point> since;
        FileIdentity identity;
    };
    struct Found {
        std::string path;
        bool isFolder;
        std::int64_t changed; // its status's last change, nanoseconds: the order of arrival
    };

    void takeEvents();
    void handle(const inotify_event& event, std::string_view name);
    void handleFile(const std::string& path, std::uint32_t mask);
    void touched(const std::string& path);
    void rescan();

    bool watch(const std::string& path);
    void unwatch(const std::string& path);
    void folderAppeared(const std::string& path);
    void collect(const std::string& folder, std::vector<Found>& found);
    void take(std::vector<Found>& found);

    void consider(const std::string& path, Seen how);
    void settleFile(const std::string& path, Clock::time_point now);
    void finished(const std::string& path, const FileIdentity& identity);
    bool tellFolders(std::string_view path);
    void gone(const std::string& path);

    void complainOnce(const std::string& path, std::string_view why);

    OutboxTree& tree_;
    OutboxLedger& ledger_;
    Database& db_;
    Descriptor inotify_;
    std::vector<char> events_ = std::vector<char>(65536);
    bool rescanWanted_ = false;
    bool watchMissing_ = false; // the kernel's limit of watches was reached
    Clock::time_point lastScan_;
    std::unordered_map<int, std::string> folders_; // by watch
    std::map<std::string, int> watches_;           // by path
    std::unordered_map<std::string, Unsettled> unsettled_;
    std::unordered_set<std::string> modified_; // written to and not closed yet
    std::unordered_set<std::string> complained_;
};

} // namespace webservice
