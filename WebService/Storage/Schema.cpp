#include "WebService/Storage/Schema.h"

#include "WebService/Common/Log.h"
#include "WebService/Storage/PasswordHash.h"

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace webservice {

namespace {

/// Version 1: the outbox, what was offered of it, and the error log.
///
/// `uploads` has a row for every FileUploadID that was assigned since the last reset. `sent` means that bytes of it
/// were sent; `tainted` that the computer may have bytes of an earlier content of that name, so that a resumed download
/// would mix the two. `outbox` has what is in the outbox now and the upload of each item. `offers` has, for each
/// computer, the upload that the last poll returned.
constexpr Sql version1 = R"sql(
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
PRAGMA user_version = 1;
)sql";

/// Version 2: accounts, file tables, requests, deletions and sharing.
///
/// `files` has the files that the computers reported; a row stays, not `present`, when the file is deleted. `name` is
/// the path within the Quenmark folder as a wire name, NULL when it cannot be expressed. `cloud` has the contents that
/// were streamed up; the file cloud/ID holds the bytes. A transfer goes from 'waiting' through 'sent' and 'received' to
/// 'deleted'. `stream`, `send_stream` and `receive_stream` are what was last reported: NULL, 'started' or 'failed'.
constexpr Sql version2 = R"sql(
ALTER TABLE uploads ADD COLUMN stream TEXT;
CREATE TABLE users (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    mail TEXT NOT NULL UNIQUE,
    password TEXT NOT NULL,
    first_name TEXT,
    last_name TEXT,
    nick_name TEXT,
    code TEXT NOT NULL UNIQUE,
    activated INTEGER NOT NULL DEFAULT 0
);
CREATE TABLE computers (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    user INTEGER NOT NULL REFERENCES users (id),
    quenmark_path TEXT NOT NULL,
    is_cloud INTEGER NOT NULL,
    last_seen TEXT,
    version TEXT
);
CREATE INDEX computers_by_user ON computers (user);
CREATE TABLE mails (
    id INTEGER PRIMARY KEY,
    sent_at TEXT NOT NULL,
    recipient TEXT NOT NULL,
    subject TEXT NOT NULL,
    body TEXT NOT NULL
);
CREATE TABLE files (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    computer INTEGER NOT NULL REFERENCES computers (id),
    full_path TEXT NOT NULL,
    name TEXT,
    is_file INTEGER NOT NULL,
    size TEXT,
    modified TEXT,
    base_system_file TEXT,
    present INTEGER NOT NULL DEFAULT 1
);
CREATE UNIQUE INDEX files_by_path ON files (computer, full_path) WHERE present;
CREATE TABLE requests (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    file INTEGER NOT NULL REFERENCES files (id),
    from_shared INTEGER NOT NULL,
    state TEXT NOT NULL DEFAULT 'waiting' CHECK (state IN ('waiting', 'done', 'cancelled')),
    stream TEXT,
    attachment TEXT
);
CREATE INDEX requests_waiting ON requests (file) WHERE state = 'waiting';
CREATE TABLE cloud (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    user INTEGER REFERENCES users (id),
    full_path TEXT NOT NULL,
    name TEXT,
    size INTEGER NOT NULL,
    request TEXT NOT NULL,
    transit_path TEXT,
    received_at TEXT NOT NULL
);
CREATE UNIQUE INDEX cloud_by_path ON cloud (coalesce(user, 0), full_path);
CREATE TABLE deletions (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    computer INTEGER NOT NULL REFERENCES computers (id),
    path TEXT NOT NULL,
    state TEXT NOT NULL DEFAULT 'waiting' CHECK (state IN ('waiting', 'done'))
);
CREATE TABLE computer_maps (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    owner INTEGER NOT NULL REFERENCES computers (id),
    subscriber INTEGER NOT NULL REFERENCES computers (id),
    UNIQUE (owner, subscriber)
);
CREATE TABLE transfers (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    file INTEGER NOT NULL REFERENCES files (id),
    from_computer INTEGER NOT NULL REFERENCES computers (id),
    to_computer INTEGER NOT NULL REFERENCES computers (id),
    state TEXT NOT NULL DEFAULT 'waiting' CHECK (state IN ('waiting', 'sent', 'received', 'deleted')),
    is_file INTEGER NOT NULL,
    change_type TEXT,
    full_path TEXT NOT NULL,
    old_full_path TEXT,
    new_full_path TEXT,
    base_system_file TEXT,
    prev_folder_file TEXT,
    xml_file TEXT,
    saved_file TEXT,
    length TEXT,
    is_exists TEXT,
    send_stream TEXT,
    receive_stream TEXT
);
CREATE INDEX transfers_out ON transfers (from_computer, state);
CREATE INDEX transfers_in ON transfers (to_computer, state);
PRAGMA user_version = 2;
)sql";

/// Version 3: an index for every search, and no columns that are never read.
///
/// `upload_counts` has the number of a computer's uploads in each state. A request has the computer that it is for, and
/// its `position` among the waiting ones.
constexpr Sql version3 = R"sql(
CREATE TABLE upload_counts (
    computer TEXT NOT NULL,
    state TEXT NOT NULL,
    count INTEGER NOT NULL,
    PRIMARY KEY (computer, state)
) WITHOUT ROWID;
INSERT INTO upload_counts SELECT computer, state, count(*) FROM uploads GROUP BY computer, state;
CREATE TRIGGER upload_added AFTER INSERT ON uploads BEGIN
    INSERT INTO upload_counts VALUES (new.computer, new.state, 1) ON CONFLICT DO UPDATE SET count = count + 1;
