#include "WebService/Outbox/OutboxWatcher.h"

#include "WebService/Common/Log.h"
#include "WebService/Common/WireName.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/inotify.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <tuple>
#include <unordered_set>

namespace webservice {

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t interesting = IN_CREATE | IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM |
                                      IN_DELETE | IN_ONLYDIR | IN_DONT_FOLLOW | IN_EXCL_UNLINK;

constexpr auto settlingTime = 1s;
constexpr auto quietTime = 3s;
constexpr auto scanInterval = 5s;

std::string joined(const std::string& folder, std::string_view name) {
    return folder.empty() ? std::string(name) : (folder + '/').append(name);
}

/// "7/Docs/a.txt" is the computer "7" and the path "Docs/a.txt" in its folder.
std::pair<std::string_view, std::string_view> splitComputer(std::string_view path) {
    const std::size_t end = path.find('/');
    return end == std::string_view::npos ? std::pair(path, std::string_view())
                                         : std::pair(path.substr(0, end), path.substr(end + 1));
}

/// Whether the folder, or what is in it, can be told on the wire.
bool isTellable(std::string_view path) {
    const auto [computer, rest] = splitComputer(path);
    return isExpressible(computer) && (rest.empty() || wireName(rest));
}

} // namespace

OutboxWatcher::OutboxWatcher(OutboxTree& tree, OutboxLedger& ledger, Database& db)
    : tree_(tree), ledger_(ledger), db_(db), inotify_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (!inotify_)
        throwErrno("cannot watch the outbox");
    Transaction transaction(db_);
    runToEnd(rescan());
    transaction.commit();
}

void OutboxWatcher::drain() {
    Transaction transaction(db_);
    while (!run(1h)) {
    }
    transaction.commit();
}

bool OutboxWatcher::drainSome(Clock::duration slice) {
    auto transaction = Transaction::ifUnlocked(db_);
    if (!transaction)
        return false;
    const bool isDone = run(slice);
    transaction->commit();
    return isDone;
}

bool OutboxWatcher::run(Clock::duration slice) {
    if (!job_)
        job_.emplace(catchUp());
    try {
        if (!job_->run(slice))
            return false;
        job_->take();
    } catch (...) {
        job_.reset();
        rescanWanted_ = true; // events have been read and are lost
        throw;
    }
    job_.reset();
    return true;
}

Work<> OutboxWatcher::catchUp() {
    co_await takeEvents();
    if (!tree_.isCurrent())
        startAnew();
    if (rescanWanted_)
        co_await rescan();
    if (settleWanted_) {
        const auto now = *settleWanted_;
        settleWanted_.reset();
        co_await settleAll(now);
    }
}

Work<> OutboxWatcher::takeEvents() {
    while (true) {
        const ssize_t length = ::read(inotify_.get(), events_.data(), events_.size());
        if (length <= 0)
            co_return;
        for (std::size_t at = 0; at < static_cast<std::size_t>(length);) {
            const auto* event = reinterpret_cast<const inotify_event*>(events_.data() + at);
            at += sizeof(inotify_event) + event->len;
            co_await pause();
            if ((event->mask & IN_Q_OVERFLOW) != 0) {
                logLine("more happened in the outbox than inotify could tell; looking through all of it");
                rescanWanted_ = true;
                continue;
            }
            const auto folder = folders_.find(event->wd);
            if (folder == folders_.end())
                continue; // an event of a folder that has moved away since
            if ((event->mask & IN_IGNORED) != 0) {
                watchEnded(event->wd);
            } else if (event->len > 0) {
                const std::string path = joined(folder->second, event->name);
                if ((event->mask & IN_ISDIR) != 0)
                    co_await handleFolder(path, event->mask);
                else
                    handleFile(path, event->mask);
            }
        }
    }
}

void OutboxWatcher::watchEnded(int watch) {
    const auto folder = folders_.find(watch);
    const auto watched = watches_.find(folder->second);
    if (watched != watches_.end() && watched->second == watch)
        watches_.erase(watched);
    folders_.erase(folder);
}

Work<> OutboxWatcher::handleFolder(std::string path, std::uint32_t mask) {
    if ((mask & (IN_CREATE | IN_MOVED_TO)) != 0) {
        if (tellFolders(path)) {
            std::vector<Found> found;
            co_await collect(path, found);
            co_await take(std::move(found));
        }
    } else if ((mask & (IN_DELETE | IN_MOVED_FROM)) != 0) {
        co_await unwatch(path);
        co_await folderGone(path);
    }
}

