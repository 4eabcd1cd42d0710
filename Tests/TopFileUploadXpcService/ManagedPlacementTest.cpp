// How managed mode puts items into their places.

#include "TopFileUploadXpcService/ManagedPlacement.h"

#include "Platform/Files/Files.h"
#include "Platform/Files/Flush.h"
#include "Platform/Files/Posix.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cerrno>

namespace Quenmark {

namespace Files = Platform::Files;
namespace Posix = Platform::Posix;

TEST(TheReasonWhyAnItemIsNotPlaced, NamesWhatIsInTheWayOrMissing) {
    const auto reason = [](int number) { return ManagedPlacement::reasonOf(Posix::error("/home/ann/A", number), 17); };
    EXPECT_EQ(reason(ENOSPC), "disk full: 17 bytes missing");
    EXPECT_EQ(reason(EDQUOT), "disk full: 17 bytes missing");
    EXPECT_EQ(reason(EISDIR), "folder in the way");
    EXPECT_EQ(reason(ENOTDIR), "file in the way");
    EXPECT_EQ(reason(EEXIST), "file in the way");
    EXPECT_EQ(reason(EACCES), "not writable: /home/ann/A");
    EXPECT_EQ(reason(EROFS), "not writable: /home/ann/A");
    EXPECT_EQ(reason(ENOENT), "not writable: /home/ann/A");
}

class AManagedPlacement : public ::testing::Test {
protected:
    ItemPaths paths(const std::string& name) const {
        return {folder.path("tmp/QuenmarkTemp" + name), folder.path("home/Quenmark" + name), folder.path("home")};
    }
    std::optional<Platform::Error> placeFile(const std::string& name) const {
        return ManagedPlacement::placeFile(area, paths(name));
    }
    void fetched(const std::string& name, std::string_view content) const {
        EXPECT_EQ(area.makeFolderOf(paths(name).temporary), std::nullopt);
        EXPECT_EQ(Files::write(paths(name).temporary, content), std::nullopt);
    }

    TestSupport::TemporaryDirectory folder;
    const Platform::PrivateArea area{folder.path("tmp/"), "QuenmarkTemp"};
};

TEST_F(AManagedPlacement, MakesTheQuenmarkFolderAndNotTheOneThatHoldsIt) {
    fetched("/a", "content");
    EXPECT_EQ(placeFile("/a"), Posix::error(folder.path("home"), ENOENT));
    EXPECT_FALSE(Files::exists(folder.path("home")));
    ASSERT_EQ(Files::createDirectory(folder.path("home")), std::nullopt);
    EXPECT_EQ(placeFile("/a"), std::nullopt);
    EXPECT_EQ(folder.read("home/Quenmark/a"), "content");
    EXPECT_FALSE(Files::exists(paths("/a").temporary));
}

TEST_F(AManagedPlacement, NeedsAFolderByItsWholePath) {
    fetched("/a", "content");
    auto relative = paths("/a");
    relative.quenmarkPath = ".";
    EXPECT_EQ(ManagedPlacement::placeFile(area, relative), Posix::error(".", ENOENT));
    ASSERT_EQ(Files::write(folder.path("home"), "a file"), std::nullopt);
    EXPECT_EQ(placeFile("/a"), Posix::error(folder.path("home"), ENOENT));
}

TEST_F(AManagedPlacement, NamesTheFolderInWhichAFileCannotBePlaced) {
    ASSERT_EQ(Files::createDirectory(folder.path("home/Quenmark/A/b")), std::nullopt);
    fetched("/A/b", "content");
    EXPECT_EQ(placeFile("/A/b"), Posix::error(folder.path("home/Quenmark/A"), EISDIR));
    EXPECT_EQ(Files::contents(paths("/A/b").temporary), (std::variant<std::string, Platform::Error>("content")));
}

TEST_F(AManagedPlacement, SaysWhichFileIsMissing) {
    ASSERT_EQ(Files::createDirectory(folder.path("home")), std::nullopt);
    ASSERT_EQ(area.makeFolderOf(paths("/a").temporary), std::nullopt);
    EXPECT_EQ(placeFile("/a"), Posix::error(paths("/a").temporary, ENOENT));
}

TEST_F(AManagedPlacement, OfAFolderMayFindItThere) {
    ASSERT_EQ(Files::createDirectory(folder.path("home")), std::nullopt);
    EXPECT_EQ(ManagedPlacement::placeFolder(paths("/A/B")), std::nullopt);
    EXPECT_EQ(ManagedPlacement::placeFolder(paths("/A/B")), std::nullopt);
    EXPECT_TRUE(Files::isDirectory(folder.path("home/Quenmark/A/B")));
}

TEST_F(AManagedPlacement, OfAFolderFailsWhereAFileIs) {
    ASSERT_EQ(Files::createDirectory(folder.path("home/Quenmark")), std::nullopt);
    ASSERT_EQ(Files::write(folder.path("home/Quenmark/A"), "a file"), std::nullopt);
    EXPECT_EQ(ManagedPlacement::placeFolder(paths("/A")), Posix::error(folder.path("home/Quenmark/A"), EEXIST));
    EXPECT_EQ(ManagedPlacement::placeFolder(paths("/A/B")), Posix::error(folder.path("home/Quenmark/A/B"), ENOTDIR));
}

} // namespace Quenmark
