// Where an item is placed, and where it is gathered before.

#include "Platform/Files/Files.h"
#include "Platform/Settings/Environment.h"
#include "TopFileUploadXpcService/EngineFixture.h"

namespace Quenmark {

using TestSupport::HttpReply;

class ALocalPath : public EngineFixture {
protected:
    /// Lets the engine receive a poll response that announces the file of that name.
    void announce(std::string_view jsonName) {
        server.enqueue(pollTarget, HttpReply::json(item(jsonName)));
        server.enqueue(streamTarget, HttpReply::silence());
        start();
        ASSERT_TRUE(waitFor(streamTarget));
    }
};

TEST_F(ALocalPath, LiesInTheQuenmarkFolderUnderTheNameWithSlashes) {
    announce(R"(\\A\\B\\f.txt)");
    EXPECT_EQ(engineProbe.filePath(), home.path() + "/Quenmark/A/B/f.txt");
    EXPECT_EQ(engineProbe.tempFilePath(), home.temporary().path() + "/QuenmarkTemp/A/B/f.txt");
}

TEST_F(ALocalPath, StartsWithTheTextOfNilWhereTheQuenmarkPathIsNotSet) {
    setPreferences(R"({"computerIdKey":"7"})");
    announce(R"(\\a.txt)");
    EXPECT_EQ(engineProbe.filePath(), "(null)/Quenmark/a.txt");
}

TEST_F(ALocalPath, IsJoinedAsItStandsWhereTheNameHasNoSeparatorInFront) {
    announce("a.txt");
    EXPECT_EQ(engineProbe.filePath(), home.path() + "/Quenmarka.txt");
    EXPECT_EQ(engineProbe.tempFilePath(), home.temporary().path() + "/QuenmarkTempa.txt");
}

TEST_F(ALocalPath, KeepsBlanksAndLettersOutsideOfAscii) {
    announce(R"(\\Bücher\\ein Blatt ☕.txt)");
    EXPECT_EQ(engineProbe.filePath(), home.path() + "/Quenmark/Bücher/ein Blatt ☕.txt");
}

TEST_F(ALocalPath, IsNotNormalised) {
    announce(R"(\\a\\..\\\\ b \\.)");
    EXPECT_EQ(engineProbe.filePath(), home.path() + "/Quenmark/a/..// b /.");
}

TEST_F(ALocalPath, UsesTheSystemTemporaryDirectoryWithItsTrailingSeparator) {
    environment.set("TMPDIR", std::nullopt);
    environment.set("XDG_CACHE_HOME", home.path("cache"));
    announce(R"(\\Docs\\a.txt)");
    EXPECT_EQ(engineProbe.tempFilePath(), home.path("cache") + "/quenmark/QuenmarkTemp/Docs/a.txt");
}

TEST_F(ALocalPath, IsTakenFromTheQuenmarkPathOfTheLastPass) {
    server.enqueue(pollTarget, HttpReply::json(nothing));
    start();
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    setPreferences(R"({"computerIdKey":"7","quenmarkPathKey":"/elsewhere"})");
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\a)")));
    server.enqueue(streamTarget, HttpReply::silence());
    nextPass();
    ASSERT_TRUE(waitFor(streamTarget));
    EXPECT_EQ(engineProbe.filePath(), "/elsewhere/Quenmark/a");
}

} // namespace Quenmark
