#include "WebService/Operations/RequestComputer.h"

#include "WebService/Operations/Record.h"

#include <array>

namespace webservice {

namespace {

using Text = std::optional<std::string>;

constexpr std::array senderKeys = {"ComputerID", "FromComputerID", "ToComputerID"};

struct Reference {
    const char* key;
    Sql query; // for the computer of what the key names
};

constexpr std::array references = {
    Reference{"FileUploadID", "SELECT computer FROM uploads WHERE id = ?1"},
    Reference{"FileRequestID", "SELECT files.computer FROM requests JOIN files ON files.id = requests.file "
                               "WHERE requests.id = ?1"},
    Reference{"DeleteRequestID", "SELECT computer FROM deletions WHERE id = ?1"},
};

/// A value of another type names nothing.
Text textOf(const boost::json::object& body, const char* key) {
    const boost::json::value* value = body.if_contains(key);
    if (value == nullptr || !(value->is_string() || value->is_int64() || value->is_uint64()))
        return std::nullopt;
    return value->is_string() ? std::string(value->get_string()) : boost::json::serialize(*value);
}

Text referred(Database& db, const Reference& reference, std::string_view id) {
    Query row = db.query(reference.query, decimal(id).value_or(-1));
    return row.next() ? Text(row.text(0)) : std::nullopt;
}

} // namespace

std::optional<std::string> computerOf(Database& db, const Request& request, const boost::json::value* body) {
    if (body != nullptr && body->is_array() && !body->get_array().empty())
        body = &body->get_array().front();
    const boost::json::object none;
    const boost::json::object& members = body != nullptr && body->is_object() ? body->get_object() : none;
    for (const char* key : senderKeys) {
        if (auto computer = textOf(members, key))
            return computer;
    }
    for (const Reference& reference : references) {
        if (const Text id = textOf(members, reference.key))
            return referred(db, reference, *id);
        if (const auto id = request.header(reference.key))
            return referred(db, reference, *id);
    }
    return std::nullopt;
}

} // namespace webservice
