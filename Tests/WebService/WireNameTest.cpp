// Names of outbox items on the wire.

#include "WebService/Common/WireName.h"

#include <gtest/gtest.h>

namespace webservice {

TEST(AnOutboxName, HasABackslashBeforeEveryComponent) {
    EXPECT_EQ(wireName("a.txt"), "\\a.txt");
    EXPECT_EQ(wireName("Docs/sub folder/a.txt"), "\\Docs\\sub folder\\a.txt");
    EXPECT_EQ(wireName("Grüße/日本 🎈"), "\\Grüße\\日本 🎈");
}

TEST(AnOutboxName, LeadsBackToItsPath) {
    EXPECT_EQ(outboxPath("\\Docs\\a.txt"), "Docs/a.txt");
    EXPECT_EQ(parentName("\\Docs\\a.txt"), "\\Docs");
    EXPECT_EQ(parentName("\\a.txt"), "");
}

TEST(AnOutboxName, CannotBeMadeOfWhatTheWireCannotCarry) {
    for (const char* path : {"", "a\\b", "a/b\\c", "a\nb", "a\rb", "a\tb", "a\x7f", "..", "a/..", ".", "a//b", "a/"}) {
        EXPECT_EQ(wireName(path), std::nullopt) << path;
    }
}

TEST(AnOutboxName, MustBeWellFormedUtf8) {
    EXPECT_TRUE(isUtf8("\xf4\x8f\xbf\xbf"));
    for (const char* text : {"\xff", "\xc3", "\xc0\xaf", "\xe0\x80\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80",
                             "\xf0\x80\x80\x80", "a\x80", "\xc3(", "\xe2\x82", "\xf8\x88\x80\x80\x80"}) {
        EXPECT_FALSE(isUtf8(text)) << text;
        EXPECT_FALSE(isExpressible(text)) << text;
    }
}

TEST(ANameWithinTheQuenmarkFolder, IsThePathWithoutThatFolder) {
    EXPECT_EQ(nameWithin("", "Docs\\a.txt"), "\\Docs\\a.txt");
    EXPECT_EQ(nameWithin("", "\\Docs\\a.txt"), "\\Docs\\a.txt");
    EXPECT_EQ(nameWithin("", "/Docs/a b ü.txt/"), "\\Docs\\a b ü.txt");
    EXPECT_EQ(nameWithin("Users\\ann", "Users\\ann\\Quenmark\\Docs\\a.txt"), "\\Docs\\a.txt");
    EXPECT_EQ(nameWithin("/Users/ann/", "Users\\ann\\Docs\\a.txt"), "\\Docs\\a.txt");
    EXPECT_EQ(nameWithin("Users\\ann", "Users\\anna\\a.txt"), "\\Users\\anna\\a.txt");
    EXPECT_EQ(nameWithin("Users\\ann", "Quenmark\\a.txt"), "\\Quenmark\\a.txt");
}

TEST(ANameWithinTheQuenmarkFolder, IsMissingWhereItCannotBeExpressed) {
    for (const char* path : {"", "\\", "..\\a", "a\\..\\b", "a\\\\b", "a\nb", "\xff"})
        EXPECT_EQ(nameWithin("", path), std::nullopt) << path;
}

} // namespace webservice
