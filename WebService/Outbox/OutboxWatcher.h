#pragma once

#include "WebService/Common/Descriptor.h"
#include "WebService/Common/Work.h"
#include "WebService/Outbox/OutboxLedger.h"
#include "WebService/Outbox/OutboxTree.h"

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

/// Follows the outbox with inotify(7) and keeps the ledger true to it.
///
/// A file is told to the ledger when it is finished: when a writer closes it or it is renamed into place, and no other
/// writer has it open (see writersOf). A file that a scan finds, at the start or in a folder that has just appeared, is
/// finished when nobody has it open for writing; otherwise the writer's closing is waited for, which cannot be missed,
/// since a folder is watched before it is scanned. Three kinds of file are looked at again a second later, in
/// settle(): an empty one found by a scan (its maker may be between making and opening it), one that appears without
/// being closed (a link to a nameless or existing file, mknod), and one whose writers the kernel does not tell (it is
/// taken as finished when it has not changed for three seconds). Where the kernel allows no more watches, the outbox is
/// looked through every five seconds instead.
///
/// Much may happen in an outbox at once: a folder with many thousand files is moved in or out. It is taken in by
/// slices, each in one transaction.
class OutboxWatcher {
public:
    using Clock = std::chrono::steady_clock;

    /// Watches and scans the whole outbox. Throws std::system_error when inotify is not to be had.
    OutboxWatcher(OutboxTree& tree, OutboxLedger& ledger, Database& db);

    /// Readable when drain() has something to do.
    int descriptor() const { return inotify_.get(); }

    /// Takes in everything that has happened in the outbox up to now. Throws DatabaseBusy when another process has the
    /// database locked.
    void drain();

    /// The same, a slice of it: true when everything has been taken in; false when there is more to do, or another
    /// process has the database locked.
    bool drainSome(Clock::duration slice);

    /// Looks again at the files that could not be judged when they appeared. To be called about once a second.
    void settle(Clock::time_point now);

    /// The same, to be done by the next calls of drainSome().
    void settleSoon(Clock::time_point now) { settleWanted_ = now; }

    /// This process has put a folder or a finished file at the path. It is taken in at once, without its event.
    void placed(const std::string& path);

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

    bool run(Clock::duration slice);
    Work<> catchUp();
    Work<> takeEvents();
    Work<> handleFolder(std::string path, std::uint32_t mask);
    void handleFile(const std::string& path, std::uint32_t mask);
    void watchEnded(int watch);
    void touched(const std::string& path);
    void startAnew();
    Work<> rescan();
    Work<> settleAll(Clock::time_point now);

    bool watch(const std::string& path);
    Work<> unwatch(const std::string& path);
    Work<> collect(std::string top, std::vector<Found>& found);
    Work<> collectFolder(const std::string& folder, std::vector<Found>& found, std::vector<std::string>& folders);
    Work<> take(std::vector<Found> found);

    void consider(const std::string& path, Seen how);
    void settleFile(const std::string& path, Clock::time_point now);
    void finished(const std::string& path, const FileIdentity& identity);
    bool tellFolders(std::string_view path);
    Work<> folderGone(std::string path);
    void fileGone(const std::string& path);

    void complainOnce(const std::string& path, std::string_view why);

    OutboxTree& tree_;
    OutboxLedger& ledger_;
    Database& db_;
    Descriptor inotify_;
    std::vector<char> events_ = std::vector<char>(65536);
    std::optional<Job<>> job_; // under way, while there is more to take in
    bool rescanWanted_ = false;
    std::optional<Clock::time_point> settleWanted_;
    bool watchMissing_ = false; // the kernel's limit of watches was reached
    Clock::time_point lastScan_;
    std::unordered_map<int, std::string> folders_; // by watch
    std::map<std::string, int> watches_;           // by path
    std::unordered_map<std::string, Unsettled> unsettled_;
    std::unordered_set<std::string> modified_; // written to and not closed yet
    std::unordered_set<std::string> complained_;
};

} // namespace webservice
