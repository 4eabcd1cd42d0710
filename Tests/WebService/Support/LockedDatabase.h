#pragma once

#include "WebService/Storage/Database.h"

#include <string>

namespace webservice::test {

/// Another user of a database file, who has it locked for writing for as long as this lives.
class LockedDatabase {
public:
    explicit LockedDatabase(const std::string& path) : db_(path), transaction_(db_) {}

private:
    Database db_;
    Transaction transaction_;
};

} // namespace webservice::test
