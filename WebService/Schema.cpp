#include "WebService/Schema.h"

#include <array>
#include <string>

namespace webservice {

namespace {

// Version 1: the outbox, what was offered of it, and the error log.
//
// `uploads` has a row for every FileUploadID ever given out. `sent` says that bytes of it went over the wire;
// `tainted` that the computer may hold bytes of an earlier content of that name, so that a resume would mix the two.
// `outbox` says what lies in the outbox now and which upload announced it. `offers` holds, for each computer, the
// upload that the last poll named.
constexpr const char* version1 = R"sql(
CREATE TABLE uploads (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    computer TEXT NOT NULL,
    name TEXT NOT NULL,
    is_file INTEGER NOT NULL,
    position INTEGER NOT NULL,
    state TEXT NOT NULL CHECK (state IN ('pending', 'acknowledged', 'withdrawn')),
    sent INTEGER NOT NULL DEFAULT 0,
    tainted INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX uploads_by_name ON uploads (computer, name);
CREATE INDEX uploads_pending ON uploads (computer, position) WHERE state = 'pending';
CREATE TABLE outbox (
    computer TEXT NOT NULL,
    name TEXT NOT NULL,
    is_file INTEGER NOT NULL,
    inode INTEGER NOT NULL,
    size INTEGER NOT NULL,
    modified INTEGER NOT NULL,
    upload INTEGER NOT NULL REFERENCES uploads (id),
    PRIMARY KEY (computer, name)
) WITHOUT ROWID;
CREATE TABLE offers (
    computer TEXT NOT NULL PRIMARY KEY,
    upload INTEGER NOT NULL REFERENCES uploads (id)
) WITHOUT ROWID;
CREATE TABLE errors (
    id INTEGER PRIMARY KEY,
    received_at TEXT NOT NULL,
    error_class TEXT,
    error_method TEXT,
    error_message TEXT,
    computer TEXT,
    user TEXT
);
)sql";

constexpr std::array versions = {version1};

} // namespace

void prepareSchema(Database& db) {
    Transaction transaction(db);
    std::size_t present = 0;
    {
        Query version = db.query("PRAGMA user_version");
        version.next();
        present = static_cast<std::size_t>(version.integer(0));
    }
    if (present > versions.size()) {
        throw DatabaseError("the state has schema version " + std::to_string(present) + ", later than " +
                            std::to_string(versions.size()));
    }
    for (std::size_t next = present; next < versions.size(); ++next) {
        db.script(versions.at(next));
        db.script(("PRAGMA user_version = " + std::to_string(next + 1)).c_str());
    }
    transaction.commit();
}

} // namespace webservice
