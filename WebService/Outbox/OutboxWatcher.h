#pragma once

#include "WebService/Common/Work.h"
#include "WebService/Outbox/FolderWatches.h"
#include "WebService/Outbox/OutboxLedger.h"
#include "WebService/Outbox/OutboxRecorder.h"
#include "WebService/Outbox/OutboxTree.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace webservice {

/// Watches the outbox with inotify(7) and keeps the ledger up to date.
///
/// The OutboxRecorder decides when a file is finished. A file that a scan finds, at the start or in a folder that has
/// just appeared, is finished when no process has it open for writing; otherwise an event follows when the writer
/// closes it, which cannot be missed, since a folder is watched before it is scanned. Where the kernel allows no more
/// watches, the outbox is scanned every five seconds instead.
///
/// Much may happen in an outbox at once: a folder with many thousand files is moved in or out. It is processed in
/// slices, each in one transaction. When a transaction with a slice in it is rolled back, events have been read whose
/// records are gone: the outbox is scanned again.
class OutboxWatcher {
public:
    using Clock = OutboxRecorder::Clock;

    /// Watches and scans the whole outbox. Throws std::system_error where the system gives no inotify instance.
    OutboxWatcher(OutboxTree& tree, OutboxLedger& ledger, Database& db);
    OutboxWatcher(const OutboxWatcher&) = delete;
    OutboxWatcher& operator=(const OutboxWatcher&) = delete;
    ~OutboxWatcher();

    /// Readable when process() has something to do.
    int descriptor() const { return watches_.descriptor(); }

    /// Processes everything that has happened in the outbox up to now. Throws DatabaseBusy when another process has the
    /// database locked.
    void process();

    /// The same for the time of a slice: true when everything has been processed; false when there is more to do, or
    /// another process has the database locked.
    bool processSlice(Clock::duration slice);

    /// Checks the files again that could not be judged when they appeared. To be called about once a second.
    void recheck(Clock::time_point now);

    /// The same, to be done by the next calls of processSlice().
    void requestRecheck(Clock::time_point now) { recheckTime_ = now; }

    /// This process has put a folder or a finished file at the path: it is recorded at once, without its event.
    void added(const std::string& path);

private:
    bool run(Clock::duration slice);
    Work<> processAll();
    Work<> processEvents();
    Work<> processEvent(const inotify_event& event);
    Work<> folderEvent(std::string path, std::uint32_t mask);
    void fileEvent(const std::string& path, std::uint32_t mask);
    void reopen();
    Work<> scanFolder(std::string path);
    Work<> rescan();

    OutboxTree& tree_;
    OutboxLedger& ledger_;
    Database& db_;
    FolderWatches watches_;
    OutboxRecorder recorder_;
    /// In progress, while there is more to process.
    std::optional<Job<>> job_;
    bool needsRescan_ = false;
    /// The commits of the database before that of the last slice.
    std::optional<std::uint64_t> recordedAt_;
    bool recordsAreUndone_ = false;
    std::optional<Clock::time_point> recheckTime_;
    bool lacksWatches_ = false;
    Clock::time_point lastScan_;
};

} // namespace webservice
