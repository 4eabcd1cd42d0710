#include "WebService/Outbox/OutboxWatcher.h"

#include "WebService/Common/Log.h"
#include "WebService/Common/WireName.h"
#include "WebService/Outbox/OutboxScan.h"

#include <sys/inotify.h>

#include <unordered_set>
#include <utility>

namespace webservice {

namespace {

using namespace std::chrono_literals;

constexpr auto scanInterval = 5s;

} // namespace

OutboxWatcher::OutboxWatcher(OutboxTree& tree, OutboxLedger& ledger, Database& db)
    : tree_(tree), ledger_(ledger), db_(db), watches_(tree), recorder_(tree, ledger) {
    Transaction transaction(db_);
    runToEnd(rescan());
    transaction.commit();
    db_.observeRollbacks([this] { recordsAreUndone_ = recordsAreUndone_ || recordedAt_ == db_.commits(); });
}

OutboxWatcher::~OutboxWatcher() {
    db_.observeRollbacks({});
}

void OutboxWatcher::process() {
    Transaction transaction(db_);
    while (!run(1h)) {
    }
    transaction.commit();
}

bool OutboxWatcher::processSlice(Clock::duration slice) {
    auto transaction = Transaction::ifUnlocked(db_);
    if (!transaction)
        return false;
    const bool isDone = run(slice);
    transaction->commit();
    return isDone;
}

bool OutboxWatcher::run(Clock::duration slice) {
    if (std::exchange(recordsAreUndone_, false)) {
        job_.reset(); // it may count on what it has recorded
        needsRescan_ = true;
    }
    recordedAt_ = db_.commits();
    if (!job_)
        job_.emplace(processAll());
    try {
        if (!job_->run(slice))
            return false;
        job_->take();
    } catch (...) {
        job_.reset();
        needsRescan_ = true; // events have been read and are lost
        throw;
    }
    job_.reset();
    return true;
}

Work<> OutboxWatcher::processAll() {
    co_await processEvents();
    if (!tree_.isCurrent())
        reopen();
    if (needsRescan_)
        co_await rescan();
    if (recheckTime_) {
        const auto now = *recheckTime_;
        recheckTime_.reset();
        if (lacksWatches_ && now - lastScan_ >= scanInterval)
            co_await rescan();
        co_await recorder_.recheckPending(now);
    }
}

Work<> OutboxWatcher::processEvents() {
    for (auto events = watches_.read(); !events.empty(); events = watches_.read()) {
        for (const inotify_event* event : events) {
            co_await pause();
            co_await processEvent(*event);
        }
    }
}

Work<> OutboxWatcher::processEvent(const inotify_event& event) {
    if ((event.mask & IN_Q_OVERFLOW) != 0) {
        logLine("the queue of inotify has overflowed; scanning the whole outbox");
        needsRescan_ = true;
        co_return;
    }
    const auto folder = watches_.folderOf(event);
    if (!folder)
        co_return;
    if ((event.mask & IN_IGNORED) != 0) {
        watches_.ended(event.wd);
    } else if (event.len > 0) {
        const std::string path = entryPath(*folder, event.name);
        if ((event.mask & IN_ISDIR) != 0)
            co_await folderEvent(path, event.mask);
        else
            fileEvent(path, event.mask);
    }
}

Work<> OutboxWatcher::folderEvent(std::string path, std::uint32_t mask) {
    if ((mask & (IN_CREATE | IN_MOVED_TO)) != 0) {
        if (recorder_.folderAppeared(path))
            co_await scanFolder(path);
    } else if ((mask & (IN_DELETE | IN_MOVED_FROM)) != 0) {
        co_await watches_.remove(path);
        co_await recorder_.folderRemoved(path);
    }
}

void OutboxWatcher::fileEvent(const std::string& path, std::uint32_t mask) {
    if ((mask & (IN_DELETE | IN_MOVED_FROM)) != 0)
        recorder_.fileRemoved(path);
    else if ((mask & (IN_CLOSE_WRITE | IN_MOVED_TO)) != 0)
        recorder_.fileAppeared(path, OutboxRecorder::Source::Closed);
    else if ((mask & IN_MODIFY) != 0)
        recorder_.fileModified(path);
    else if ((mask & IN_ATTRIB) != 0)
        recorder_.attributesChanged(path);
    else if ((mask & IN_CREATE) != 0)
        recorder_.fileAppeared(path, OutboxRecorder::Source::Created);
}

Work<> OutboxWatcher::scanFolder(std::string path) {
    OutboxScan scan(tree_, watches_, recorder_);
    co_await scan.run(path);
    lacksWatches_ = lacksWatches_ || scan.lacksWatches();
    co_await scan.record();
}

/// The folder of the outbox is another one than before.
void OutboxWatcher::reopen() {
    tree_.renew();
    logLine("the outbox was removed or renamed; using a new one");
    watches_.clear();
    needsRescan_ = true;
}

/// Scans the whole outbox, for what is there and for what is not there any more.
Work<> OutboxWatcher::rescan() {
    lastScan_ = Clock::now();
    tree_.renew();
    if (!watches_.add(""))
        throwErrno("cannot watch " + tree_.path());
    OutboxScan scan(tree_, watches_, recorder_);
    co_await scan.run("");
    lacksWatches_ = scan.lacksWatches();
    std::unordered_set<std::string> present;
    for (const OutboxScan::Entry& entry : scan.entries()) {
        co_await pause();
        const auto [computer, rest] = splitComputer(entry.path);
        if (const auto name = wireName(rest))
            present.insert(OutboxLedger::key(computer, *name));
    }
    co_await ledger_.retainOnly(present);
    co_await scan.record();
    needsRescan_ = false;
}

void OutboxWatcher::added(const std::string& path) {
    const auto status = tree_.status(path);
    if (status && S_ISDIR(status->st_mode))
        recorder_.folderAppeared(path);
    else
        recorder_.fileAppeared(path, OutboxRecorder::Source::Closed);
}

void OutboxWatcher::recheck(Clock::time_point now) {
    requestRecheck(now);
    process();
}

} // namespace webservice
