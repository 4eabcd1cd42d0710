#include "WebService/Storage/Database.h"

#include "WebService/Common/Log.h"

#include <sqlite3.h>

#include <utility>

namespace webservice {

namespace {

using namespace std::chrono_literals;

constexpr auto shortBusyTimeout = 5ms;

[[noreturn]] void fail(sqlite3* db, const std::string& what) {
    const std::string text = what + ": " + (db != nullptr ? sqlite3_errmsg(db) : "out of memory");
    if (db != nullptr && sqlite3_errcode(db) == SQLITE_BUSY)
        throw DatabaseBusy(text);
    throw DatabaseError(text);
}

int milliseconds(std::chrono::milliseconds time) {
    return static_cast<int>(time.count());
}

} // namespace

Query::Query(sqlite3* db, sqlite3_stmt* statement, bool owned) : db_(db), statement_(statement), owned_(owned) {}

Query::Query(Query&& other) noexcept
    : db_(other.db_), statement_(std::exchange(other.statement_, nullptr)), owned_(other.owned_) {}

Query::~Query() {
    if (statement_ == nullptr)
        return;
    if (owned_) {
        sqlite3_finalize(statement_);
    } else {
        sqlite3_reset(statement_);
        sqlite3_clear_bindings(statement_);
    }
}

void Query::bind(int index, std::string_view value) {
    // An empty view may have no address, which SQLite would take for NULL.
    const char* data = value.data() != nullptr ? value.data() : "";
    if (sqlite3_bind_text64(statement_, index, data, value.size(), SQLITE_TRANSIENT, SQLITE_UTF8) != SQLITE_OK)
        fail(db_, "cannot bind a text");
}

void Query::bind(int index, std::int64_t value) {
    if (sqlite3_bind_int64(statement_, index, value) != SQLITE_OK)
        fail(db_, "cannot bind a number");
}

void Query::bind(int index, std::nullptr_t) {
    if (sqlite3_bind_null(statement_, index) != SQLITE_OK)
        fail(db_, "cannot bind NULL");
}

bool Query::next() {
    switch (sqlite3_step(statement_)) {
    case SQLITE_ROW:
        return true;
    case SQLITE_DONE:
        return false;
    default:
        fail(db_, sqlite3_sql(statement_));
    }
}

bool Query::isNull(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

std::string Query::text(int column) const {
    const auto* data = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    return data == nullptr ? std::string()
                           : std::string(data, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)));
}

std::optional<std::string> Query::optionalText(int column) const {
    return isNull(column) ? std::nullopt : std::optional(text(column));
}

std::int64_t Query::integer(int column) const {
    return sqlite3_column_int64(statement_, column);
}

Database::Database(const std::string& path, std::chrono::milliseconds busyTimeout) : busyTimeout_(busyTimeout) {
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    if (sqlite3_open_v2(path.c_str(), &db_, flags, nullptr) != SQLITE_OK) {
        const std::string reason = db_ != nullptr ? sqlite3_errmsg(db_) : "out of memory";
        sqlite3_close(db_);
        throw DatabaseError("cannot open " + path + ": " + reason);
    }
    try {
        sqlite3_busy_timeout(db_, milliseconds(busyTimeout));
        script("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; PRAGMA foreign_keys = ON;");
    } catch (...) {
        sqlite3_close(db_);
        throw;
    }
}

Database::~Database() {
    for (const auto& [sql, statement] : prepared_)
        sqlite3_finalize(statement);
    sqlite3_close(db_);
}

Query Database::start(Sql sql) {
    const auto known = prepared_.find(sql.text());
    if (known != prepared_.end() && sqlite3_stmt_busy(known->second) == 0)
        return Query(db_, known->second, false);
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v3(db_, sql.text(), -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK)
        fail(db_, sql.text());
    // The kept statement of this text may be in the middle of its rows; then this use has one of its own.
    const bool kept = known == prepared_.end() && prepared_.emplace(sql.text(), statement).second;
    return Query(db_, statement, !kept);
}

void Database::script(Sql sql) {
    if (sqlite3_exec(db_, sql.text(), nullptr, nullptr, nullptr) != SQLITE_OK)
        fail(db_, "cannot run a script");
}

std::int64_t Database::lastId() const {
    return sqlite3_last_insert_rowid(db_);
}

std::vector<std::string> Database::statements() const {
    std::vector<std::string> texts;
    for (const auto& [sql, statement] : prepared_)
        texts.emplace_back(sql);
    return texts;
}

void Database::observeChanges(ChangeObserver observer) {
    observer_ = std::move(observer);
    const auto call = [](void* self, int, const char*, const char* table, sqlite3_int64 row) {
        static_cast<Database*>(self)->observer_(table, row);
    };
    sqlite3_update_hook(db_, observer_ ? +call : nullptr, this);
}

void Database::observeRollbacks(RollbackObserver observer) {
    rollbackObserver_ = std::move(observer);
    const auto call = [](void* self) { static_cast<Database*>(self)->rollbackObserver_(); };
    sqlite3_rollback_hook(db_, rollbackObserver_ ? +call : nullptr, this);
}

int Database::changes() const {
    return sqlite3_changes(db_);
}

void Database::shortenBusyTimeout() {
    sqlite3_busy_timeout(db_, milliseconds(shortBusyTimeout));
}

bool Database::isInTransaction() const {
    return sqlite3_get_autocommit(db_) == 0;
}

Transaction::Transaction(Database& db) : db_(&db), isNested_(db.isInTransaction()) {
    db_->run(isNested_ ? Sql("SAVEPOINT transaction_scope") : Sql("BEGIN IMMEDIATE"));
}

/// Many may find the database locked at the same time: one of them waits for it, the others try again later.
std::optional<Transaction> Transaction::ifUnlocked(Database& db) {
    if (!db.isInTransaction() && std::chrono::steady_clock::now() < db.lockedUntil_)
        return std::nullopt;
    try {
        return Transaction(db);
    } catch (const DatabaseBusy&) {
        db.lockedUntil_ = std::chrono::steady_clock::now() + shortBusyTimeout;
        return std::nullopt;
    }
}

Transaction::~Transaction() {
    // After some errors, a full disk among them, SQLite has rolled everything back by itself.
    if (!isOpen_ || !db_->isInTransaction())
        return;
    try {
        rollBack();
    } catch (const DatabaseError& error) {
        logLine(error.what());
    }
}

void Transaction::rollBack() {
    if (isNested_) {
        db_->run("ROLLBACK TO transaction_scope");
        db_->run("RELEASE transaction_scope");
    } else {
        db_->run("ROLLBACK");
    }
}

void Transaction::commit() {
    if (!db_->isInTransaction())
        throw DatabaseError("an earlier error has undone the changes");
    db_->run(isNested_ ? Sql("RELEASE transaction_scope") : Sql("COMMIT"));
    isOpen_ = false;
    if (!isNested_)
        ++db_->commits_;
}

} // namespace webservice
