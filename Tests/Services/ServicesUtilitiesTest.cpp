// Tests of the release number, and the two forms of a path.

#include "Services/ServicesUtilities.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

namespace ServicesTests {

namespace {

using Quenmark::ServicesUtilities;

struct Release {
    double number;
    bool is10_7;
    bool isLessThan10_10;
};

class ARelease : public ::testing::TestWithParam<Release> {};

TEST_P(ARelease, IsKnownByTheIntegralPartOfItsNumber) {
    const auto& release = GetParam();
    const Platform::DeploymentSettings settings{.serviceHost = "localhost", .appKitVersionNumber = release.number};
    EXPECT_EQ(ServicesUtilities::is10_7(settings), release.is10_7) << release.number;
    EXPECT_EQ(ServicesUtilities::isLessThan10_10(settings), release.isLessThan10_10) << release.number;
}

INSTANTIATE_TEST_SUITE_P(AtEachThreshold, ARelease,
                         ::testing::Values(Release{0.0, false, false}, Release{1137.9, false, false},
                                           Release{1138.0, true, true}, Release{1138.6, true, true},
                                           Release{1139.0, false, true}, Release{1342.0, false, true},
                                           Release{1342.9, false, true}, Release{1343.0, false, false},
                                           Release{1343.2, false, false}, Release{2000.0, false, false},
                                           Release{-1138.0, false, false},
                                           Release{std::numeric_limits<double>::quiet_NaN(), false, false},
                                           Release{std::numeric_limits<double>::infinity(), false, false}));

TEST(APathForWindows, HasBackslashesAndLosesItsFirstCharacter) {
    EXPECT_EQ(ServicesUtilities::convertPathToWindows("/Docs/a.txt"), "Docs\\a.txt");
    EXPECT_EQ(ServicesUtilities::convertPathToWindows("/"), "");
    EXPECT_EQ(ServicesUtilities::convertPathToWindows("a/b"), "\\b");
    EXPECT_EQ(ServicesUtilities::convertPathToWindows("//a//b"), "\\a\\\\b");
    EXPECT_EQ(ServicesUtilities::convertPathToWindows("\\a/b\\c"), "a\\b\\c");
}

TEST(APathForWindows, LosesAFirstCharacterOfSeveralBytesWhole) {
    EXPECT_EQ(ServicesUtilities::convertPathToWindows("Ä/b"), "\\b");
    EXPECT_EQ(ServicesUtilities::convertPathToWindows("日本/b"), "本\\b");
    EXPECT_EQ(ServicesUtilities::convertPathToWindows("\xF0\x9F\x93\x81/b"), "\\b");
}

TEST(APathForWindows, CannotBeMadeOfNothing) {
    EXPECT_THROW(ServicesUtilities::convertPathToWindows(""), std::out_of_range);
}

TEST(APathForMac, HasSlashesAndOneMoreInFront) {
    EXPECT_EQ(ServicesUtilities::convertPathToMac("Docs\\a.txt"), "/Docs/a.txt");
    EXPECT_EQ(ServicesUtilities::convertPathToMac("\\Docs"), "//Docs");
    EXPECT_EQ(ServicesUtilities::convertPathToMac("/Docs"), "//Docs");
    EXPECT_EQ(ServicesUtilities::convertPathToMac(""), "/");
    EXPECT_EQ(ServicesUtilities::convertPathToMac("Ä\\日本"), "/Ä/日本");
}

TEST(APathForMac, IsUndoneByAPathForWindows) {
    for (const auto* path : {"/Docs/a.txt", "/", "/a/b/c d/é"})
        EXPECT_EQ(ServicesUtilities::convertPathToMac(ServicesUtilities::convertPathToWindows(path)), path);
}

} // namespace

} // namespace ServicesTests
