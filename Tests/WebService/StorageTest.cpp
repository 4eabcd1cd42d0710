// What the storage keeps, and what it says of its errors.

#include "Support/FileSizeLimit.h"
#include "Support/SmallDisk.h"
#include "Support/TestState.h"
#include "WebService/Storage/Database.h"
#include "WebService/Storage/IncomingFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <iterator>

namespace webservice::test {

namespace {

using namespace std::chrono_literals;

std::string textOfError(const std::function<void()>& work) {
    try {
        work();
    } catch (const std::exception& error) {
        return error.what();
    }
    return "";
}

auto numberOfOpenFiles() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return std::distance(begin(entries), end(entries));
}

mode_t permissionsOf(const std::filesystem::path& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

class TheStorage : public WithState {
protected:
    Database other{folder.path("test.db").string()};
};

/// No bits are taken away from what is made meanwhile.
class NoUmask {
public:
    NoUmask() : before_(::umask(0)) {}
    NoUmask(const NoUmask&) = delete;
    NoUmask& operator=(const NoUmask&) = delete;
    ~NoUmask() { ::umask(before_); }

private:
    mode_t before_;
};

} // namespace

TEST_F(TheStorage, NamesWhatTheDatabaseCannotDo) {
    EXPECT_EQ(textOfError([&] { other.script("nonsense"); }), "cannot run a script: near \"nonsense\": syntax error");
    EXPECT_EQ(textOfError([&] { other.run("SELECT a"); }), "SELECT a: no such column: a");
    other.script("CREATE TABLE t (a INTEGER NOT NULL)");
    EXPECT_EQ(textOfError([&] { other.run("INSERT INTO t VALUES (NULL)"); }),
              "INSERT INTO t VALUES (NULL): NOT NULL constraint failed: t.a");
    EXPECT_EQ(textOfError([&] { other.query("SELECT 1", "text"); }), "cannot bind a text: column index out of range");
    EXPECT_EQ(textOfError([&] { other.query("SELECT 1", 7); }), "cannot bind a number: column index out of range");
    EXPECT_EQ(textOfError([&] { other.query("SELECT 1", nullptr); }), "cannot bind NULL: column index out of range");
    const std::string path = folder.path("no/such/folder.db").string();
    EXPECT_EQ(textOfError([&] { const Database none(path); }),
              "cannot open " + path + ": unable to open database file");
}

TEST_F(TheStorage, KeepsEmptyTextsApartFromNull) {
    Query row = other.query("SELECT ?1 IS NULL, ?2 IS NULL, ?3, ?4", std::string_view(), std::optional<std::string>(),
                            "text", std::optional<std::int64_t>(7));
    ASSERT_TRUE(row.next());
    EXPECT_EQ(row.integer(0), 0);
    EXPECT_EQ(row.integer(1), 1);
    EXPECT_EQ(row.optionalText(2), "text");
    EXPECT_EQ(row.integer(3), 7);
}

TEST_F(TheStorage, WritesAheadAndChecksReferences) {
    const auto pragma = [&](Sql sql) {
        Query row = other.query(sql);
        row.next();
        return row.text(0);
    };
    EXPECT_EQ(pragma("PRAGMA journal_mode"), "wal");
    EXPECT_EQ(pragma("PRAGMA synchronous"), "1");
    EXPECT_EQ(pragma("PRAGMA foreign_keys"), "1");
    EXPECT_EQ(other.busyTimeout(), 5s);
    EXPECT_EQ(pragma("PRAGMA busy_timeout"), "5000");
    EXPECT_EQ(state->db.busyTimeout(), 5s);
}

TEST_F(TheStorage, ClosesItsDatabases) {
    folder.write("garbage.db", std::string(8192, 'x'));
    const auto before = numberOfOpenFiles();
    for (int i = 0; i < 3; ++i) {
        EXPECT_NE(textOfError([&] { Database(folder.path("garbage.db").string()); }), "");
        EXPECT_NE(textOfError([&] { Database(folder.path("no/folder.db").string()); }), "");
        Database good(folder.path("good.db").string());
        good.run("SELECT 1");
        const Query unfinished = good.query("SELECT 1");
        static_cast<void>(unfinished);
        // A statement that runs within itself is prepared twice.
        Query outer = good.query("SELECT 2 UNION SELECT 3");
        EXPECT_TRUE(outer.next());
        EXPECT_TRUE(good.query("SELECT 2 UNION SELECT 3").next());
    }
    EXPECT_EQ(numberOfOpenFiles(), before);
}

TEST_F(TheStorage, NumbersIncomingFilesAndEmptiesTheirFolderAtTheStart) {
    folder.write("incoming/left/file", "x");
    IncomingFolder incoming(folder.path("incoming").string());
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("incoming")));
    EXPECT_EQ(incoming.newPath(), folder.path("incoming/1"));
    EXPECT_EQ(incoming.newPath(), folder.path("incoming/2"));
    folder.write("data/incoming/1", "left by a process that was killed");
    restart();
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("data/incoming")));
}

