#include "Platform/Files/Files.h"

#include "Support/ErrorCode.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

namespace Files = Platform::Files;
using Platform::Error;
using TestSupport::codeOf;
using TestSupport::TemporaryDirectory;
using Names = std::vector<std::string>;

mode_t modeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

class LocalFiles : public testing::Test {
protected:
    void SetUp() override { ::umask(022); }
    TemporaryDirectory folder;
};

TEST_F(LocalFiles, AreFoundWithTheirKindAndSize) {
    const auto file = folder.write("a", "12345");
    EXPECT_TRUE(Files::exists(file));
    EXPECT_FALSE(Files::isDirectory(file));
    EXPECT_EQ(Files::size(file), 5U);
    EXPECT_TRUE(Files::exists(folder.path()));
    EXPECT_TRUE(Files::isDirectory(folder.path()));
}

TEST_F(LocalFiles, AreNotFoundWhereThereIsNothing) {
    EXPECT_FALSE(Files::exists(folder.path("a")));
    EXPECT_FALSE(Files::isDirectory(folder.path("a")));
    EXPECT_EQ(Files::size(folder.path("a")), std::nullopt);
    EXPECT_FALSE(Files::exists(""));
}

TEST_F(LocalFiles, AreFoundThroughLinks) {
    folder.write("a", "123");
    ASSERT_EQ(::symlink("a", folder.path("link").c_str()), 0);
    ASSERT_EQ(::symlink("nothing", folder.path("dangling").c_str()), 0);
    EXPECT_TRUE(Files::exists(folder.path("link")));
    EXPECT_EQ(Files::size(folder.path("link")), 3U);
    EXPECT_FALSE(Files::exists(folder.path("dangling")));
}

TEST_F(LocalFiles, AreNotNamedByAPathWithAZeroByte) {
    const std::string path = folder.write("a", "1") + std::string("\0b", 2);
    EXPECT_FALSE(Files::exists(path));
    EXPECT_FALSE(Files::isDirectory(folder.path() + std::string("\0x", 2)));
    EXPECT_EQ(Files::size(path), std::nullopt);
    EXPECT_EQ(codeOf(Files::contents(path)), ENOENT);
    EXPECT_EQ(codeOf(Files::write(path, "2")), ENOENT);
    EXPECT_EQ(codeOf(Files::writeAtomically(path, "2")), ENOENT);
    EXPECT_EQ(codeOf(Files::createDirectory(folder.path("d") + std::string("\0x", 2))), ENOENT);
    EXPECT_EQ(codeOf(Files::removeItem(path)), ENOENT);
    EXPECT_EQ(codeOf(Files::contentsOfDirectory(folder.path() + std::string("\0x", 2))), ENOENT);
    EXPECT_EQ(std::get<0>(Files::contentsOfDirectory(folder.path())), Names{"a"});
    EXPECT_EQ(folder.read("a"), "1");
}

TEST_F(LocalFiles, AreMadeInOneStepWhereNothingIs) {
    const auto path = folder.path("new");
    EXPECT_EQ(Files::createAtomically(path, "1"), std::nullopt);
    EXPECT_EQ(folder.read("new"), "1");
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    EXPECT_EQ(Files::createAtomically(path, "2"), (Error{"POSIX", EEXIST, path + ": File exists"}));
    EXPECT_EQ(folder.read("new"), "1");
    ASSERT_EQ(::symlink("nowhere", folder.path("link").c_str()), 0);
    EXPECT_EQ(codeOf(Files::createAtomically(folder.path("link"), "2")), EEXIST);
    EXPECT_EQ(codeOf(Files::createAtomically(folder.path("none/a"), "2")), ENOENT);
    EXPECT_EQ(std::get<0>(Files::contentsOfDirectory(folder.path())), (std::vector<std::string>{"link", "new"}));
}