void OutboxWatcher::handleFile(const std::string& path, std::uint32_t mask) {
    if ((mask & (IN_DELETE | IN_MOVED_FROM)) != 0) {
        unsettled_.erase(path);
        modified_.erase(path);
        fileGone(path);
    } else if ((mask & (IN_CLOSE_WRITE | IN_MOVED_TO)) != 0) {
        consider(path, Seen::Closed);
    } else if ((mask & IN_MODIFY) != 0) {
        modified_.insert(path);
    } else if ((mask & IN_ATTRIB) != 0) {
        touched(path);
    } else if ((mask & IN_CREATE) != 0) {
        consider(path, Seen::Created);
    }
}

/// Many programs set a copy's time after they have closed it. That makes no new content of it, now or when the time is
/// compared after a restart. While somebody writes, the closing tells what has become of the file.
void OutboxWatcher::touched(const std::string& path) {
    const auto [computer, rest] = splitComputer(path);
    const auto status = tree_.status(path);
    const auto name = wireName(rest);
    if (!status || !S_ISREG(status->st_mode) || !name || modified_.contains(path))
        return;
    if (!ledger_.touched(computer, *name, identityOf(*status)))
        consider(path, Seen::Created); // perhaps it can be read now
}

/// The folder of the outbox is another one than before.
void OutboxWatcher::startAnew() {
    tree_.renew();
    logLine("the outbox was removed or renamed; going on with a new one");
    for (const auto& [watch, path] : folders_)
        ::inotify_rm_watch(inotify_.get(), watch);
    folders_.clear();
    watches_.clear();
    rescanWanted_ = true;
}

/// Looks through the whole outbox, for what is there and for what is not there any more.
Work<> OutboxWatcher::rescan() {
    watchMissing_ = false;
    lastScan_ = Clock::now();
    tree_.renew();
    if (!watch(""))
        throwErrno("cannot watch " + tree_.path());
    std::vector<Found> found;
    co_await collect("", found);
    std::unordered_set<std::string> present;
    for (const Found& item : found) {
        co_await pause();
        const auto [computer, rest] = splitComputer(item.path);
        if (const auto name = wireName(rest))
            present.insert(OutboxLedger::key(computer, *name));
    }
    co_await ledger_.keepOnly(present);
    co_await take(std::move(found));
    rescanWanted_ = false;
}

bool OutboxWatcher::watch(const std::string& path) {
    const int watch = ::inotify_add_watch(inotify_.get(), tree_.absolute(path).c_str(), interesting);
    if (watch < 0)
        return false;
    // A folder that was renamed keeps its watch under its new path.
    if (const auto before = folders_.find(watch); before != folders_.end() && before->second != path)
        watches_.erase(before->second);
    folders_[watch] = path;
    watches_[path] = watch;
    return true;
}

/// Ends the watches of a folder and of all below it.
Work<> OutboxWatcher::unwatch(const std::string& path) {
    const std::string below = path + '/';
    for (auto next = watches_.lower_bound(path); next != watches_.end() && next->first.starts_with(path);) {
        if (next->first != path && !next->first.starts_with(below)) {
            ++next;
            continue;
        }
        ::inotify_rm_watch(inotify_.get(), next->second);
        folders_.erase(next->second);
        next = watches_.erase(next);
        co_await pause();
    }
}

/// Watches the folder and everything below it, and lists what is there. Folders are watched before they are read, so
/// what comes later is told by an event.
Work<> OutboxWatcher::collect(std::string top, std::vector<Found>& found) {
    std::vector<std::string> waiting = {std::move(top)};
    while (!waiting.empty()) {
        const std::string folder = std::move(waiting.back());
        waiting.pop_back();
        if (watch(folder)) {
            co_await collectFolder(folder, found, waiting);
        } else if (errno != ENOENT && errno != ENOTDIR) {
            complainOnce(folder, "it cannot be watched: " + std::generic_category().message(errno));
            watchMissing_ = true;
            co_await collectFolder(folder, found, waiting);
        }
    }
}

