// The upgrade of a state that an earlier version of the program wrote.

#include "WebService/Storage/Schema.h"

#include "Support/FileSizeLimit.h"
#include "Support/RefusedCalls.h"
#include "Support/TemporaryFolder.h"
#include "WebService/Outbox/OutboxLedger.h"
#include "WebService/Storage/PasswordHash.h"

#include <gtest/gtest.h>

#include <sys/syscall.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>

namespace webservice {

TEST(AStateOfTheFirstVersion, IsBroughtToThePresentOne) {
    const test::TemporaryFolder folder;
    {
        StateDatabase db(folder.path("state.db").string());
        // What the later versions have added is taken away again, as if it had never been.
        db.script("PRAGMA foreign_keys = OFF; DROP TRIGGER upload_added; DROP TRIGGER upload_changed; "
                  "DROP TABLE upload_counts; DROP TABLE transfers; DROP TABLE computer_maps; DROP TABLE deletions; "
                  "DROP TABLE cloud; DROP TABLE requests; DROP TABLE files; DROP TABLE mails; DROP TABLE computers; "
                  "DROP TABLE users; PRAGMA user_version = 1; "
                  "INSERT INTO uploads (computer, name, is_file, position, state) "
                  "VALUES ('7', '\\a', 1, 1, 'acknowledged')");
    }
    StateDatabase db(folder.path("state.db").string());
    Query row = db.query("SELECT name, (SELECT count(*) FROM transfers) FROM uploads");
    ASSERT_TRUE(row.next());
    EXPECT_EQ(row.text(0), "\\a");
    EXPECT_EQ(row.integer(1), 0);
    EXPECT_EQ(OutboxLedger(db).count("acknowledged", "7"), 1);
}

namespace {

constexpr const char* oldPassword = "a password of version three";

/// A state of version 3 with a user and a mail that has the password, as its process left it.
void makeVersionThree(const std::string& path) {
    StateDatabase db(path);
    db.script("DROP INDEX users_by_password_code; ALTER TABLE users DROP COLUMN password_code;"
              "INSERT INTO users (mail, password, code) VALUES ('ann@example.org', 'a password of version three', 'c');"
              "INSERT INTO mails (sent_at, recipient, subject, body) VALUES "
              "('2024-03-01T09:30:00.123Z', 'ann@example.org', 'Your password', 'a password of version three');"
              "INSERT INTO mails (sent_at, recipient, subject, body) VALUES "
              "('2024-03-01T09:30:00.123Z', 'ann@example.org', 'Activate your account', '/activate?code=c');"
              "PRAGMA user_version = 3");
}

std::int64_t versionOf(Database& db) {
    Query version = db.query("PRAGMA user_version");
    EXPECT_TRUE(version.next());
    return version.integer(0);
}

bool hasOldPassword(const test::TemporaryFolder& folder) {
    bool isFound = false;
    for (const auto& file : std::filesystem::directory_iterator(folder.path()))
        isFound = isFound || test::contentOf(file.path()).find(oldPassword) != std::string::npos;
    return isFound;
}

} // namespace

TEST(AStateWithPasswords, KeepsTheirHashesAndNoTraceOfThem) {
    const test::TemporaryFolder folder;
    makeVersionThree(folder.path("state.db").string());
    ASSERT_TRUE(hasOldPassword(folder));
    StateDatabase db(folder.path("state.db").string());
    EXPECT_EQ(versionOf(db), 5);
    EXPECT_FALSE(hasOldPassword(folder)) << "while the state is in use";
    Query user = db.query("SELECT password FROM users");
    ASSERT_TRUE(user.next());
    EXPECT_TRUE(isPasswordOf(user.text(0), oldPassword));
    EXPECT_FALSE(isPasswordOf(user.text(0), "a password of version four"));
    Query mail = db.query("SELECT body FROM mails ORDER BY id");
    ASSERT_TRUE(mail.next());
    EXPECT_EQ(mail.text(0), "This password was mailed before passwords were kept as hashes; it has been removed.");
    ASSERT_TRUE(mail.next());
    EXPECT_EQ(mail.text(0), "/activate?code=c");
}

TEST(AStateWithPasswords, ThatAnotherProcessReadsIsErasedAtTheNextStart) {
    const test::TemporaryFolder folder;
    const std::string path = folder.path("state.db").string();
    makeVersionThree(path);
    {
        Database reader(path);
        Query row = reader.query("SELECT id FROM mails ORDER BY id");
        ASSERT_TRUE(row.next());
        StateDatabase db(path, std::chrono::milliseconds(1));
        EXPECT_EQ(versionOf(db), 4);
    }
    StateDatabase db(path);
    EXPECT_EQ(versionOf(db), 5);
    EXPECT_FALSE(hasOldPassword(folder));
}

TEST(AStateWithPasswords, ThatHasNoRoomToBeWrittenAnewIsErasedAtTheNextStart) {
    std::signal(SIGXFSZ, SIG_IGN);
    const test::TemporaryFolder folder;
    const std::string path = folder.path("state.db").string();
    makeVersionThree(path);
    Database(path).run("INSERT INTO errors (received_at, error_message) VALUES ('now', zeroblob(1000000))");
    {
        const test::FileSizeLimit full(500000);
        StateDatabase db(path);
        EXPECT_EQ(versionOf(db), 4);
        Query user = db.query("SELECT password FROM users");
        ASSERT_TRUE(user.next());
        EXPECT_TRUE(isPasswordOf(user.text(0), oldPassword));
    }
    StateDatabase db(path);
    EXPECT_EQ(versionOf(db), 5);
    EXPECT_FALSE(hasOldPassword(folder));
}

TEST(AStateOfALaterVersion, IsRefused) {
    const test::TemporaryFolder folder;
    const std::string path = folder.path("state.db").string();
    StateDatabase(path).script("PRAGMA user_version = 6");
    EXPECT_THROW(StateDatabase{path}, DatabaseError);
}

TEST(AHashOfAPassword, IsAnotherOneEachTime) {
    const std::string hash = passwordHash("secret");
    EXPECT_NE(hash, passwordHash("secret"));
    EXPECT_TRUE(isPasswordOf(hash, "secret"));
    EXPECT_FALSE(isPasswordOf(hash, "Secret"));
    EXPECT_FALSE(isPasswordOf(hash, ""));
    EXPECT_FALSE(isPasswordOf(hash.substr(0, hash.size() - 1), "secret"));
    for (const char* none : {"", "secret", "scrypt-4096-8-1$", "scrypt-4096-8-1$00"})
        EXPECT_FALSE(isPasswordOf(none, "secret")) << none;
    EXPECT_TRUE(isPasswordOf(passwordHash(std::string("a\0b", 3)), std::string_view("a\0b", 3)));
    EXPECT_FALSE(isPasswordOf(passwordHash(std::string("a\0b", 3)), "a"));
}

TEST(AHashOfAPassword, IsReadByLaterVersions) {
    const std::string begin = "scrypt-4096-8-1$000102030405060708090a0b0c0d0e0f$";
    const std::string key = "116393bf9593e5d78d8b32e30553c65929ed7609173e826957025851387a1d89";
    EXPECT_TRUE(isPasswordOf(begin + key, "secret"));
    EXPECT_FALSE(isPasswordOf(begin + key + "0", "secret"));
    EXPECT_FALSE(isPasswordOf(begin + key.substr(1) + "0", "secret"));
    EXPECT_FALSE(isPasswordOf("scrypt-8192-8-1$000102030405060708090a0b0c0d0e0f$" + key, "secret"));
    const std::string made = passwordHash("secret");
    EXPECT_EQ(made.size(), begin.size() + key.size());
    EXPECT_EQ(made.substr(0, 16), "scrypt-4096-8-1$");
    EXPECT_EQ(made.find_first_not_of("0123456789abcdef", 16), 48U) << made;
    EXPECT_EQ(made[48], '$');
}

TEST(RandomDigits, AreTwoForEachByte) {
    EXPECT_EQ(randomDigits(0), "");
    EXPECT_EQ(randomDigits(1).size(), 2U);
    const std::string digits = randomDigits(100);
    EXPECT_EQ(digits.size(), 200U);
    EXPECT_EQ(digits.find_first_not_of("0123456789abcdef"), std::string::npos) << digits;
    EXPECT_NE(digits, randomDigits(100));
    EXPECT_EXIT(
        {
            test::refuseCall(SYS_getrandom, ENOSYS);
            try {
                randomDigits(16);
            } catch (const std::system_error& error) {
                std::_Exit(std::string_view(error.what()).starts_with("cannot get random bytes: ") ? 0 : 2);
            }
            std::_Exit(1);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace webservice