TEST_F(LocalFiles, GetEveryMissingFolderAboveThem) {
    EXPECT_EQ(codeOf(Files::createDirectory(folder.path("a//b/../c/d/"))), 0);
    EXPECT_TRUE(Files::isDirectory(folder.path("a/c/d")));
    EXPECT_EQ(modeOf(folder.path("a/c/d")), 0755U);
    EXPECT_EQ(codeOf(Files::createDirectory(folder.path("a/c/d"))), 0);
}

TEST_F(LocalFiles, GetNoFolderWhereAFileIsInTheWay) {
    folder.write("file", "");
    EXPECT_EQ(codeOf(Files::createDirectory(folder.path("file"))), EEXIST);
    EXPECT_EQ(codeOf(Files::createDirectory(folder.path("file/below/it"))), ENOTDIR);
    EXPECT_EQ(codeOf(Files::createDirectory("")), ENOENT);
    ASSERT_EQ(::symlink("nothing", folder.path("dangling").c_str()), 0);
    EXPECT_EQ(codeOf(Files::createDirectory(folder.path("dangling"))), EEXIST);
}

TEST_F(LocalFiles, GetAFolderThatIsALinkToOne) {
    ASSERT_EQ(codeOf(Files::createDirectory(folder.path("real"))), 0);
    ASSERT_EQ(::symlink("real", folder.path("link").c_str()), 0);
    EXPECT_EQ(codeOf(Files::createDirectory(folder.path("link"))), 0);
    EXPECT_EQ(codeOf(Files::createDirectory(folder.path("link/sub"))), 0);
    EXPECT_TRUE(Files::isDirectory(folder.path("real/sub")));
}

TEST_F(LocalFiles, NameTheirPathInErrors) {
    const auto error = Files::removeItem(folder.path("gone"));
    ASSERT_TRUE(error);
    EXPECT_EQ(*error, (Error{"POSIX", ENOENT, folder.path("gone") + ": No such file or directory"}));
}

TEST_F(LocalFiles, AreRemovedWithAllThatIsInThem) {
    folder.write("tree/a/b/c", "1");
    folder.write("tree/.hidden", "2");
    EXPECT_EQ(codeOf(Files::removeItem(folder.path("tree"))), 0);
    EXPECT_FALSE(Files::exists(folder.path("tree")));
    EXPECT_EQ(codeOf(Files::removeItem(folder.path("tree"))), ENOENT);
}

TEST_F(LocalFiles, AreNotReachedThroughRemovedLinks) {
    folder.write("kept/file", "1");
    ASSERT_EQ(::symlink("kept", folder.path("link").c_str()), 0);
    folder.write("tree/a", "1");
    ASSERT_EQ(::symlink("../kept", folder.path("tree/link").c_str()), 0);
    EXPECT_EQ(codeOf(Files::removeItem(folder.path("tree"))), 0);
    EXPECT_EQ(codeOf(Files::removeItem(folder.path("link") + "/")), 0);
    EXPECT_EQ(std::get<0>(Files::contentsOfDirectory(folder.path())), Names{"kept"});
    EXPECT_EQ(folder.read("kept/file"), "1");
}

TEST_F(LocalFiles, AreRemovedHoweverDeepTheyLie) {
    std::string path = folder.path("deep");
    for (int level = 0; level < 1500; ++level)
        path += "/d";
    ASSERT_EQ(codeOf(Files::createDirectory(path)), 0);
    ASSERT_EQ(codeOf(Files::write(path + "/file", "1")), 0);
    EXPECT_EQ(codeOf(Files::removeItem(folder.path("deep"))), 0);
    EXPECT_FALSE(Files::exists(folder.path("deep")));
}

TEST_F(LocalFiles, AreListedInOrder) {
    for (const char* name : {"b", ".c", "a", "é"})
        folder.write(name, "");
    EXPECT_EQ(std::get<0>(Files::contentsOfDirectory(folder.path())), (Names{".c", "a", "b", "é"}));
    EXPECT_EQ(codeOf(Files::contentsOfDirectory(folder.path("a"))), ENOTDIR);
    EXPECT_EQ(codeOf(Files::contentsOfDirectory(folder.path("x"))), ENOENT);
}

