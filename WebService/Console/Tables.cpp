#include "WebService/Console/Tables.h"

#include "WebService/Operations/Record.h"

#include <array>
#include <limits>
#include <span>

namespace webservice {

namespace {

/// How the value of a column is written.
enum class Kind {
    Number,
    Flag,
    Text,
    Computer, // its number as a text
    Size,     // as a number where the computer reported one, else as the text that it reported
};

struct Column {
    std::string_view name;
    Kind kind;
};

/// A table: its rows with identifiers above ?1 and up to ?2, of the computer ?3 where it has computers and one is
/// given, and the greatest identifier.
struct Table {
    std::string_view name;
    Sql rows;
    Sql last;
    std::span<const Column> columns; // the identifier first
};

constexpr auto userColumns = std::to_array<Column>({{"id", Kind::Number},
                                                    {"mail", Kind::Text},
                                                    {"firstName", Kind::Text},
                                                    {"lastName", Kind::Text},
                                                    {"nickName", Kind::Text},
                                                    {"activated", Kind::Flag}});
constexpr Table users{"users",
                      "SELECT id, mail, first_name, last_name, nick_name, activated FROM users "
                      "WHERE id > ?1 AND id <= ?2 AND ?3 IS NULL ORDER BY id",
                      "SELECT max(id) FROM users", userColumns};

constexpr auto fileColumns = std::to_array<Column>({{"id", Kind::Number},
                                                    {"computer", Kind::Computer},
                                                    {"path", Kind::Text},
                                                    {"name", Kind::Text},
                                                    {"isFile", Kind::Flag},
                                                    {"size", Kind::Size},
                                                    {"modified", Kind::Text},
                                                    {"present", Kind::Flag}});
constexpr Table files{"files",
                      "SELECT id, computer, full_path, name, is_file, size, modified, present FROM files "
                      "WHERE id > ?1 AND id <= ?2 AND (?3 IS NULL OR computer = ?3) ORDER BY id",
                      "SELECT max(id) FROM files", fileColumns};

constexpr auto requestColumns = std::to_array<Column>({{"id", Kind::Number},
                                                       {"file", Kind::Number},
                                                       {"computer", Kind::Computer},
                                                       {"fromShared", Kind::Flag},
                                                       {"state", Kind::Text},
                                                       {"position", Kind::Number}});
constexpr Table requests{"fileRequests",
                         "SELECT id, file, computer, from_shared, state, position FROM requests "
                         "WHERE id > ?1 AND id <= ?2 AND ?3 IS NULL ORDER BY id",
                         "SELECT max(id) FROM requests", requestColumns};

constexpr auto transferColumns = std::to_array<Column>({{"id", Kind::Number},
                                                        {"file", Kind::Number},
                                                        {"fromComputer", Kind::Computer},
                                                        {"toComputer", Kind::Computer},
                                                        {"state", Kind::Text},
                                                        {"isFile", Kind::Flag},
                                                        {"changeType", Kind::Text},
                                                        {"fullPath", Kind::Text},
                                                        {"oldFullPath", Kind::Text},
                                                        {"newFullPath", Kind::Text},
                                                        {"baseSystemFile", Kind::Text},
                                                        {"prevFolderFile", Kind::Text},
                                                        {"xmlFile", Kind::Text},
                                                        {"savedFile", Kind::Text}});
constexpr Table transfers{"transfers",
                          "SELECT id, file, from_computer, to_computer, state, is_file, change_type, full_path, "
                          "old_full_path, new_full_path, base_system_file, prev_folder_file, xml_file, saved_file "
                          "FROM transfers WHERE id > ?1 AND id <= ?2 AND ?3 IS NULL ORDER BY id",
                          "SELECT max(id) FROM transfers", transferColumns};

constexpr auto mailColumns = std::to_array<Column>(
    {{"id", Kind::Number}, {"sentAt", Kind::Text}, {"to", Kind::Text}, {"subject", Kind::Text}, {"body", Kind::Text}});
constexpr Table mails{"mails",
                      "SELECT id, sent_at, recipient, subject, body FROM mails "
                      "WHERE id > ?1 AND id <= ?2 AND ?3 IS NULL ORDER BY id",
                      "SELECT max(id) FROM mails", mailColumns};

constexpr auto errorColumns = std::to_array<Column>({{"id", Kind::Number},
                                                     {"receivedAt", Kind::Text},
                                                     {"computer", Kind::Text},
                                                     {"user", Kind::Text},
                                                     {"class", Kind::Text},
                                                     {"method", Kind::Text},
                                                     {"message", Kind::Text}});
constexpr Table errors{"errors",
                       "SELECT id, received_at, computer, user, error_class, error_method, error_message FROM errors "
                       "WHERE id > ?1 AND id <= ?2 AND ?3 IS NULL ORDER BY id",
                       "SELECT max(id) FROM errors", errorColumns};

/// The rows of a table with identifiers below ?1, the newest first, ?2 of them at most.
constexpr Sql newestMails =
    "SELECT id, sent_at, recipient, subject, body FROM mails WHERE id < ?1 ORDER BY id DESC LIMIT ?2";
constexpr Sql newestErrors =
    "SELECT id, received_at, computer, user, error_class, error_method, error_message FROM errors "
    "WHERE id < ?1 ORDER BY id DESC LIMIT ?2";

boost::json::value valueOf(const Query& row, int column, Kind kind) {
    if (row.isNull(column))
        return nullptr;
    switch (kind) {
    case Kind::Number:
        return row.integer(column);
    case Kind::Flag:
        return row.integer(column) != 0;
    case Kind::Size:
        if (const auto size = decimal(row.text(column)))
            return *size;
        break;
    case Kind::Text:
    case Kind::Computer:
        break;
    }
    return boost::json::value(row.text(column));
}

boost::json::object objectOf(const Query& row, std::span<const Column> columns) {
    boost::json::object object;
    int index = 0;
    for (const Column& column : columns)
        object[column.name] = valueOf(row, index++, column.kind);
    return object;
}

Work<Response> list(const Table& table, ApiParts parts, ApiCall call, std::optional<std::int64_t> computer = {}) {
    constexpr std::int64_t step = 10'000; // identifiers that are looked at in one query
    const auto limit = static_cast<std::size_t>(call.limit());
    std::int64_t id = call.number("after").value_or(0);
    std::int64_t last = 0;
    {
        Query row = parts.db.query(table.last);
        row.next();
        last = row.integer(0);
    }
    boost::json::array rows;
    while (id < last && rows.size() <= limit) {
        for (Query row = parts.db.query(table.rows, id, id + step, computer); rows.size() <= limit && row.next();)
            rows.push_back(objectOf(row, table.columns));
        id += step;
        co_await pause();
    }
    boost::json::value next;
    if (rows.size() > limit) {
        rows.pop_back();
        next = rows.back().at("id");
    }
    co_return listResponse(table.name, std::move(rows), std::move(next));
}

Work<Response> listNewest(const Table& table, Sql newest, ApiParts parts, ApiCall call) {
    const std::int64_t limit = call.limit();
    const std::int64_t before = call.number("after").value_or(std::numeric_limits<std::int64_t>::max());
    boost::json::array rows;
    for (Query row = parts.db.query(newest, before, limit + 1); row.next();)
        rows.push_back(objectOf(row, table.columns));
    boost::json::value next;
    if (rows.size() > static_cast<std::size_t>(limit)) {
        rows.pop_back();
        next = rows.back().at("id");
    }
    co_return listResponse(table.name, std::move(rows), std::move(next));
}

bool isNewestFirst(const ApiCall& call) {
    const std::string order = call.parameter("order").value_or("oldest");
    if (order != "oldest" && order != "newest")
        throw RequestError("BadQuery", R"("order" is neither "oldest" nor "newest")", 400);
    return order == "newest";
}

} // namespace

Work<Response> listUsers(ApiParts parts, ApiCall call) {
    return list(users, parts, std::move(call));
}

Work<Response> listFiles(ApiParts parts, ApiCall call) {
    std::optional<std::int64_t> computer;
    if (const auto text = call.parameter("computer"))
        computer = decimal(*text).value_or(-1);
    return list(files, parts, std::move(call), computer);
}

Work<Response> listFileRequests(ApiParts parts, ApiCall call) {
    return list(requests, parts, std::move(call));
}

Work<Response> listTransfers(ApiParts parts, ApiCall call) {
    return list(transfers, parts, std::move(call));
}

Work<Response> listMails(ApiParts parts, ApiCall call) {
    return isNewestFirst(call) ? listNewest(mails, newestMails, parts, std::move(call))
                               : list(mails, parts, std::move(call));
}

Work<Response> listErrors(ApiParts parts, ApiCall call) {
    return isNewestFirst(call) ? listNewest(errors, newestErrors, parts, std::move(call))
                               : list(errors, parts, std::move(call));
}

} // namespace webservice
