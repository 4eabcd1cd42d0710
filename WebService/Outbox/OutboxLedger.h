#pragma once

#include "WebService/Common/Work.h"
#include "WebService/Outbox/OutboxTree.h"
#include "WebService/Storage/Database.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

namespace webservice {

/// One item of the outbox as it is offered to its computer.
struct Upload {
    std::int64_t id = 0;
    std::string computer;
    /// Its wire name, "\Docs\a.txt".
    std::string name;
    bool isFile = false;
    bool pending = false;
    bool tainted = false;

    std::string outboxPath() const;
};

/// The records of the outbox: which files and folders are in it, which uploads they became, and which of those are
/// pending, in their order. It records what it is called for, finished files only, and does not access the file system.
/// Names are wire names.
class OutboxLedger {
public:
    explicit OutboxLedger(Database& db) : db_(db) {}

    /// Whether a folder of this name is recorded; then its parents are too.
    bool hasFolder(std::string_view computer, std::string_view name);

    /// Records a folder. A new one becomes a pending upload. Its parent must have been recorded before.
    void addFolder(std::string_view computer, std::string_view name);

    /// Records a finished file. A new one becomes a pending upload at the end of the queue. One whose identity differs
    /// from the recorded one, or that was `rewritten`, has a new content:
    /// - its upload is pending and no byte of it was sent: the upload stands for the new content;
    /// - bytes of it were sent: the upload is withdrawn, and a new one replaces it in the queue;
    /// - it was acknowledged: the file becomes a new upload at the end of the queue.
    void addFile(std::string_view computer, std::string_view name, const FileIdentity& identity, bool rewritten);

    /// The times or permissions of the file have changed, not its content. False when the file is not recorded.
    bool updateTimes(std::string_view computer, std::string_view name, const FileIdentity& identity);

    /// Removes the item alone; its pending upload is withdrawn.
    void removeItem(std::string_view computer, std::string_view name);

    /// Removes the item and everything below it; their pending uploads are withdrawn.
    Work<> removeTree(std::string computer, std::string name);
    Work<> removeComputer(std::string computer);

    /// Removes everything that is not among the items, each written by key().
    Work<> retainOnly(const std::unordered_set<std::string>& present);
    static std::string key(std::string_view computer, std::string_view name);

    /// The first pending upload of the computer after the given position in the queue; the position is moved to it.
    std::optional<Upload> nextPending(std::string_view computer, std::int64_t& position);
    std::optional<Upload> find(std::int64_t id);

    /// The upload that the computer was last offered, pending or not; nil when there is none.
    void offer(const Upload& upload);
    std::optional<Upload> offered(std::string_view computer);
    void clearOffer(std::string_view computer);

    /// Records that bytes of the upload are sent to the computer from the beginning (which clears the taint) or from an
    /// offset.
    void sending(const Upload& upload, bool fromBeginning);

    /// Moves a pending upload to the end of its computer's queue.
    void postpone(const Upload& upload);

    /// Marks a pending upload as received. An upload that is not pending stays as it is.
    void acknowledge(const Upload& upload);

    /// Withdraws a pending upload whose item stays in the outbox.
    void withdraw(const Upload& upload);

    /// The upload of the item that the outbox has under the name, pending or not; nil when it has none.
    std::optional<Upload> present(std::string_view computer, std::string_view name);

    /// Makes a new upload, at the end of the queue, of the item that an upload stands for that is not pending. Gives
    /// its identifier.
    std::int64_t offerAgain(const Upload& upload);

    /// The last pending upload of the computer, or the last one before a position in the queue.
    struct Placed {
        Upload upload;
        std::int64_t position = 0;
    };
    std::optional<Placed> lastPending(std::string_view computer, std::optional<std::int64_t> before);

    /// How many uploads are in the state, of one computer or of all.
    std::int64_t count(const char* state, const std::optional<std::string>& computer);

private:
    struct Known {
        bool isFile = false;
        FileIdentity identity;
        std::int64_t upload = 0;
    };
    Work<> removeRange(const std::string& computer, std::string name, const std::string& end);
    std::optional<Known> known(std::string_view computer, std::string_view name);
    void enter(std::string_view computer, std::string_view name, bool isFile, const FileIdentity& identity,
               std::int64_t upload);
    std::int64_t queue(std::string_view computer, std::string_view name, bool isFile, std::int64_t position);
    std::int64_t lastPosition(std::string_view computer);
    void replace(std::string_view computer, std::string_view name, const Known& old, const FileIdentity& identity);

    Database& db_;
};

} // namespace webservice
