#pragma once

#include <chrono>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace webservice {

/// An error of SQLite, with its text.
class DatabaseError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Another process has the database locked, for longer than the busy timeout.
class DatabaseBusy : public DatabaseError {
public:
    using DatabaseError::DatabaseError;
};

/// A text of SQL. Only a literal of the program converts to it, so that no text from outside can become SQL.
class Sql {
public:
    template <std::size_t Size>
    consteval Sql(const char (&literal)[Size]) : text_(literal) {} // NOLINT(google-explicit-constructor)

    const char* text() const { return text_; }

private:
    const char* text_;
};

/// One use of a prepared statement: bound on construction, stepped with next(), reset on destruction.
class Query {
public:
    Query(sqlite3* db, sqlite3_stmt* statement, bool owned);
    Query(Query&& other) noexcept;
    Query& operator=(Query&&) = delete;
    ~Query();

    void bind(int index, std::string_view value);
    void bind(int index, std::int64_t value);
    void bind(int index, std::nullptr_t);
    void bind(int index, const std::string& value) { bind(index, std::string_view(value)); }
    void bind(int index, const char* value) { bind(index, std::string_view(value)); }
    template <std::integral T>
    requires(!std::same_as<T, std::int64_t>) void bind(int index, T value) {
        bind(index, static_cast<std::int64_t>(value));
    }
    template <typename T>
    void bind(int index, const std::optional<T>& value) {
        value ? bind(index, *value) : bind(index, nullptr);
    }

    /// Steps to the next row; false when there is none.
    bool next();

    bool isNull(int column) const;
    std::string text(int column) const;
    std::optional<std::string> optionalText(int column) const;
    std::int64_t integer(int column) const;

private:
    sqlite3* db_;
    sqlite3_stmt* statement_;
    bool owned_;
};

/// One SQLite database file, used from one thread. Statements are prepared once for each SQL text and kept.
class Database {
public:
    /// Opens or creates the file, in write-ahead mode. Where another process has it locked, every statement waits for
    /// up to `busyTimeout`. Throws DatabaseError.
    explicit Database(const std::string& path, std::chrono::milliseconds busyTimeout = std::chrono::seconds(5));
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    ~Database();

    /// Values go to ?1, ?2, … in order.
    template <typename... Values>
    Query query(Sql sql, const Values&... values) {
        Query result = start(sql);
        int index = 0;
        (result.bind(++index, values), ...);
        return result;
    }

    /// Runs a statement that returns no rows; returns how many rows it changed.
    template <typename... Values>
    int run(Sql sql, const Values&... values) {
        Query statement = query(sql, values...);
        while (statement.next()) {
        }
        return changes();
    }

    /// Runs any number of statements without values (schema, pragmas).
    void script(Sql sql);

    std::int64_t lastId() const;

    /// Whether a transaction is open. Queries see what it has changed.
    bool isInTransaction() const;

    /// The texts of all queries that were made up to now.
    std::vector<std::string> statements() const;

    /// How long a locked database is waited for altogether.
    std::chrono::milliseconds busyTimeout() const { return busyTimeout_; }

    /// From now on no statement waits for a lock for longer than a few milliseconds, since it would block a loop. A
    /// caller that finds the database locked tries again, for as long as `busyTimeout`.
    void shortenBusyTimeout();

    /// Calls the function for every row that is added, changed or removed from now on, before it is committed; nothing
    /// calls it for a table without row numbers, nor when all rows of a table are removed at once
    /// (sqlite3_update_hook). It must not use the database. An empty function ends that.
    using ChangeObserver = std::function<void(std::string_view table, std::int64_t row)>;
    void observeChanges(ChangeObserver observer);

    /// Calls the function whenever a whole transaction has been rolled back, by its Transaction or by SQLite itself
    /// (sqlite3_rollback_hook), not for a Transaction inside another one. It must not use the database. An empty
    /// function ends that.
    using RollbackObserver = std::function<void()>;
    void observeRollbacks(RollbackObserver observer);

    /// How many outermost Transactions have been committed.
    std::uint64_t commits() const { return commits_; }

private:
    friend class Transaction;
    Query start(Sql sql);
    int changes() const;

    sqlite3* db_ = nullptr;
    ChangeObserver observer_;
    RollbackObserver rollbackObserver_;
    std::uint64_t commits_ = 0;
    std::chrono::milliseconds busyTimeout_;
    /// Until when it counts as locked at the least: it was found locked just before.
    std::chrono::steady_clock::time_point lockedUntil_;
    /// By the address of the literal.
    std::unordered_map<const char*, sqlite3_stmt*> prepared_;
};

/// A transaction, rolled back unless commit() was reached. One inside another one joins it. The outermost one acquires
/// the lock for writing at its beginning, which is the only time that it waits for another process: a lock that is
/// acquired later, at the first change, fails without any waiting when another process has written in the meantime
/// (https://www.sqlite.org/isolation.html).
class Transaction {
public:
    /// Throws DatabaseBusy when another process has the database locked.
    explicit Transaction(Database& db);

    /// None when another process has the database locked.
    static std::optional<Transaction> ifUnlocked(Database& db);

    Transaction(Transaction&& other) noexcept
        : db_(other.db_), isNested_(other.isNested_), isOpen_(std::exchange(other.isOpen_, false)) {}
    Transaction& operator=(Transaction&&) = delete;
    ~Transaction();
    void commit();

private:
    void rollBack();

    Database* db_;
    bool isNested_;
    bool isOpen_ = true;
};

} // namespace webservice
