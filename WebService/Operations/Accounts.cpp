#include "WebService/Operations/Accounts.h"

#include "WebService/Common/Log.h"

namespace webservice {

namespace {

User readUser(const Query& row) {
    return {.id = row.integer(0),
            .mail = row.text(1),
            .passwordHash = row.text(2),
            .code = row.text(3),
            .isActivated = row.integer(4) != 0};
}

} // namespace

std::optional<User> findUser(Database& db, std::int64_t id) {
    Query row = db.query("SELECT id, mail, password, code, activated FROM users WHERE id = ?1", id);
    return row.next() ? std::optional(readUser(row)) : std::nullopt;
}

std::optional<User> findUserByMail(Database& db, std::string_view mail) {
    Query row = db.query("SELECT id, mail, password, code, activated FROM users WHERE mail = ?1", mail);
    return row.next() ? std::optional(readUser(row)) : std::nullopt;
}

std::optional<Computer> findComputer(Database& db, std::int64_t id) {
    Query row = db.query("SELECT id, user, quenmark_path, is_cloud, version FROM computers WHERE id = ?1", id);
    if (!row.next())
        return std::nullopt;
    return Computer{.id = row.integer(0),
                    .user = row.integer(1),
                    .quenmarkPath = row.text(2),
                    .isCloud = row.integer(3) != 0,
                    .version = row.optionalText(4)};
}

User requireUser(Database& db, const Record& request, std::string_view key) {
    auto user = findUser(db, request.id(key));
    if (!user)
        throw RequestError("UnknownUser", "there is no user " + request.text(key));
    return std::move(*user);
}

Computer requireComputer(Database& db, const Record& request, std::string_view key) {
    auto computer = findComputer(db, request.id(key));
    if (!computer)
        throw RequestError("UnknownComputer", "there is no computer " + request.text(key));
    return std::move(*computer);
}

std::vector<std::int64_t> otherComputers(Database& db, const Computer& computer) {
    std::vector<std::int64_t> others;
    for (Query row = db.query("SELECT id FROM computers WHERE user = ?1 AND id <> ?2 AND NOT is_cloud ORDER BY id",
                              computer.user, computer.id);
         row.next();)
        others.push_back(row.integer(0));
    return others;
}

void recordMail(Database& db, std::string_view recipient, std::string_view subject, std::string_view body) {
    db.run("INSERT INTO mails (sent_at, recipient, subject, body) VALUES (?1, ?2, ?3, ?4)", timestamp(), recipient,
           subject, body);
}

} // namespace webservice