END;
CREATE TRIGGER upload_changed AFTER UPDATE OF state ON uploads WHEN new.state <> old.state BEGIN
    UPDATE upload_counts SET count = count - 1 WHERE computer = old.computer AND state = old.state;
    INSERT INTO upload_counts VALUES (new.computer, new.state, 1) ON CONFLICT DO UPDATE SET count = count + 1;
END;
ALTER TABLE uploads DROP COLUMN stream;
ALTER TABLE transfers DROP COLUMN length;
ALTER TABLE transfers DROP COLUMN is_exists;
ALTER TABLE transfers DROP COLUMN send_stream;
ALTER TABLE transfers DROP COLUMN receive_stream;
ALTER TABLE requests ADD COLUMN computer INTEGER REFERENCES computers (id);
ALTER TABLE requests ADD COLUMN position INTEGER;
UPDATE requests SET computer = (SELECT computer FROM files WHERE files.id = file),
    position = id + CASE stream WHEN 'failed' THEN (SELECT max(id) FROM requests) ELSE 0 END;
ALTER TABLE requests DROP COLUMN stream;
ALTER TABLE requests DROP COLUMN attachment;
CREATE INDEX requests_of_computer ON requests (computer, position) WHERE state = 'waiting';
CREATE INDEX files_of_computer ON files (computer) WHERE present;
CREATE INDEX deletions_of_computer ON deletions (computer, id) WHERE state = 'waiting';
CREATE INDEX deletions_by_path ON deletions (computer, path) WHERE state = 'waiting';
CREATE INDEX cloud_by_full_path ON cloud (full_path);
CREATE INDEX cloud_by_name ON cloud (name);
CREATE INDEX cloud_of_user ON cloud (user);
CREATE INDEX transfers_to ON transfers (to_computer);
CREATE INDEX transfers_by_file ON transfers (file, to_computer);
CREATE INDEX transfers_sent ON transfers (file) WHERE state = 'sent';
CREATE INDEX transfers_by_folder ON transfers (prev_folder_file);
CREATE INDEX computer_maps_by_subscriber ON computer_maps (subscriber);
CREATE INDEX mails_by_recipient ON mails (recipient);
CREATE INDEX computers_by_version ON computers (version);
PRAGMA user_version = 3;
)sql";

/// Version 4: passwords are hashed, and a mailed link stands for a new one. `password_code` is that of the latest link,
/// until it is used.
constexpr Sql version4 = R"sql(
ALTER TABLE users ADD COLUMN password_code TEXT;
CREATE UNIQUE INDEX users_by_password_code ON users (password_code) WHERE password_code IS NOT NULL;
UPDATE mails SET body = 'This password was mailed before passwords were kept as hashes; it has been removed.'
    WHERE subject = 'Your password';
PRAGMA user_version = 4;
)sql";

constexpr std::array versions = {version1, version2, version3, version4};

/// Version 5 has the same tables as version 4: in the file of a database that once had passwords, none are left in
/// places that are not used any more.
constexpr std::size_t passwordsHashed = 4;
constexpr std::size_t passwordsErased = 5;

void hashPasswords(Database& db) {
    std::vector<std::pair<std::int64_t, std::string>> passwords;
    for (Query row = db.query("SELECT id, password FROM users"); row.next();)
        passwords.emplace_back(row.integer(0), row.text(1));
    for (const auto& [user, password] : passwords)
        db.run("UPDATE users SET password = ?2 WHERE id = ?1", user, passwordHash(password));
}

/// Writes the whole file anew (VACUUM) and overwrites it with that. Where that is not possible now, since another
/// process reads the old file or there is no room for both, it is done at the next start.
void eraseOldPasswords(Database& db) {
    db.script("VACUUM");
    Query checkpoint = db.query("PRAGMA wal_checkpoint(TRUNCATE)");
    if (checkpoint.next() && checkpoint.integer(0) == 0)
        db.script("PRAGMA user_version = 5");
}

} // namespace

void prepareSchema(Database& db) {
    Transaction transaction(db);
    std::size_t present = 0;
    {
        Query version = db.query("PRAGMA user_version");
        version.next();
        present = static_cast<std::size_t>(version.integer(0));
    }
    if (present > passwordsErased)
        throw DatabaseError("the state has schema version " + std::to_string(present) + ", later than " +
                            std::to_string(passwordsErased));
    for (std::size_t next = present; next < versions.size(); ++next) {
        db.script(versions.at(next));
        if (next + 1 == passwordsHashed)
            hashPasswords(db);
    }
    if (present == 0)
        db.script("PRAGMA user_version = 5");
    transaction.commit();
    if (present == 0 || present == passwordsErased)
        return;
    try {
        eraseOldPasswords(db);
    } catch (const DatabaseError& error) {
        logLine("old passwords are not erased before the next start: " + std::string(error.what()));
    }
}

} // namespace webservice
