#include "WebService/Outbox/OutboxLedger.h"

#include "WebService/Common/Log.h"
#include "WebService/Common/WireName.h"

#include <limits>
#include <utility>
#include <vector>

namespace webservice {

namespace {

constexpr std::int64_t pageSize = 500;

Upload readUpload(const Query& row) {
    return {.id = row.integer(0),
            .computer = row.text(1),
            .name = row.text(2),
            .isFile = row.integer(3) != 0,
            .pending = row.text(4) == "pending",
            .tainted = row.integer(5) != 0};
}

} // namespace

std::string Upload::outboxPath() const {
    return computer + '/' + webservice::outboxPath(name);
}

std::optional<OutboxLedger::Known> OutboxLedger::known(std::string_view computer, std::string_view name) {
    Query row = db_.query("SELECT is_file, inode, size, modified, upload FROM outbox WHERE computer = ?1 AND name = ?2",
                          computer, name);
    if (!row.next())
        return std::nullopt;
    return Known{.isFile = row.integer(0) != 0,
                 .identity = {.inode = static_cast<std::uint64_t>(row.integer(1)),
                              .size = static_cast<std::uint64_t>(row.integer(2)),
                              .modified = row.integer(3)},
                 .upload = row.integer(4)};
}

std::int64_t OutboxLedger::lastPosition(std::string_view computer) {
    Query last = db_.query("SELECT max(position) FROM uploads WHERE computer = ?1 AND state = 'pending'", computer);
    last.next();
    return last.integer(0);
}

/// Uploads are never removed, other than all together in a reset: where the first one is gone, there was one. Then the
/// computer may have bytes of any name, from before.
std::int64_t OutboxLedger::queue(std::string_view computer, std::string_view name, bool isFile, std::int64_t position) {
    db_.run("INSERT INTO uploads (computer, name, is_file, position, state, tainted) VALUES (?1, ?2, ?3, ?4, 'pending',"
            " coalesce((SELECT sent OR tainted FROM uploads WHERE computer = ?1 AND name = ?2 ORDER BY id DESC "
            "LIMIT 1), NOT EXISTS (SELECT 1 FROM uploads WHERE id = 1) AND "
            "EXISTS (SELECT 1 FROM sqlite_sequence WHERE name = 'uploads')))",
            computer, name, isFile, position);
    return db_.lastId();
}

void OutboxLedger::enter(std::string_view computer, std::string_view name, bool isFile, const FileIdentity& identity,
                         std::int64_t upload) {
    db_.run("INSERT OR REPLACE INTO outbox (computer, name, is_file, inode, size, modified, upload) "
            "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)",
            computer, name, isFile, static_cast<std::int64_t>(identity.inode), static_cast<std::int64_t>(identity.size),
            identity.modified, upload);
}

bool OutboxLedger::hasFolder(std::string_view computer, std::string_view name) {
    const auto found = known(computer, name);
    return found && !found->isFile;
}

void OutboxLedger::addFolder(std::string_view computer, std::string_view name) {
    const auto old = known(computer, name);
    if (old && !old->isFile)
        return;
    removeItem(computer, name);
    enter(computer, name, false, {}, queue(computer, name, false, lastPosition(computer) + 1));
}

void OutboxLedger::addFile(std::string_view computer, std::string_view name, const FileIdentity& identity,
                           bool rewritten) {
    const auto old = known(computer, name);
    if (old && old->isFile) {
        if (rewritten || old->identity != identity)
            replace(computer, name, *old, identity);
        return;
    }
    removeItem(computer, name);
    enter(computer, name, true, identity, queue(computer, name, true, lastPosition(computer) + 1));
}

void OutboxLedger::replace(std::string_view computer, std::string_view name, const Known& old,
                           const FileIdentity& identity) {
    std::int64_t upload = old.upload;
    Query row = db_.query("SELECT state, sent, position FROM uploads WHERE id = ?1", old.upload);
    row.next();
    const bool pending = row.text(0) == "pending";
    const bool sent = row.integer(1) != 0;
    if (!pending) {
        upload = queue(computer, name, true, lastPosition(computer) + 1);
    } else if (sent) {
        const std::int64_t position = row.integer(2);
        db_.run("UPDATE uploads SET state = 'withdrawn' WHERE id = ?1", old.upload);
        upload = queue(computer, name, true, position);
    }
    enter(computer, name, true, identity, upload);
}

bool OutboxLedger::updateTimes(std::string_view computer, std::string_view name, const FileIdentity& identity) {
    const auto old = known(computer, name);
    if (!old || !old->isFile)
        return false;
    // Another inode or size is another content, for which another event follows.
    if (old->identity.inode == identity.inode && old->identity.size == identity.size && old->identity != identity)
        enter(computer, name, true, identity, old->upload);
    return true;
}

void OutboxLedger::removeItem(std::string_view computer, std::string_view name) {
    db_.run("UPDATE uploads SET state = 'withdrawn' WHERE state = 'pending' AND "
            "id = (SELECT upload FROM outbox WHERE computer = ?1 AND name = ?2)",
            computer, name);
    db_.run("DELETE FROM outbox WHERE computer = ?1 AND name = ?2", computer, name);
}

Work<> OutboxLedger::removeTree(std::string computer, std::string name) {
    removeItem(computer, name);
    // Everything below a folder sorts between its name with a backslash and its name with the next character, "]".
    co_await removeRange(computer, name + '\\', name + ']');
}

/// Removes everything of the computer from one name on up to another one, page by page.
Work<> OutboxLedger::removeRange(const std::string& computer, std::string name, const std::string& end) {
    while (true) {
        std::string next = end;
        {
            Query row = db_.query("SELECT name FROM outbox WHERE computer = ?1 AND name >= ?2 AND name < ?3 "
                                  "ORDER BY name LIMIT 1 OFFSET ?4",
                                  computer, name, end, pageSize);
            if (row.next())
                next = row.text(0);
        }
        db_.run("UPDATE uploads SET state = 'withdrawn' WHERE state = 'pending' AND id IN "
                "(SELECT upload FROM outbox WHERE computer = ?1 AND name >= ?2 AND name < ?3)",
                computer, name, next);
        db_.run("DELETE FROM outbox WHERE computer = ?1 AND name >= ?2 AND name < ?3", computer, name, next);
        if (next == end)
            co_return;
        name = std::move(next);
        co_await pause();
    }
}

Work<> OutboxLedger::removeComputer(std::string computer) {
    co_await removeRange(computer, "\\", "]"); // every name begins with a backslash
}

std::string OutboxLedger::key(std::string_view computer, std::string_view name) {
    return (std::string(computer) + '/').append(name);
}

Work<> OutboxLedger::retainOnly(const std::unordered_set<std::string>& present) {
    std::string computer;
    std::string name;
    for (std::int64_t found = pageSize; found == pageSize;) {
        found = 0;
        std::vector<std::pair<std::string, std::string>> missing;
        for (Query row = db_.query("SELECT computer, name FROM outbox WHERE (computer, name) > (?1, ?2) "
                                   "ORDER BY computer, name LIMIT ?3",
                                   computer, name, pageSize);
             row.next(); ++found) {
            computer = row.text(0);
            name = row.text(1);
            if (!present.contains(key(computer, name)))
                missing.emplace_back(computer, name);
        }
        for (const auto& [owner, item] : missing)
            removeItem(owner, item);
        co_await pause();
    }
}

std::optional<Upload> OutboxLedger::nextPending(std::string_view computer, std::int64_t& position) {
    Query row = db_.query("SELECT id, computer, name, is_file, state, tainted, position FROM uploads "
                          "WHERE computer = ?1 AND state = 'pending' AND position > ?2 ORDER BY position LIMIT 1",
                          computer, position);
    if (!row.next())
        return std::nullopt;
    position = row.integer(6);
    return readUpload(row);
}

std::optional<Upload> OutboxLedger::find(std::int64_t id) {
    Query row = db_.query("SELECT id, computer, name, is_file, state, tainted FROM uploads WHERE id = ?1", id);
    return row.next() ? std::optional(readUpload(row)) : std::nullopt;
}

void OutboxLedger::offer(const Upload& upload) {
    if (const auto last = offered(upload.computer); last && last->id == upload.id)
        return; // the usual case of a poll: nothing to write
    db_.run("INSERT INTO offers (computer, upload) VALUES (?1, ?2) ON CONFLICT (computer) DO UPDATE "
            "SET upload = excluded.upload",
            upload.computer, upload.id);
}

std::optional<Upload> OutboxLedger::offered(std::string_view computer) {
    Query row = db_.query("SELECT id, uploads.computer, name, is_file, state, tainted FROM offers "
                          "JOIN uploads ON uploads.id = offers.upload WHERE offers.computer = ?1",
                          computer);
    return row.next() ? std::optional(readUpload(row)) : std::nullopt;
}

void OutboxLedger::clearOffer(std::string_view computer) {
    db_.run("DELETE FROM offers WHERE computer = ?1", computer);
}

void OutboxLedger::sending(const Upload& upload, bool fromBeginning) {
    db_.run("UPDATE uploads SET sent = 1, tainted = tainted AND NOT ?2 WHERE id = ?1 AND (NOT sent OR tainted)",
            upload.id, fromBeginning);
}

void OutboxLedger::postpone(const Upload& upload) {
    db_.run("UPDATE uploads SET position = ?2 WHERE id = ?1", upload.id, lastPosition(upload.computer) + 1);
}

void OutboxLedger::acknowledge(const Upload& upload) {
    db_.run("UPDATE uploads SET state = 'acknowledged' WHERE id = ?1 AND state = 'pending'", upload.id);
    db_.run("DELETE FROM offers WHERE computer = ?1 AND upload = ?2", upload.computer, upload.id);
}

void OutboxLedger::withdraw(const Upload& upload) {
    db_.run("UPDATE uploads SET state = 'withdrawn' WHERE id = ?1 AND state = 'pending'", upload.id);
}

std::optional<Upload> OutboxLedger::present(std::string_view computer, std::string_view name) {
    const auto item = known(computer, name);
    return item ? find(item->upload) : std::nullopt;
}

std::int64_t OutboxLedger::offerAgain(const Upload& upload) {
    const std::int64_t id = queue(upload.computer, upload.name, upload.isFile, lastPosition(upload.computer) + 1);
    db_.run("UPDATE outbox SET upload = ?3 WHERE computer = ?1 AND name = ?2", upload.computer, upload.name, id);
    return id;
}

std::optional<OutboxLedger::Placed> OutboxLedger::lastPending(std::string_view computer,
                                                              std::optional<std::int64_t> before) {
    Query row = db_.query("SELECT id, computer, name, is_file, state, tainted, position FROM uploads WHERE "
                          "computer = ?1 AND state = 'pending' AND position < ?2 ORDER BY position DESC LIMIT 1",
                          computer, before.value_or(std::numeric_limits<std::int64_t>::max()));
    return row.next() ? std::optional(Placed{.upload = readUpload(row), .position = row.integer(6)}) : std::nullopt;
}

std::int64_t OutboxLedger::count(const char* state, const std::optional<std::string>& computer) {
    Query row = db_.query("SELECT total(count) FROM upload_counts WHERE state = ?1 AND (?2 IS NULL OR computer = ?2)",
                          std::string_view(state), computer);
    row.next();
    return row.integer(0);
}

} // namespace webservice