TEST_F(TheStorage, NamesWhatCannotBeDoneWithAnIncomingFile) {
    folder.write("file", "x");
    const std::string file = folder.path("file").string();
    EXPECT_EQ(textOfError([&] { IncomingFolder(file + "/incoming"); }).substr(0, 16), "filesystem error");
    EXPECT_EQ(textOfError([&] { IncomingFolder(folder.path("none/incoming").string()); }),
              "cannot make the folder " + folder.path("none/incoming").string() + ": No such file or directory");
    EXPECT_EQ(textOfError([&] { IncomingFile{file}; }), "cannot open " + file + ": File exists");
    EXPECT_EQ(contentOf(folder.path("file")), "x");
}

TEST_F(TheStorage, CountsWhatAnIncomingFileReceivesAndRemovesIt) {
    const std::string path = folder.path("received").string();
    {
        IncomingFile file(path);
        file.append("hello ");
        file.append("");
        file.append("world");
        EXPECT_EQ(file.size(), 11U);
        EXPECT_EQ(contentOf(path), "hello world");
        EXPECT_EQ(file.path(), path);
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(TheStorage, AppliesTheUmaskToFilesAndFolders) {
    const NoUmask none;
    EXPECT_EQ(request("PUT", "/outbox/7/Docs/a", "x").status, 201);
    EXPECT_EQ(request("PUT", "/outbox/7/folder/").status, 201);
    EXPECT_EQ(permissionsOf(folder.path("data/outbox/7/Docs/a")), 0666U);
    EXPECT_EQ(permissionsOf(folder.path("data/outbox/7/Docs")), 0777U);
    EXPECT_EQ(permissionsOf(folder.path("data/outbox/7/folder")), 0777U);
    folder.remove("data/incoming");
    folder.remove("data/outbox");
    EXPECT_EQ(request("PUT", "/outbox/7/a", "x").status, 201);
    EXPECT_EQ(permissionsOf(folder.path("data/incoming")), 0777U);
    EXPECT_EQ(permissionsOf(folder.path("data/outbox")), 0777U);
}

TEST_F(TheStorage, RefusesAPushThatDoesNotFit) {
    std::signal(SIGXFSZ, SIG_IGN);
    const Response response = [this] {
        const FileSizeLimit small(1000);
        return request("PUT", "/outbox/7/a", std::string(1001, 'x'));
    }();
    EXPECT_EQ(response.status, 500);
    EXPECT_EQ(response.body, R"({"ReturnStatus":"1","error":{"code":"CannotStore","message":"cannot write )" +
                                 folder.path("data/incoming/1").string() + R"(: File too large"}})");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("data/incoming")));
}

TEST_F(TheStorage, RefusesAPushWith507WhereTheDiskIsFull) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto push = [this] {
        enterNamespaces();
        {
            const SmallDisk disk(folder.path("data/incoming").string(), "64k");
            const Response response = request("PUT", "/outbox/7/a", std::string(100'000, 'x'));
            std::fprintf(stderr, "%d %s\n", response.status, response.body.c_str());
        }
        folder.remove("");
        std::_Exit(0);
    };
    EXPECT_EXIT(push(), testing::ExitedWithCode(0),
                "507 .\"ReturnStatus\":\"1\",\"error\":.\"code\":\"CannotStore\",\"message\":\"cannot write "
                ".*/incoming/1: No space left on device\"..\n");
}

TEST_F(TheStorage, IsLostWhereItsDatabaseOrItsLockWasReplaced) {
    for (const char* file : {"data/state.db", "data/lock"}) {
        EXPECT_EQ(request("GET", "/status").status, 200);
        folder.move(file, "elsewhere");
        folder.write(file, "");
        EXPECT_THROW(request("GET", "/status"), StateLost) << file;
        folder.remove(file);
        folder.move("elsewhere", file);
    }
    EXPECT_EQ(request("GET", "/status").status, 200);
}

} // namespace webservice::test
