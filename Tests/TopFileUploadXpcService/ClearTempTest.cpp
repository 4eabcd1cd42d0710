// The clean-up of the temporary area.

#include "Platform/Files/Files.h"
#include "TopFileUploadXpcService/EngineFixture.h"

#include <unistd.h>

#include <stdexcept>

namespace Quenmark {

class ClearTemp : public EngineFixture {};

TEST_F(ClearTemp, EmptiesTheTopLevelFolderOfAnItemAndKeepsTheFolder) {
    writeFile(temporary("Docs/a.txt"), "a");
    writeFile(temporary("Docs/Deep/b.txt"), "b");
    writeFile(temporary("Other/c.txt"), "c");
    engine->clearTemp("/private/tmp/x/QuenmarkTemp/Docs/a.txt");
    EXPECT_TRUE(Platform::Files::isDirectory(temporary("Docs")));
    EXPECT_FALSE(Platform::Files::exists(temporary("Docs/a.txt")));
    EXPECT_FALSE(Platform::Files::exists(temporary("Docs/Deep")));
    EXPECT_EQ(contentOf(temporary("Other/c.txt")), "c");
}

TEST_F(ClearTemp, GoesByTheFirstComponentOfThatName) {
    writeFile(temporary("A/a"), "a");
    writeFile(temporary("B/b"), "b");
    engine->clearTemp("QuenmarkTemp/A/QuenmarkTemp/B/b");
    EXPECT_FALSE(Platform::Files::exists(temporary("A/a")));
    EXPECT_TRUE(Platform::Files::exists(temporary("B/b")));
}

TEST_F(ClearTemp, DoesNothingWhereTheFolderDoesNotExist) {
    writeFile(temporary("Other/c.txt"), "c");
    engine->clearTemp("/QuenmarkTemp/Docs/a.txt");
    EXPECT_TRUE(Platform::Files::exists(temporary("Other/c.txt")));
}

TEST_F(ClearTemp, LeavesAFileAlone) {
    writeFile(temporary("a.txt"), "a");
    engine->clearTemp("/QuenmarkTemp/a.txt");
    EXPECT_EQ(contentOf(temporary("a.txt")), "a");
}

TEST_F(ClearTemp, RemovesNothingOutsideOfTheArea) {
    writeFile(temporary("Other/c.txt"), "c");
    home.write("mine.txt", "mine");
    ASSERT_EQ(::symlink(home.path().c_str(), temporary("Docs").c_str()), 0);
    engine->clearTemp("/QuenmarkTemp/Docs/a.txt");
    engine->clearTemp("/QuenmarkTemp/../a.txt");
    EXPECT_EQ(home.read("mine.txt"), "mine");
    EXPECT_EQ(contentOf(temporary("Other/c.txt")), "c");
}

TEST_F(ClearTemp, ThrowsForAPathThatEndsInTheAreasName) {
    EXPECT_THROW(engine->clearTemp("/tmp/QuenmarkTemp"), std::out_of_range);
}

TEST_F(ClearTemp, ThrowsForAPathWithoutTheAreasName) {
    EXPECT_THROW(engine->clearTemp("/tmp/QuenmarkTemps/Docs/a"), std::out_of_range);
    EXPECT_THROW(engine->clearTemp(""), std::out_of_range);
}

} // namespace Quenmark
