// The folder of the outbox, and the items in it as they are opened, made and moved.

#include "WebService/Outbox/OutboxTree.h"

#include "Support/TemporaryFolder.h"
#include "WebService/Outbox/OutboxQueue.h"
#include "WebService/Storage/Schema.h"

#include <gtest/gtest.h>

#include <fcntl.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <system_error>

namespace webservice::test {

namespace {

class AnOutboxTree : public ::testing::Test {
protected:
    AnOutboxTree() { std::signal(SIGIO, SIG_IGN); }

    TemporaryFolder folder;
    OutboxTree tree{folder.path("outbox").string()};
};

std::string errorOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const std::system_error& error) {
        return error.what();
    }
    return "";
}

} // namespace

TEST_F(AnOutboxTree, IsCreatedAndOpened) {
    EXPECT_TRUE(std::filesystem::is_directory(folder.path("outbox")));
    EXPECT_TRUE(tree.isCurrent());
    tree.makeFolder("7");
    EXPECT_TRUE(std::filesystem::is_directory(folder.path("outbox/7")));
}

TEST_F(AnOutboxTree, IsNotCurrentOnceItsFolderWasRemovedOrReplaced) {
    folder.remove("outbox");
    EXPECT_FALSE(tree.isCurrent());
    folder.makeFolder("outbox");
    EXPECT_FALSE(tree.isCurrent());
    tree.renew();
    EXPECT_TRUE(tree.isCurrent());
}

TEST_F(AnOutboxTree, ReportsWhatCannotBeDone) {
    const std::string outbox = folder.path("outbox").string();
    folder.write("outbox/7/file", "x");
    EXPECT_EQ(errorOf([&] { tree.makeFolder("7/file"); }), "cannot make the folder " + outbox + "/7/file: File exists");
    EXPECT_EQ(errorOf([&] { tree.makeFolder("8/a"); }),
              "cannot make the folder " + outbox + "/8/a: No such file or directory");
    EXPECT_EQ(errorOf([&] { tree.makeFoldersOf("7/file/a"); }),
              "cannot make the folders of " + outbox + "/7/file/a: Not a directory");
    EXPECT_EQ(errorOf([&] { tree.moveIn(folder.path("missing").string(), "7/a"); }),
              "cannot place " + outbox + "/7/a: No such file or directory");
    EXPECT_EQ(errorOf([&] { tree.moveOut("7/file", "/proc/a"); }).substr(0, 12), "cannot take ");
    EXPECT_EQ(errorOf([&] { OutboxTree(folder.path("outbox/7/file").string()); }),
              "cannot open " + outbox + "/7/file: Not a directory");
    EXPECT_EQ(errorOf([&] { OutboxTree("/nowhere/outbox"); }),
              "cannot make the folder /nowhere/outbox: No such file or directory");
}

TEST_F(AnOutboxTree, MovesAnItemOutOnce) {
    folder.write("outbox/7/file", "x");
    const std::string to = folder.path("out").string();
    EXPECT_TRUE(tree.moveOut("7/file", to));
    EXPECT_EQ(contentOf(to), "x");
    EXPECT_FALSE(tree.moveOut("7/file", to));
    EXPECT_FALSE(tree.moveOut("8/file", to));
}

TEST_F(AnOutboxTree, OpensNothingThroughASymbolicLink) {
    folder.write("elsewhere/file", "x");
    folder.makeFolder("outbox/7");
    std::filesystem::create_directory_symlink(folder.path("elsewhere"), folder.path("outbox/7/link"));
    EXPECT_FALSE(tree.open("7/link/file"));
    EXPECT_FALSE(tree.open("7/link"));
    EXPECT_TRUE(S_ISLNK(tree.status("7/link")->st_mode));
    EXPECT_FALSE(tree.status("7/link/file"));
}

TEST_F(AnOutboxTree, TellsWhetherAFileIsBeingWritten) {
    folder.write("outbox/7/file", "x");
    const Descriptor reader = tree.open("7/file");
    EXPECT_EQ(writersOf(reader.get()), Writers::None);
    Descriptor writer(::open(folder.path("outbox/7/file").c_str(), O_WRONLY | O_CLOEXEC));
    EXPECT_EQ(writersOf(reader.get()), Writers::Some);
    writer.close();
    EXPECT_EQ(writersOf(reader.get()), Writers::None);
    EXPECT_EQ(writersOf(tree.open("7").get()), Writers::Unknown);
}

TEST_F(AnOutboxTree, GivesTheFileOfAnUploadThatIsARegularOneAndHasNoWriter) {
    StateDatabase db(folder.path("state.db").string());
    OutboxLedger ledger(db);
    const OutboxQueue queue(tree, ledger);
    folder.write("outbox/7/file", "x");
    folder.makeFolder("outbox/7/folder");
    EXPECT_TRUE(queue.openFile({.computer = "7", .name = "\\file"}));
    EXPECT_FALSE(queue.openFile({.computer = "7", .name = "\\folder"}));
    EXPECT_FALSE(queue.openFile({.computer = "7", .name = "\\missing"}));
    const Descriptor writer(::open(folder.path("outbox/7/file").c_str(), O_WRONLY | O_CLOEXEC));
    EXPECT_FALSE(queue.openFile({.computer = "7", .name = "\\file"}));
}

} // namespace webservice::test
