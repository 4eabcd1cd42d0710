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
        server_.enqueue(pollTarget, HttpReply::json(item(jsonName)));
        server_.enqueue(streamTarget, HttpReply::silence());
        start();
        ASSERT_TRUE(waitFor(streamTarget));
    }
};

TEST_F(ALocalPath, LiesInTheQuenmarkFolderUnderTheNameWithSlashes) {
    announce(R"(\\A\\B\\f.txt)");
    EXPECT_EQ(probe_.filePath(), home_.path() + "/Quenmark/A/B/f.txt");
    EXPECT_EQ(probe_.tempFilePath(), home_.temporary().path() + "/QuenmarkTemp/A/B/f.txt");
}

TEST_F(ALocalPath, StartsWithTheTextOfNilWhereTheQuenmarkPathIsNotSet) {
    setPreferences(R"({"computerIdKey":"7"})");
    announce(R"(\\a.txt)");
    EXPECT_EQ(probe_.filePath(), "(null)/Quenmark/a.txt");
}

TEST_F(ALocalPath, IsJoinedAsItStandsWhereTheNameHasNoSeparatorInFront) {
    announce("a.txt");
    EXPECT_EQ(probe_.filePath(), home_.path() + "/Quenmarka.txt");
    EXPECT_EQ(probe_.tempFilePath(), home_.temporary().path() + "/QuenmarkTempa.txt");
}

TEST_F(ALocalPath, KeepsBlanksAndLettersOutsideOfAscii) {
    announce(R"(\\Bücher\\ein Blatt ☕.txt)");
    EXPECT_EQ(probe_.filePath(), home_.path() + "/Quenmark/Bücher/ein Blatt ☕.txt");
}

TEST_F(ALocalPath, IsNotNormalised) {
    announce(R"(\\a\\..\\\\ b \\.)");
    EXPECT_EQ(probe_.filePath(), home_.path() + "/Quenmark/a/..// b /.");
}

TEST_F(ALocalPath, UsesTheSystemTemporaryDirectoryWithItsTrailingSeparator) {
    environment_.set("TMPDIR", std::nullopt);
    environment_.set("XDG_CACHE_HOME", home_.path("cache"));
    announce(R"(\\Docs\\a.txt)");
    EXPECT_EQ(probe_.tempFilePath(), home_.path("cache") + "/quenmark/QuenmarkTemp/Docs/a.txt");
}

TEST_F(ALocalPath, IsTakenFromTheQuenmarkPathOfTheLastPass) {
    server_.enqueue(pollTarget, HttpReply::json(nothing));
    start();
    ASSERT_TRUE(runUntil([&] { return probe_.gateIsOpen(); }));
    setPreferences(R"({"computerIdKey":"7","quenmarkPathKey":"/elsewhere"})");
    server_.enqueue(pollTarget, HttpReply::json(item(R"(\\a)")));
    server_.enqueue(streamTarget, HttpReply::silence());
    nextPass();
    ASSERT_TRUE(waitFor(streamTarget));
    EXPECT_EQ(probe_.filePath(), "/elsewhere/Quenmark/a");
}

} // namespace Quenmark