TEST_F(LocalFiles, AreReadWhole) {
    const std::string content = std::string("\0\xFF", 2) + std::string(3 << 20, 'x');
    folder.write("a", content);
    EXPECT_EQ(std::get<std::string>(Files::contents(folder.path("a"))), content);
    folder.write("empty", "");
    EXPECT_EQ(std::get<std::string>(Files::contents(folder.path("empty"))), "");
}

TEST_F(LocalFiles, AreReadUpToALimit) {
    folder.write("a", "12345");
    EXPECT_EQ(std::get<std::string>(Files::contents(folder.path("a"), 5)), "12345");
    EXPECT_EQ(codeOf(Files::contents(folder.path("a"), 4)), EFBIG);
    EXPECT_EQ(codeOf(Files::contents(folder.path("a"), 0)), EFBIG);
}

TEST_F(LocalFiles, AreReadWhereTheirSizeDoesNotTell) {
    const auto status = Files::contents("/proc/self/status");
    ASSERT_TRUE(std::holds_alternative<std::string>(status));
    EXPECT_NE(std::get<std::string>(status).find("Threads:"), std::string::npos);
    EXPECT_EQ(codeOf(Files::contents("/proc/self/status", 16)), EFBIG);
}

TEST_F(LocalFiles, AreReadOnlyWhereNoReadCanWait) {
    ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
    EXPECT_EQ(codeOf(Files::contents(folder.path("fifo"))), EINVAL);
    EXPECT_EQ(codeOf(Files::contents("/dev/zero")), EINVAL);
    EXPECT_EQ(codeOf(Files::contents(folder.path())), EISDIR);
    EXPECT_EQ(codeOf(Files::contents(folder.path("x"))), ENOENT);
}

TEST_F(LocalFiles, AreWrittenInPlace) {
    EXPECT_EQ(codeOf(Files::write(folder.path("a"), "12345")), 0);
    EXPECT_EQ(modeOf(folder.path("a")), 0644U);
    ASSERT_EQ(::link(folder.path("a").c_str(), folder.path("same").c_str()), 0);
    EXPECT_EQ(codeOf(Files::write(folder.path("a"), std::string("6\0", 2))), 0);
    EXPECT_EQ(folder.read("same"), std::string("6\0", 2));
    EXPECT_EQ(codeOf(Files::write(folder.path("no/folder"), "")), ENOENT);
    EXPECT_EQ(codeOf(Files::write(folder.path(), "")), EISDIR);
}

