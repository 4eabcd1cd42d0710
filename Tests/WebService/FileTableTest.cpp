// The tables of the computers' files: what is entered in them, moved and removed.

#include "Support/TwoUsers.h"

namespace webservice::test {

namespace {

using Names = std::vector<std::string>;

class AFileTable : public WithTwoUsers {
protected:
    void create(std::string_view path, std::string_view computer = "2") {
        EXPECT_TRUE(sync(R"({"ChangeType":"Created","FullPath":")" + std::string(path) + R"(","ComputerID":")" +
                         std::string(computer) + R"("})")
                        .starts_with(R"([{"FileID":)"));
    }

    /// What a query gives, its rows one after the other.
    std::string rows(Sql sql) {
        std::string all;
        for (Query row = state->db.query(sql); row.next();)
            all += row.text(0) + ' ';
        return all;
    }
    std::string present() { return rows("SELECT full_path FROM files WHERE present ORDER BY id"); }
};

} // namespace

TEST_F(AFileTable, TellsAFolderByItsLastSeparator) {
    for (const char* path : {"a", "b\\\\", "c/", "d\\\\/\\\\", "\\\\", "/"})
        EXPECT_EQ(field(call("SyncFileChanges.svc/InsertFile",
                             R"({"ComputerID":"2","FullPath":")" + std::string(path) + R"("})"),
                        "ReturnStatus"),
                  "0");
    EXPECT_EQ(rows("SELECT full_path || is_file FROM files ORDER BY id"), "a1 b0 c0 d0 \\1 /1 ");
}

TEST_F(AFileTable, KeepsWhatAChangeDoesNotTell) {
    sync(R"({"ComputerID":"2","ChangeType":"Created","FullPath":"a","FileSize":"1","FileModifiedDate":"m",)"
         R"("BaseSystemFileID":"7"})");
    sync(R"({"ComputerID":"2","ChangeType":"Changed","FullPath":"a"})");
    EXPECT_EQ(rows("SELECT size || modified || base_system_file || is_file FROM files"), "1m71 ");
    sync(R"({"ComputerID":"2","ChangeType":"Changed","FullPath":"a","FileSize":"2","FileModifiedDate":"n",)"
         R"("BaseSystemFileID":"8","IsFile":"False"})");
    EXPECT_EQ(rows("SELECT size || modified || base_system_file || is_file FROM files"), "2n80 ");
}

TEST_F(AFileTable, TakesWhatOneTimeSyncFilesTellsOfEachFile) {
    expect("Registration.svc/OneTimeSyncFiles",
           R"({"ComputerID":"2","QuenmarkPath":"new","AllFiles":"[{\"FullPath\":\"new\\\\a\",\"IsFile\":\"True\",)"
           R"(\"FileSize\":\"5\",\"FileModifiedDate\":\"m\",\"BaseSystemFileID\":\"7\"},{\"FullPath\":\"b\\\\\"},)"
           R"({\"FullPath\":\"c\\\\\",\"IsFile\":\"True\"},\"d/\"]"})",
           accepted);
    EXPECT_EQ(rows("SELECT full_path || is_file || coalesce(size || modified || base_system_file, '') FROM files "
                   "ORDER BY id"),
              "new\\a15m7 b0 c1 d0 ");
    EXPECT_EQ(rows("SELECT name FROM files WHERE id = 1"), "\\a ");
    EXPECT_EQ(rows("SELECT quenmark_path FROM computers WHERE id = 2"), "new ");
    expectRefusal("Registration.svc/OneTimeSyncFiles", R"({"ComputerID":"2","AllFiles":"[{}]"})", "MissingKey",
                  "\"FullPath\" is missing");
    expectRefusal("Registration.svc/OneTimeSyncFiles", R"({"ComputerID":"2","AllFiles":"[{\"FullPath\":[]}]"})",
                  "WrongType", "\"FullPath\" is not a text");
    EXPECT_EQ(present(), "new\\a b c d ");
}

TEST_F(AFileTable, TakesALongListInManyPieces) {
    std::string list = "[";
    for (int i = 0; i < 9000; ++i)
        list += (i == 0 ? "" : ",") + std::string(R"(\"folder\\\\file)") + std::to_string(i) + R"(\")";
    expect("Registration.svc/OneTimeSyncFiles", R"({"ComputerID":"2","AllFiles":")" + list + R"(]"})", accepted);
    EXPECT_EQ(rows("SELECT count(*) FROM files WHERE present"), "9000 ");
    EXPECT_EQ(rows("SELECT full_path FROM files WHERE id = 9000"), "folder\\file8999 ");
    expect("Registration.svc/OneTimeSyncFiles", R"({"ComputerID":"2","AllFiles":"folder\\file7"})", accepted);
    EXPECT_EQ(present(), "folder\\file7 ");
    EXPECT_EQ(rows("SELECT file FROM requests WHERE state = 'waiting'"), "8 ");
    const Response bad = request("POST", "/QuenmarkRestService/Registration.svc/OneTimeSyncFiles",
                                 R"({"ComputerID":"2","AllFiles":"[1"})");
    EXPECT_EQ(bad.status, 400);
    EXPECT_EQ(field(bad.body, "ReturnStatus"), "1");
}

TEST_F(AFileTable, TakesAHundredThousandEntriesAndNoMore) {
    std::string lines;
    for (int i = 0; i < 100'000; ++i)
        lines += "a\\n";
    EXPECT_EQ(call("Registration.svc/OneTimeSyncFiles", R"({"ComputerID":"2","AllFiles":")" + lines + "\"}"), accepted);
    EXPECT_EQ(present(), "a ");
}

