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

/// The item is withdrawn before its file is touched: an item without a file does no harm.
Work<> withdraw(ApiParts parts, Upload item) {
    if (item.isFile || parts.tree.removeEmptyFolder(item.outboxPath())) {
        parts.ledger.removeItem(item.computer, item.name);
        if (item.isFile)
            co_await removeFromOutbox(parts.tree, parts.incoming, item.outboxPath());
    } else {
        parts.ledger.withdraw(item);
    }
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
    co_await withdraw(parts, item);
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
    for (auto item = parts.ledger.lastPending(call.variable, std::nullopt); item;
         item = parts.ledger.lastPending(call.variable, item->position)) {
        co_await withdraw(parts, item->upload);
        ++withdrawn;
        co_await pause();
    }
    co_return jsonResponse(200, boost::json::serialize(boost::json::object{{"withdrawn", withdrawn}}));
}

/// Everything is forgotten, and the files are out of their folders, before this pauses for the first time: no other
/// request sees a half of it.
Work<Response> resetService(ApiParts parts, ApiCall) {
    parts.db.script("DELETE FROM offers; DELETE FROM outbox; DELETE FROM upload_counts; DELETE FROM uploads;"
                    "DELETE FROM transfers; DELETE FROM computer_maps; DELETE FROM deletions; DELETE FROM cloud;"
                    "DELETE FROM requests; DELETE FROM files; DELETE FROM computers; DELETE FROM users;"
                    "DELETE FROM mails; DELETE FROM errors; DELETE FROM sqlite_sequence;");
    parts.plan = FaultPlan();
    parts.console.journal.clear();
    parts.console.events.push("reset", "{}");
    std::vector<std::filesystem::path> aside;
    aside.emplace_back(parts.incoming.newPath());
    parts.cloud.moveOut(aside.back());
    co_await emptyOutbox(parts.tree, parts.incoming, std::move(aside));
    co_return jsonResponse(200, "{}");
}

} // namespace webservice
