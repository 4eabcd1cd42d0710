#include "WebService/Console/StateLists.h"

#include "WebService/Operations/Record.h"

#include <algorithm>
#include <array>

namespace webservice {

namespace {

constexpr std::string_view queueMark = "queue:";

std::int64_t countOf(Query row) {
    row.next();
    return row.integer(0);
}

/// Adds how many items of the computer there are in each state.
boost::json::object withCounts(ApiParts& parts, boost::json::object entry, const std::string& computer,
                               const std::map<std::string, std::int64_t, std::less<>>& streaming) {
    const auto found = streaming.find(computer);
    entry["pending"] = parts.ledger.count("pending", computer);
    entry["streaming"] = found == streaming.end() ? 0 : found->second;
    entry["acknowledged"] = parts.ledger.count("acknowledged", computer);
    entry["withdrawn"] = parts.ledger.count("withdrawn", computer);
    return entry;
}

boost::json::object registeredComputer(const Query& row) {
    return {{"computer", row.text(0)},
            {"user", row.integer(1)},
            {"mail", row.text(2)},
            {"folder", row.text(3)},
            {"version", orNull(row.optionalText(4))},
            {"lastSeen", orNull(row.optionalText(5))}};
}

boost::json::object queueAlone(const std::string& computer) {
    return {{"computer", computer}, {"user", nullptr},    {"mail", nullptr},
            {"folder", nullptr},    {"version", nullptr}, {"lastSeen", nullptr}};
}

} // namespace

Work<Response> showService(ApiParts parts, ApiCall call) {
    co_return jsonResponse(
        200, boost::json::serialize(boost::json::object{
                 {"version", parts.console.version()},
                 {"address", call.address},
                 {"started", parts.console.startTime()},
                 {"computers", countOf(parts.db.query("SELECT count(*) FROM computers WHERE NOT is_cloud"))},
                 {"users", countOf(parts.db.query("SELECT count(*) FROM users"))}}));
}

Work<Response> listComputers(ApiParts parts, ApiCall call) {
    const auto limit = call.limit();
    const std::string after = call.parameter("after").value_or("0");
    const bool isPastRegistered = after.starts_with(queueMark);
    const auto streaming = parts.console.streams.counts();
    boost::json::array list;
    boost::json::value next;
    if (!isPastRegistered) {
        const auto id = decimal(after);
        if (!id)
            throw RequestError("BadQuery", "\"after\" is not the \"next\" of a page", 400);
        for (Query row = parts.db.query("SELECT computers.id, user, mail, quenmark_path, version, last_seen FROM "
                                        "computers JOIN users ON users.id = user WHERE computers.id > ?1 AND "
                                        "NOT is_cloud ORDER BY computers.id LIMIT ?2",
                                        *id, limit);
             row.next();) {
            list.push_back(withCounts(parts, registeredComputer(row), row.text(0), streaming));
            next = row.integer(0);
        }
    }
    std::string last = isPastRegistered ? after.substr(queueMark.size()) : "";
    for (Query row = parts.db.query("SELECT DISTINCT computer FROM upload_counts WHERE computer > ?1 AND NOT EXISTS "
                                    "(SELECT 1 FROM computers WHERE id = CAST(computer AS INTEGER) AND "
                                    "CAST(id AS TEXT) = computer AND NOT is_cloud) ORDER BY computer LIMIT ?2",
                                    last, limit - static_cast<std::int64_t>(list.size()));
         row.next();) {
        const std::string computer = row.text(0);
        list.push_back(withCounts(parts, queueAlone(computer), computer, streaming));
        next = std::string(queueMark) + computer;
    }
    if (static_cast<std::int64_t>(list.size()) < limit)
        next = nullptr;
    co_return listResponse("computers", std::move(list), std::move(next));
}

namespace {

constexpr std::array itemStates = {std::string_view("pending"), std::string_view("streaming"),
                                   std::string_view("acknowledged"), std::string_view("withdrawn")};

boost::json::object itemJson(const Query& row, Streams& streams) {
    Stream* const stream = row.text(4) == "pending" ? streams.find(row.integer(0)) : nullptr;
    boost::json::object item = {{"id", row.integer(0)},
                                {"computer", row.text(1)},
                                {"name", row.text(2)},
                                {"isFile", row.integer(3) != 0},
                                {"size", row.isNull(5) ? boost::json::value() : boost::json::value(row.integer(5))},
                                {"state", stream != nullptr ? "streaming" : row.text(4)},
                                {"bytes", nullptr},
                                {"bytesPerSecond", nullptr}};
    if (stream != nullptr) {
        item["bytes"] = stream->bytes();
        item["bytesPerSecond"] = stream->bytesPerSecond(Stream::Clock::now());
    }
    return item;
}

} // namespace

Work<Response> listItems(ApiParts parts, ApiCall call) {
    constexpr std::int64_t step = 10'000; // identifiers that are looked at in one query
    const auto limit = static_cast<std::size_t>(call.limit());
    const auto computer = call.parameter("computer");
    const auto state = call.parameter("state");
    if (state && std::ranges::find(itemStates, *state) == itemStates.end())
        throw RequestError("BadQuery", "\"state\" is none of pending, streaming, acknowledged and withdrawn", 400);
    const auto inDatabase = state == "streaming" ? std::optional<std::string>("pending") : state;
    std::int64_t id = call.number("after").value_or(0);
    const std::int64_t last = countOf(parts.db.query("SELECT max(id) FROM uploads"));
    boost::json::array list;
    while (id < last && list.size() <= limit) {
        for (Query row = parts.db.query(
                 "SELECT u.id, u.computer, u.name, u.is_file, u.state, o.size FROM uploads u LEFT JOIN outbox o "
                 "ON o.computer = u.computer AND o.name = u.name AND o.upload = u.id AND o.is_file "
                 "WHERE u.id > ?1 AND u.id <= ?2 AND (?3 IS NULL OR u.computer = ?3) AND "
                 "(?4 IS NULL OR u.state = ?4) ORDER BY u.id",
                 id, id + step, computer, inDatabase);
             list.size() <= limit && row.next();) {
            if (state != "streaming" || parts.console.streams.find(row.integer(0)) != nullptr)
                list.push_back(itemJson(row, parts.console.streams));
        }
        id += step;
        co_await pause();
    }
    boost::json::value next;
    if (list.size() > limit) {
        list.pop_back();
        next = list.back().at("id");
    }
    co_return listResponse("items", std::move(list), std::move(next));
}

} // namespace webservice