TEST_F(AFileTable, RemovesAFolderWithAllThatIsBelowIt) {
    for (int i = 0; i < 1100; ++i)
        state->db.run("INSERT INTO files (computer, full_path, is_file) VALUES (2, ?1, 1)",
                      "Docs\\" + std::to_string(i));
    for (const char* path : {"Docs", "Docs/a", "Docs0", "Docs]", "Docs.a", "Doc"})
        create(path);
    create("Docs\\\\a", "3");
    sync(R"({"ComputerID":"2","ChangeType":"Deleted","FullPath":"Docs"})");
    EXPECT_EQ(present(), "Docs0 Docs] Docs.a Doc Docs\\a ");
    EXPECT_EQ(rows("SELECT path FROM deletions"), "\\Docs ");
}

TEST_F(AFileTable, RenamesAFolderInSlicesWhileItsFilesChange) {
    create("old");
    {
        Transaction transaction(state->db);
        for (int i = 1000; i < 3000; ++i)
            state->db.run("INSERT INTO files (computer, full_path, is_file) VALUES (2, ?1, 1)",
                          "old\\" + std::to_string(i));
        transaction.commit();
    }
    const auto renaming = begin("SyncFileChanges.svc/SyncFilesInTableAndCloud",
                                R"([{"ComputerID":"2","ChangeType":"Renamed","OldFullPath":"old","FullPath":"new"}])");
    ASSERT_FALSE(renaming->step());
    sync(R"({"ComputerID":"2","ChangeType":"Deleted","FullPath":"old\\2999"})");
    sync(R"({"ComputerID":"2","ChangeType":"Renamed","OldFullPath":"old\\2998","FullPath":"away"})");
    create("new\\\\2997");
    EXPECT_EQ(renaming->finish().body, R"([{"FileID":"1","ReturnStatus":"0","BaseSystemFileID":null}])");
    EXPECT_EQ(rows("SELECT count(*) FROM files WHERE present AND full_path >= 'new\\' AND full_path < 'new]'"),
              "1998 ");
    EXPECT_EQ(rows("SELECT full_path FROM files WHERE present AND full_path < 'new'"), "away ");
    EXPECT_EQ(rows("SELECT full_path FROM files WHERE present AND full_path > 'new\\2996'"), "new\\2997 ");
}

TEST_F(AFileTable, RenamesAFileToItsOwnNameWithoutRemovingIt) {
    sync(R"({"ComputerID":"2","ChangeType":"Created","FullPath":"a","FileSize":"1"})");
    EXPECT_EQ(sync(R"({"ComputerID":"2","ChangeType":"Renamed","OldFullPath":"a","FullPath":"a","FileSize":"2"})"),
              R"([{"FileID":"1","ReturnStatus":"0","BaseSystemFileID":null}])");
    EXPECT_EQ(rows("SELECT size FROM files WHERE present"), "2 ");
    EXPECT_EQ(rows("SELECT path FROM deletions"), "");
}

TEST_F(AFileTable, AsksForFilesInTheOrderOfTheirChanges) {
    create("a");
    create("b");
    create("a");
    create("c", "3");
    EXPECT_EQ(rows("SELECT computer || ':' || file || ':' || position || ':' || from_shared FROM requests ORDER BY id"),
              "2:1:1:0 2:2:2:0 3:3:1:0 ");
}

TEST_F(AFileTable, HasFilesOfFoldersThatCannotBeNamedOnTheWire) {
    sync(R"({"ComputerID":"2","ChangeType":"Created","FullPath":"..\\a","IsFile":"False"})");
    EXPECT_EQ(acknowledgeAll("3"), Names());
    sync(R"({"ComputerID":"2","ChangeType":"Deleted","FullPath":"..\\a"})");
    EXPECT_EQ(rows("SELECT path FROM deletions"), "..\\a ");
    EXPECT_EQ(rows("SELECT computer FROM deletions"), "3 ");
}

TEST_F(AFileTable, KeepsContentsUnderNamesThatBeginWithAnything) {
    EXPECT_EQ(upload("4711", "x\\a", "hello"), accepted);
    EXPECT_EQ(rows("SELECT name FROM cloud"), "\\x\\a ");
    expect("MAC/SharedFiles.svc/IsFileExistsInCloud", R"({"StrFullPath":"/x/a"})",
           R"({"IsExists":"True","ReturnStatus":"0","error":null})");
    expect("MAC/SharedFiles.svc/IsFileExistsInCloud", R"({"StrFullPath":"a"})",
           R"({"IsExists":"False","ReturnStatus":"0","error":null})");
}

TEST_F(AFileTable, GivesAComputerThatComesLaterManyContents) {
    folder.write("content", "x");
    {
        Transaction transaction(state->db);
        for (int i = 0; i < 301; ++i) {
            folder.write("content", "x");
            state->cloud.store({.id = 0,
                                .user = 1,
                                .fullPath = "f" + std::to_string(i),
                                .name = "\\f" + std::to_string(i),
                                .size = 1,
                                .request = "1",
                                .transitPath = std::nullopt},
                               folder.path("content").string());
        }
        transaction.commit();
    }
    expect("Registration.svc/TransferFilesFromCloudToBaseSystem", R"({"ComputerID":"3"})", accepted);
    EXPECT_EQ(field(request("GET", "/status?computer=3").body, "pending"), "301");
}

} // namespace webservice::test