TEST_F(LocalFiles, AreCopiedForNobodyWhoCannotReadThem) {
    const auto from = folder.write("a", "content");
    const auto to = folder.write("b", "older and longer");
    ASSERT_EQ(::chmod(to.c_str(), 0666), 0);
    ASSERT_EQ(::chmod(from.c_str(), 0640), 0);
    EXPECT_EQ(Files::copyContents(from, to), std::nullopt);
    struct stat status {};
    ASSERT_EQ(::stat(to.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
    EXPECT_EQ(folder.read("b"), "content");
    if (::geteuid() == 0) {
        ASSERT_EQ(::chown(from.c_str(), 0, 65534), 0);
        EXPECT_EQ(Files::copyContents(from, to), std::nullopt);
        ASSERT_EQ(::stat(to.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0600U) << "its group is another one";
    }
}

TEST_F(LocalFiles, AreNotCopiedWhereTheyCannotBeRead) {
    EXPECT_EQ(Files::copyContents(folder.path("none"), folder.path("b"))->code, ENOENT);
    EXPECT_EQ(Files::copyContents(folder.path(), folder.path("b"))->code, EISDIR);
    EXPECT_FALSE(Files::exists(folder.path("b")));
    EXPECT_EQ(Files::copyContents(folder.write("a", "x"), folder.path())->code, EISDIR);
}

TEST_F(LocalFiles, AreReplacedInOneStep) {
    folder.write("a", "old");
    ASSERT_EQ(::link(folder.path("a").c_str(), folder.path("before").c_str()), 0);
    EXPECT_EQ(codeOf(Files::writeAtomically(folder.path("a"), "new")), 0);
    EXPECT_EQ(folder.read("a"), "new");
    EXPECT_EQ(folder.read("before"), "old");
    EXPECT_EQ(modeOf(folder.path("a")), 0600U);
    EXPECT_EQ(std::get<0>(Files::contentsOfDirectory(folder.path())), (Names{"a", "before"}));
}

TEST_F(LocalFiles, AreReplacedBehindLinksThatStay) {
    folder.write("dotfiles/settings.json", "old");
    ASSERT_EQ(::chmod(folder.path("dotfiles/settings.json").c_str(), 0644), 0);
    folder.write("config/x", "");
    ASSERT_EQ(::symlink("../dotfiles/settings.json", folder.path("config/relative").c_str()), 0);
    ASSERT_EQ(::symlink(folder.path("config/relative").c_str(), folder.path("config/absolute").c_str()), 0);
    EXPECT_EQ(Files::writeAtomically(folder.path("config/absolute"), "new"), std::nullopt);
    EXPECT_EQ(folder.read("dotfiles/settings.json"), "new");
    struct stat status {};
    ASSERT_EQ(::lstat(folder.path("dotfiles/settings.json").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0644U);
    for (const char* link : {"config/relative", "config/absolute"}) {
        ASSERT_EQ(::lstat(folder.path(link).c_str(), &status), 0);
        EXPECT_TRUE(S_ISLNK(status.st_mode)) << link;
    }
}

TEST_F(LocalFiles, AreMadeWhereADanglingLinkLeads) {
    ASSERT_EQ(::symlink("made/settings.json", folder.path("link").c_str()), 0);
    EXPECT_EQ(Files::writeAtomically(folder.path("link"), "new"), std::nullopt);
    EXPECT_EQ(folder.read("made/settings.json"), "new");
    struct stat status {};
    ASSERT_EQ(::lstat(folder.path("link").c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    ASSERT_EQ(::lstat(folder.path("made/settings.json").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0600U);
}

TEST_F(LocalFiles, AreNotReplacedWhereLinksLeadInACircle) {
    ASSERT_EQ(::symlink("b", folder.path("a").c_str()), 0);
    ASSERT_EQ(::symlink("a", folder.path("b").c_str()), 0);
    EXPECT_EQ(Files::writeAtomically(folder.path("a"), "new")->code, ELOOP);
    EXPECT_EQ(std::get<0>(Files::contentsOfDirectory(folder.path())), (std::vector<std::string>{"a", "b"}));
}

TEST_F(LocalFiles, GetPrivateFoldersWhereTheyAreReplaced) {
    EXPECT_EQ(codeOf(Files::writeAtomically(folder.path("x/y/a"), "1")), 0);
    EXPECT_EQ(folder.read("x/y/a"), "1");
    EXPECT_EQ(modeOf(folder.path("x")), 0700U);
    EXPECT_EQ(modeOf(folder.path("x/y")), 0700U);
}

TEST_F(LocalFiles, LeaveNothingBehindWhereTheyCannotBeReplaced) {
    ASSERT_EQ(codeOf(Files::createDirectory(folder.path("a/b"))), 0);
    EXPECT_EQ(codeOf(Files::writeAtomically(folder.path("a"), "1")), EISDIR);
    EXPECT_EQ(std::get<0>(Files::contentsOfDirectory(folder.path())), Names{"a"});
    EXPECT_EQ(codeOf(Files::writeAtomically("", "1")), ENOENT);
}

TEST_F(LocalFiles, AreReplacedUnderTheLongestName) {
    const std::string name(255, 'n');
    EXPECT_EQ(codeOf(Files::writeAtomically(folder.path(name), "1")), 0);
    EXPECT_EQ(folder.read(name), "1");
}

} // namespace