/// Lists what is in one folder.
Work<> OutboxWatcher::collectFolder(const std::string& folder, std::vector<Found>& found,
                                    std::vector<std::string>& folders) {
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(tree_.absolute(folder).c_str()), &::closedir);
    while (const dirent* entry = entries ? ::readdir(entries.get()) : nullptr) {
        const std::string_view name = entry->d_name;
        struct stat status {};
        if (name == "." || name == ".." ||
            ::fstatat(::dirfd(entries.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        const bool isFolder = S_ISDIR(status.st_mode);
        found.push_back({joined(folder, name), isFolder,
                         std::int64_t{status.st_ctim.tv_sec} * 1'000'000'000 + status.st_ctim.tv_nsec});
        if (isFolder && isTellable(found.back().path))
            folders.push_back(found.back().path);
        co_await pause();
    }
}

/// Takes in what a scan has found, in the order of arrival.
Work<> OutboxWatcher::take(std::vector<Found> found) {
    const auto arrival = [](const Found& item) { return std::tie(item.changed, item.path); };
    std::ranges::make_heap(found, std::ranges::greater(), arrival); // a sort would take its time all at once
    while (!found.empty()) {
        co_await pause();
        std::ranges::pop_heap(found, std::ranges::greater(), arrival);
        const Found item = std::move(found.back());
        found.pop_back();
        if (item.isFolder)
            tellFolders(item.path);
        else
            consider(item.path, Seen::Scanned);
    }
}

void OutboxWatcher::placed(const std::string& path) {
    const auto status = tree_.status(path);
    if (status && S_ISDIR(status->st_mode))
        tellFolders(path);
    else
        consider(path, Seen::Closed);
}

void OutboxWatcher::consider(const std::string& path, Seen how) {
    const auto status = tree_.status(path);
    if (!status)
        return; // gone again; the event that says so follows
    const auto [computer, rest] = splitComputer(path);
    if (rest.empty())
        return complainOnce(path, "it lies in no computer's folder");
    if (!S_ISREG(status->st_mode))
        return complainOnce(path, "it is neither a file nor a folder");
    if (!isExpressible(computer) || !wireName(rest))
        return complainOnce(path, "its name cannot be told on the wire");
    const Descriptor file = tree_.open(path);
    if (!file)
        return complainOnce(path, "it cannot be read: " + std::generic_category().message(errno));
    const Writers writers = writersOf(file.get());
    if (writers == Writers::Some) {
        unsettled_.erase(path);
        return; // its closing is told by an event
    }
    const bool linked = how == Seen::Created && status->st_nlink > 1;
    const bool complete = how == Seen::Scanned && status->st_size > 0;
    if (how == Seen::Closed || (writers == Writers::None && (linked || complete)))
        finished(path, identityOf(*status));
    else
        unsettled_[path] = {.since = std::nullopt, .identity = identityOf(*status)};
}

void OutboxWatcher::finished(const std::string& path, const FileIdentity& identity) {
    unsettled_.erase(path);
    const bool rewritten = modified_.erase(path) > 0;
    if (tellFolders(path.substr(0, path.rfind('/')))) {
        const auto [computer, rest] = splitComputer(path);
        ledger_.fileSeen(computer, *wireName(rest), identity, rewritten);
    }
}

/// Tells the ledger of the folder and, first, of those that it lies in. False when one of them cannot be told.
bool OutboxWatcher::tellFolders(std::string_view path) {
    if (!isTellable(path)) {
        complainOnce(std::string(path), "its name cannot be told on the wire");
        return false;
    }
    const auto [computer, rest] = splitComputer(path);
    if (rest.empty() || ledger_.knowsFolder(computer, *wireName(rest)))
        return true;
    for (std::size_t end = 0; end != std::string_view::npos;) {
        end = rest.find('/', end + 1);
        ledger_.folderSeen(computer, *wireName(rest.substr(0, end)));
    }
    return true;
}

Work<> OutboxWatcher::folderGone(std::string path) {
    complained_.erase(path);
    const auto [computer, rest] = splitComputer(path);
    if (rest.empty())
        co_await ledger_.computerGone(path);
    else if (const auto name = wireName(rest))
        co_await ledger_.gone(std::string(computer), *name);
}

void OutboxWatcher::fileGone(const std::string& path) {
    complained_.erase(path);
    const auto [computer, rest] = splitComputer(path);
    if (const auto name = wireName(rest))
        ledger_.itemGone(computer, *name);
}

void OutboxWatcher::settle(Clock::time_point now) {
    settleSoon(now);
    drain();
}

Work<> OutboxWatcher::settleAll(Clock::time_point now) {
    if (watchMissing_ && now - lastScan_ >= scanInterval)
        co_await rescan();
    std::vector<std::string> waiting;
    waiting.reserve(unsettled_.size());
    for (const auto& [path, state] : unsettled_)
        waiting.push_back(path);
    for (const std::string& path : waiting) {
        co_await pause();
        settleFile(path, now);
    }
}

void OutboxWatcher::settleFile(const std::string& path, Clock::time_point now) {
    const Descriptor file = tree_.open(path);
    struct stat status {};
    const bool there = file && ::fstat(file.get(), &status) == 0;
    const Writers writers = there ? writersOf(file.get()) : Writers::Unknown;
    if (!there || writers == Writers::Some) {
        unsettled_.erase(path); // an event tells of what it becomes
        return;
    }
    const auto found = unsettled_.find(path);
    if (found == unsettled_.end())
        return; // it was taken in meanwhile
    Unsettled& state = found->second;
    const FileIdentity identity = identityOf(status);
    if (!state.since || identity != state.identity)
        state = {.since = now, .identity = identity};
    else if (now - *state.since >= (writers == Writers::None ? settlingTime : quietTime))
        finished(path, identity);
}

void OutboxWatcher::complainOnce(const std::string& path, std::string_view why) {
    if (complained_.insert(path).second)
        logLine("left alone in the outbox: " + path + ": " + std::string(why));
}

} // namespace webservice
