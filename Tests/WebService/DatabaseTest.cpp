// The SQLite layer and the schema.

#include "WebService/Storage/Database.h"

#include "Support/TemporaryFolder.h"
#include "WebService/Storage/Schema.h"

#include <gtest/gtest.h>

#include <fstream>
#include <type_traits>

namespace webservice {

namespace {

class ADatabase : public ::testing::Test {
protected:
    std::int64_t count() {
        Query row = db.query("SELECT count(*) FROM t");
        row.next();
        return row.integer(0);
    }

    test::TemporaryFolder folder;
    Database db{folder.path("test.db").string()};
};

} // namespace

TEST_F(ADatabase, KeepsTextsNumbersAndNulls) {
    db.script("CREATE TABLE t (a TEXT, b INTEGER, c TEXT)");
    const std::string withNul("x\0'; DROP TABLE t; --", 21);
    EXPECT_EQ(db.run("INSERT INTO t VALUES (?1, ?2, ?3)", withNul, true, std::optional<std::string>()), 1);
    Query row = db.query("SELECT a, b, c FROM t");
    ASSERT_TRUE(row.next());
    EXPECT_EQ(row.text(0), withNul);
    EXPECT_EQ(row.integer(1), 1);
    EXPECT_TRUE(row.isNull(2));
    EXPECT_FALSE(row.next());
}

TEST_F(ADatabase, RunsTheSameStatementWithinItself) {
    db.script("CREATE TABLE t (a INTEGER); INSERT INTO t VALUES (1), (2), (3)");
    const auto rows = [this](std::int64_t from) { return db.query("SELECT a FROM t WHERE a >= ?1 ORDER BY a", from); };
    std::string seen;
    for (Query outer = rows(1); outer.next();) {
        for (Query inner = rows(outer.integer(0)); inner.next();)
            seen += std::to_string(inner.integer(0));
        seen += ' ';
    }
    EXPECT_EQ(seen, "123 23 3 ");
}

TEST_F(ADatabase, UndoesATransactionThatWasNotCommitted) {
    db.script("CREATE TABLE t (a INTEGER)");
    {
        const Transaction abandoned(db);
        db.run("INSERT INTO t VALUES (1)");
        Transaction inner(db);
        db.run("INSERT INTO t VALUES (2)");
        inner.commit();
    }
    EXPECT_EQ(count(), 0);
    Transaction kept(db);
    db.run("INSERT INTO t VALUES (1)");
    {
        const Transaction inner(db);
        db.run("INSERT INTO t VALUES (2)");
    }
    kept.commit();
    EXPECT_EQ(count(), 1);
}

TEST(ATextOfSql, IsALiteralOfTheProgram) {
    static_assert(std::is_convertible_v<const char(&)[9], Sql>);
    static_assert(!std::is_constructible_v<Sql, const char*>);
    static_assert(!std::is_constructible_v<Sql, std::string>);
    static_assert(!std::is_constructible_v<Sql, std::string_view>);
    constexpr Sql sql = "SELECT 1";
    EXPECT_STREQ(sql.text(), "SELECT 1");
}

TEST_F(ADatabase, ReportsWhatItCannotDo) {
    EXPECT_THROW(db.run("INSERT INTO missing VALUES (1)"), DatabaseError);
    EXPECT_THROW(Database(folder.path("no/such/folder.db").string()), DatabaseError);
    folder.write("garbage.db", std::string(8192, 'x'));
    EXPECT_THROW(Database(folder.path("garbage.db").string()), DatabaseError);
}

TEST_F(ADatabase, HasTheSchemaAfterPreparingItOnceOrTwice) {
    prepareSchema(db);
    db.run("INSERT INTO errors (received_at) VALUES ('now')");
    prepareSchema(db);
    Query row = db.query("SELECT count(*) FROM errors");
    row.next();
    EXPECT_EQ(row.integer(0), 1);
}

TEST_F(ADatabase, OfALaterSchemaIsRefused) {
    db.script("PRAGMA user_version = 1000");
    try {
        prepareSchema(db);
        FAIL();
    } catch (const DatabaseError& error) {
        EXPECT_STREQ(error.what(), "the state has schema version 1000, later than 5");
    }
}

} // namespace webservice
