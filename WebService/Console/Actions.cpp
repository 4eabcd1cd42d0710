#include "WebService/Console/Actions.h"

#include "WebService/Outbox/OutboxRemoval.h"

#include <filesystem>
#include <optional>
#include <utility>
#include <vector>

namespace webservice {

namespace {

Upload requireItem(OutboxLedger& ledger, const ApiCall& call) {
    auto item = ledger.find(call.id("UnknownItem"));
    if (!item)
        throw RequestError("UnknownItem", "there is no item " + call.variable, 404);
    return std::move(*item);
}

/// Removes the files, and the empty folders, of items that are stored as withdrawn. They are moved out of the outbox
/// before this pauses, since a new file may have the same path afterwards. The watcher records the removal.
Work<> removeWithdrawn(ApiParts parts, std::vector<Upload> items) {
    std::vector<std::filesystem::path> aside;
    for (const Upload& item : items) {
        if (!item.isFile)
            parts.tree.removeEmptyFolder(item.outboxPath());
        else if (std::string path = parts.incoming.newPath(); parts.tree.moveOut(item.outboxPath(), path))
            aside.emplace_back(std::move(path));
    }
    co_await removeAside(std::move(aside), parts.incoming, "what was withdrawn");
}

/// Withdraws the last pending items of the computer that are before a position in the queue, which is moved to the
/// first of them.
std::vector<Upload> withdrawLast(OutboxLedger& ledger, const std::string& computer,
                                 std::optional<std::int64_t>& before) {
    constexpr std::size_t pageSize = 100;
    std::vector<Upload> page;
    while (page.size() < pageSize) {
        auto item = ledger.lastPending(computer, before);
        if (!item)
            break;
        ledger.withdraw(item->upload);
        before = item->position;
        page.push_back(std::move(item->upload));
    }
    return page;
}

/// Whether the outbox has something in the item's place, of its kind.
bool isInOutbox(const OutboxTree& tree, const Upload& item) {
    const auto status = tree.status(item.outboxPath());
    return status && (item.isFile ? S_ISREG(status->st_mode) : S_ISDIR(status->st_mode));
}

} // namespace

Work<Response> withdrawItem(ApiParts parts, ApiCall call) {
    const Upload item = requireItem(parts.ledger, call);
    if (!item.pending)
        throw RequestError("NotPending", "item " + call.variable + " is not pending", 409);
    parts.ledger.withdraw(item);
    co_await untilStored();
    co_await removeWithdrawn(parts, std::vector(1, item));
    co_return jsonResponse(200, "{}");
}

Work<Response> offerItem(ApiParts parts, ApiCall call) {
    const Upload item = requireItem(parts.ledger, call);
    const auto present = parts.ledger.present(item.computer, item.name);
    if (item.pending || (present && present->pending))
        throw RequestError("AlreadyPending", item.name + " is pending", 409);
    if (!present || present->isFile != item.isFile || !isInOutbox(parts.tree, item))
        throw RequestError("NoContent", "the outbox has no " + item.name + " any more", 409);
    const std::int64_t id = parts.ledger.offerAgain(*present);
    co_return jsonResponse(200, boost::json::serialize(boost::json::object{{"id", id}}));
}

/// From the end of the queue on: a folder comes after what is in it.
Work<Response> clearComputer(ApiParts parts, ApiCall call) {
    std::int64_t withdrawn = 0;
    std::optional<std::int64_t> before;
    for (auto page = withdrawLast(parts.ledger, call.variable, before); !page.empty();
         page = withdrawLast(parts.ledger, call.variable, before)) {
        withdrawn += static_cast<std::int64_t>(page.size());
        co_await untilStored();
        co_await removeWithdrawn(parts, std::move(page));
        co_await pause();
    }
    co_return jsonResponse(200, boost::json::serialize(boost::json::object{{"withdrawn", withdrawn}}));
}

/// The rows are gone, and the files out of their folders, before this pauses: no other request sees a half of it. Where
/// the process ends in between, the next one finds the files of the outbox and makes new items of them. Identifiers
/// are not assigned again: a computer may still refer to what was removed.
Work<Response> resetService(ApiParts parts, ApiCall) {
    std::vector<std::filesystem::path> aside = {parts.incoming.newPath()};
    parts.db.script("DELETE FROM offers; DELETE FROM outbox; DELETE FROM upload_counts; DELETE FROM uploads;"
                    "DELETE FROM transfers; DELETE FROM computer_maps; DELETE FROM deletions; DELETE FROM cloud;"
                    "DELETE FROM requests; DELETE FROM files; DELETE FROM computers; DELETE FROM users;"
                    "DELETE FROM mails; DELETE FROM errors;");
    co_await untilStored();
    parts.plan = FaultPlan();
    parts.console.journal.clear();
    parts.console.events.push("reset", "{}");
    parts.cloud.moveOut(aside.back());
    co_await emptyOutbox(parts.tree, parts.incoming, std::move(aside));
    co_return jsonResponse(200, "{}");
}

} // namespace webservice
