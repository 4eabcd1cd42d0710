#pragma once

#include "WebService/Storage/Database.h"

#include <string>

namespace webservice {

/// Brings the database to the present schema, whichever earlier version it has, in one transaction. Passwords of a
/// version that kept them as they are become hashes, and no trace of them is left in the file. Throws DatabaseError
/// when the file was written by a later version.
void prepareSchema(Database& db);

/// A database that has the present schema, for use on a loop: see shortenBusyTimeout().
class StateDatabase : public Database {
public:
    explicit StateDatabase(const std::string& path, std::chrono::milliseconds busyTimeout = std::chrono::seconds(5))
        : Database(path, busyTimeout) {
        prepareSchema(*this);
        shortenBusyTimeout();
    }
};

} // namespace webservice
