#pragma once

#include "WebService/Storage/Database.h"

#include <exception>
#include <optional>

namespace webservice {

/// The transaction of a group of requests, in which that of each request is a part: what they change is stored at once.
class GroupTransaction {
public:
    explicit GroupTransaction(Database& db) : db_(db) {}

    /// Begins a group. Where another process has the database locked the group has no transaction, and each request has
    /// its own.
    void begin();

    /// Stores what the group has changed up to now, without waiting for its end. For the rest of the group each request
    /// has its own transaction. Throws DatabaseError where that fails: the changes are undone, and end() throws the
    /// same error, which concerns the other requests as well.
    void store();

    /// Ends the group and stores what it has changed. Throws DatabaseError.
    void end();

private:
    Database& db_;
    std::optional<Transaction> transaction_;
    std::exception_ptr failure_;
};

} // namespace webservice
