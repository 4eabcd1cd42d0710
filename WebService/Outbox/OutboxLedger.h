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
    std::string name; // wire name, "\Docs\a.txt"
    bool isFile = false;
    bool pending = false;
    bool tainted = false;

    std::string outboxPath() const;
};

/// The account of the outbox: which files and folders lie in it, which uploads they became, and which of those are
/// pending, in their order. It is told of finished files only and does not look at the file system itself. Names are
/// wire names.
class OutboxLedger {
public:
    explicit OutboxLedger(Database& db) : db_(db) {}

    /// Whether a folder of this name is known to lie in the outbox; then those that it lies in are known too.
    bool knowsFolder(std::string_view computer, std::string_view name);

    /// A folder lies in the outbox. New: it becomes a pending upload. Its parent must have been told before.
    void folderSeen(std::string_view computer, std::string_view name);

    /// A finished file lies in the outbox. A file not known becomes a pending upload at the end of the queue. One whose
    /// identity differs from the known one, or that is known to be `rewritten`, has a new content:
    /// - its upload is pending and no byte of it was sent: the upload stands for the new content;
    /// - bytes of it were sent: the upload is withdrawn, and a new one takes its place in the queue;
    /// - it was acknowledged: the file becomes a new upload at the end of the queue.
    void fileSeen(std::string_view computer, std::string_view name, const FileIdentity& identity, bool rewritten);

    /// The file's times or rights have changed, not its content. False when no such file is known.
    bool touched(std::string_view computer, std::string_view name, const FileIdentity& identity);

    /// The item itself no longer lies in the outbox: its pending upload is withdrawn.
    void itemGone(std::string_view computer, std::string_view name);

    /// The item, and everything below it, no longer lies in the outbox: their pending uploads are withdrawn.
    Work<> gone(std::string computer, std::string name);
    Work<> computerGone(std::string computer);

    /// Everything known that is not among the items, each written by key(), is gone.
    Work<> keepOnly(const std::unordered_set<std::string>& present);
    static std::string key(std::string_view computer, std::string_view name);

    /// The first pending upload of the computer behind the given position in the queue; the position is moved to it.
    std::optional<Upload> nextPending(std::string_view computer, std::int64_t& position);
    std::optional<Upload> find(std::int64_t id);

    /// The upload that the computer was last told of, pending or not; none when it was told of none since.
    void offer(const Upload& upload);
    std::optional<Upload> offered(std::string_view computer);
    void forgetOffer(std::string_view computer);

    /// Bytes of the upload go to the computer from the beginning (which clears the taint) or from an offset.
    void sending(const Upload& upload, bool fromBeginning);

    /// Puts a pending upload behind all others of its computer.
    void postpone(const Upload& upload);

    /// Marks a pending upload as received. An upload that is not pending stays as it is.
    void acknowledge(const Upload& upload);

    /// How many uploads are in the state, of one computer or of all.
    std::int64_t count(const char* state, const std::optional<std::string>& computer);

private:
    struct Known {
        bool isFile = false;
        FileIdentity identity;
        std::int64_t upload = 0;
    };
    Work<> goneBetween(const std::string& computer, std::string name, const std::string& end);
    std::optional<Known> known(std::string_view computer, std::string_view name);
    void enter(std::string_view computer, std::string_view name, bool isFile, const FileIdentity& identity,
               std::int64_t upload);
    std::int64_t queue(std::string_view computer, std::string_view name, bool isFile, std::int64_t position);
    std::int64_t lastPosition(std::string_view computer);
    void replace(std::string_view computer, std::string_view name, const Known& old, const FileIdentity& identity);

    Database& db_;
};

} // namespace webservice
