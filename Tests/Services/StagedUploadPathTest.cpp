// Which file the path of an upload names, and that no other one is sent, replaced or removed.

#include "StagedUploadFixture.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>

namespace ServicesTests {

namespace {

namespace fs = std::filesystem;
using TestSupport::HttpReply;
using Log = std::vector<std::string>;

class ThePathOfAnUpload : public StagedUploadFixture {};

TEST_F(ThePathOfAnUpload, LeavesAFileThatLiesInTheHomeDirectoryThere) {
    const std::string path = home.write("mine.txt", "content");
    fs::create_symlink(home.path(), folder.path("link"));
    for (const auto& filePath : {windowsForm(path), path.substr(1), windowsForm(folder.path("link") + "/mine.txt")}) {
        reports.all.clear();
        server.enqueue(HttpReply::json("{}"));
        upload(params(filePath));
        ASSERT_TRUE(awaitReport());
        EXPECT_EQ(reports.all[0].status, 0U) << filePath;
        EXPECT_EQ(server.requests().back().body, "content");
        EXPECT_EQ(home.read("mine.txt"), "content");
    }
}

TEST_F(ThePathOfAnUpload, ReadsSizeAndContentFromTheFileThatThePathNamesAsAUrl) {
    struct Case {
        const char* name;
        const char* named;
    };
    for (const auto& [name, named] : {Case{"a%41.txt", "aA.txt"}, Case{"b#c.txt", "b"}, Case{"q?x.txt", "q"}}) {
        folder.write(name, "the file of that very name");
        folder.write(named, "content");
        reports.all.clear();
        log.clear();
        server.enqueue(HttpReply::json("{}"));
        upload(params(windowsForm(folder.path(name))));
        EXPECT_EQ(log.entries(), Log{"7 transit/601 601"}) << name;
        ASSERT_TRUE(awaitReport());
        EXPECT_EQ(reports.all[0].status, 0U) << name;
        EXPECT_EQ(server.requests().back().body, "content") << name;
        EXPECT_TRUE(homeIsEmpty());
    }
}

TEST_F(ThePathOfAnUpload, FindsNoFileWhereOnlyOneOfThatVeryNameIs) {
    for (const char* name : {"a%41.txt", "b#c.txt", "q?x.txt"}) {
        reports.all.clear();
        log.clear();
        upload(params(windowsForm(folder.write(name, "content"))));
        EXPECT_EQ(log.entries(), Log{"(null) transit/601 601"}) << name;
        expectNoFile();
    }
}

TEST_F(ThePathOfAnUpload, TreatsThePartAfterTwoSeparatorsAsAHost) {
    // With a separator in front, the path becomes "//tmp/...", whose first part a URL takes for its host.
    std::string filePath = folder.write("report.txt", "content");
    std::replace(filePath.begin(), filePath.end(), '/', '\\');
    upload(params(filePath));
    EXPECT_EQ(log.entries(), Log{"(null) transit/601 601"});
    expectNoFile();
}

TEST_F(ThePathOfAnUpload, KeepsAFileInTheHomeDirectoryWhoseNameNamesAnother) {
    home.write("a%41.txt", "mine");
    home.write("aA.txt", "another");
    upload(params(windowsForm(home.path("a%41.txt"))));
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 2U);
    EXPECT_EQ(reports.all[0].result.error()->code, -1100);
    EXPECT_EQ(home.read("a%41.txt"), "mine");
    EXPECT_EQ(home.read("aA.txt"), "another");
    EXPECT_TRUE(everyRequest().empty());
}

TEST_F(ThePathOfAnUpload, FindsNoFileWhosePathHoldsABlank) {
    upload(params(windowsForm(folder.write("my report.txt", "content"))));
    EXPECT_EQ(log.entries(), Log{"(null) transit/601 601"});
    expectNoFile();
}

TEST_F(ThePathOfAnUpload, FindsNoFileWhereThereIsNone) {
    upload(params(windowsForm(folder.path("missing.txt"))));
    EXPECT_EQ(log.entries(), Log{"(null) transit/601 601"});
    expectNoFile();
}

TEST_F(ThePathOfAnUpload, SendsNoOtherFileOfTheNameInPlaceOfAMissingOne) {
    home.write("missing.txt", "private");
    upload(params(windowsForm(folder.path("missing.txt"))));
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 2U);
    EXPECT_EQ(reports.all[0].result.error()->code, -1100);
    EXPECT_EQ(home.read("missing.txt"), "private");
    EXPECT_TRUE(everyRequest().empty());
}

TEST_F(ThePathOfAnUpload, FindsNoFileThatCannotBeRead) {
    fs::create_directory(folder.path("folder"));
    ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
    // A regular file that opens, and whose first byte no process may read.
    for (const std::string& path : {folder.path("folder"), folder.path("fifo"), std::string("/proc/self/mem")}) {
        reports.all.clear();
        upload(params(windowsForm(path)));
        expectNoFile();
    }
}

TEST_F(ThePathOfAnUpload, FindsNoFileWithoutAPath) {
    upload({});
    EXPECT_EQ(log.entries(), Log{"(null) (null) (null)"});
    expectNoFile();
}

} // namespace

} // namespace ServicesTests
