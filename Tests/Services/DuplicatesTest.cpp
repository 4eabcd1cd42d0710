// Numbered copies of files and folders that are there already, on a real file system.

#include "Platform/Files/FileDescriptor.h"
#include "Services/ServicesUtilities.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <future>
#include <thread>

namespace ServicesTests {

namespace {

namespace fs = std::filesystem;

class ADuplicate : public ::testing::Test {
protected:
    /// The name of what is made beside `name`.
    std::string make(const std::string& name) {
        const std::string made =
            Quenmark::ServicesUtilities::checkDuplicateAndCreate(folder.path(name), "/not/looked/at");
        EXPECT_EQ(fs::path(made).parent_path(), fs::path(folder.path(name)).parent_path());
        return fs::path(made).filename();
    }
    std::size_t entries() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder.path()), {}));
    }

    TestSupport::TemporaryDirectory folder;
};

TEST_F(ADuplicate, OfNothingIsThePathItself) {
    EXPECT_EQ(make("a.txt"), "a.txt");
    EXPECT_EQ(entries(), 0U);
}

TEST_F(ADuplicate, OfAFileIsNumberedBeforeItsExtension) {
    folder.write("Report.pdf", "content");
    EXPECT_EQ(make("Report.pdf"), "Report 1.pdf");
    EXPECT_EQ(folder.read("Report 1.pdf"), "content");
    EXPECT_EQ(folder.read("Report.pdf"), "content");
    EXPECT_EQ(entries(), 2U);
}

TEST_F(ADuplicate, TakesTheFirstFreeNumber) {
    folder.write("Report.pdf", "content");
    folder.write("Report 1.pdf", "other");
    folder.write("Report 3.pdf", "other");
    EXPECT_EQ(make("Report.pdf"), "Report 2.pdf");
    EXPECT_EQ(folder.read("Report 2.pdf"), "content");
    EXPECT_EQ(folder.read("Report 1.pdf"), "other");
    EXPECT_EQ(make("Report.pdf"), "Report 4.pdf");
}

TEST_F(ADuplicate, TreatsANameOfAFolderAsUsed) {
    folder.write("a.txt", "content");
    fs::create_directory(folder.path("a 1.txt"));
    EXPECT_EQ(make("a.txt"), "a 2.txt");
}

TEST_F(ADuplicate, OfAFileWithoutExtensionHasTheBareNumberedName) {
    folder.write("Makefile", "all:");
    EXPECT_EQ(make("Makefile"), "Makefile 1");
    EXPECT_EQ(folder.read("Makefile 1"), "all:");
}

TEST_F(ADuplicate, OfAHiddenFileKeepsItsWholeName) {
    folder.write(".profile", "x");
    EXPECT_EQ(make(".profile"), ".profile 1");
}

TEST_F(ADuplicate, OfAFileWithSeveralDotsIsNumberedBeforeTheLast) {
    folder.write("backup.tar.gz", "x");
    EXPECT_EQ(make("backup.tar.gz"), "backup.tar 1.gz");
}

TEST_F(ADuplicate, OfAFileWithBlanksAndOtherLettersKeepsThem) {
    folder.write("Ünï cödé 日本.txt", "x");
    EXPECT_EQ(make("Ünï cödé 日本.txt"), "Ünï cödé 日本 1.txt");
}

TEST_F(ADuplicate, OfAFolderHoldsTheWholeTree) {
    folder.write("Photos/a.jpg", "1");
    folder.write("Photos/deep/b.jpg", "2");
    EXPECT_EQ(make("Photos"), "Photos 1");
    EXPECT_EQ(folder.read("Photos 1/a.jpg"), "1");
    EXPECT_EQ(folder.read("Photos 1/deep/b.jpg"), "2");
    EXPECT_EQ(folder.read("Photos/deep/b.jpg"), "2");
}

TEST_F(ADuplicate, OfAFolderWithADotLosesWhatFollowsTheLastDot) {
    folder.write("Photos.old/a.jpg", "1");
    EXPECT_EQ(make("Photos.old"), "Photos 1");
    EXPECT_EQ(folder.read("Photos 1/a.jpg"), "1");
}

TEST_F(ADuplicate, OfAnEmptyFileIsEmpty) {
    folder.write("empty.txt", "");
    EXPECT_EQ(make("empty.txt"), "empty 1.txt");
    EXPECT_EQ(folder.read("empty 1.txt"), "");
}

/// A copy cannot be made under the first number: a link there leads nowhere, so nothing exists at its path, yet its
/// name is taken.
TEST_F(ADuplicate, IsTriedUnderTheNextNumberWhenTheCopyFails) {
    folder.write("a.txt", "content");
    fs::create_symlink(folder.path("nowhere"), folder.path("a 1.txt"));
    ASSERT_FALSE(fs::exists(folder.path("a 1.txt")));
    EXPECT_EQ(make("a.txt"), "a 2.txt");
    EXPECT_EQ(folder.read("a 2.txt"), "content");
    EXPECT_TRUE(fs::is_symlink(folder.path("a 1.txt")));
    EXPECT_FALSE(fs::exists(folder.path("nowhere")));
}

/// A folder with a FIFO cannot be copied, so that one number follows the other for as long as the folder is there.
TEST_F(ADuplicate, IsThePathItselfOnceNothingIsThereAnyMore) {
    fs::create_directory(folder.path("Docs"));
    ASSERT_EQ(::mkfifo(folder.path("Docs/fifo").c_str(), 0600), 0);
    const Platform::FileDescriptor changes(::inotify_init1(IN_CLOEXEC));
    ASSERT_GE(::inotify_add_watch(changes.get(), folder.path().c_str(), IN_CREATE), 0);
    std::promise<void> isDone;
    std::jthread remover([&, done = isDone.get_future()] {
        // The copies that are begun say that the path was tested before; several may be named in one piece.
        std::array<char, 4096> events{};
        for (int pieces = 0; pieces < 2; ++pieces)
            EXPECT_GT(::read(changes.get(), events.data(), events.size()), 0);
        fs::rename(folder.path("Docs"), folder.path("Elsewhere"));
        // What never looks at the path again gets a folder that it can copy, and is found out by the copy's name.
        if (done.wait_for(std::chrono::seconds(20)) == std::future_status::timeout)
            fs::create_directory(folder.path("Docs"));
    });
    EXPECT_EQ(make("Docs"), "Docs");
    isDone.set_value();
    remover.join();
    EXPECT_FALSE(fs::exists(folder.path("Docs")));
}

TEST_F(ADuplicate, IsTriedUnderTheNextNumberForFoldersToo) {
    folder.write("Docs/a.txt", "content");
    fs::create_symlink(folder.path("nowhere"), folder.path("Docs 1"));
    EXPECT_EQ(make("Docs"), "Docs 2");
    EXPECT_EQ(folder.read("Docs 2/a.txt"), "content");
}

} // namespace

} // namespace ServicesTests
