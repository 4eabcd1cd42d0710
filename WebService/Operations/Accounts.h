#pragma once

#include "WebService/Operations/Record.h"
#include "WebService/Storage/Database.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace webservice {

// The users and computers that have registered.

struct User {
    std::int64_t id = 0;
    std::string mail;
    std::string passwordHash;
    /// Proves, in a mail, that the address is the user's.
    std::string code;
    bool isActivated = false;
};

struct Computer {
    std::int64_t id = 0;
    std::int64_t user = 0;
    std::string quenmarkPath;
    /// Whether it is not a machine, but the user's account in this service.
    bool isCloud = false;
    std::optional<std::string> version;
};

/// The user or computer whose identifier is under the key; throws RequestError "MissingKey", "UnknownUser" or
/// "UnknownComputer".
User requireUser(Database& db, const Record& request, std::string_view key = "UserID");
Computer requireComputer(Database& db, const Record& request, std::string_view key = "ComputerID");

std::optional<User> findUser(Database& db, std::int64_t id);
std::optional<User> findUserByMail(Database& db, std::string_view mail);
std::optional<Computer> findComputer(Database& db, std::int64_t id);

/// The identifiers of the user's computers other than the given one and the cloud.
std::vector<std::int64_t> otherComputers(Database& db, const Computer& computer);

/// Records a mail instead of sending it.
void recordMail(Database& db, std::string_view recipient, std::string_view subject, std::string_view body);

} // namespace webservice
