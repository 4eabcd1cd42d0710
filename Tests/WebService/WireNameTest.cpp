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

TEST(WellFormedUtf8, HasEveryCharacterInItsShortestFormAndNoSurrogate) {
    for (const char* text : {"\x01", "\x7f", "\u0080", "\u07ff", "\u0800", "\u0fff", "\u1000", "\ucfff", "\ud7ff",
                             "\ue000", "\uffff", "\U00010000", "\U0003ffff", "\U00040000", "\U000fffff", "\U00100000",
                             "\U0010ffff", "\xc2\x80\xdf\xbf\xe0\xa0\x80\xef\x80\x80\xf0\x90\x80\x80"})
        EXPECT_TRUE(isUtf8(text)) << text;
    for (const char* text : {"\x80",
                             "\xbf",
                             "\xc0\x80",
                             "\xc1\xbf",
                             "\xc2\x7f",
                             "\xc2\xc0",
                             "\xdf",
                             "\xdf.",
                             "\xe0\x9f\xbf",
                             "\xe0\xa0\x7f",
                             "\xe0\xa0\xc0",
                             "\xe1\x80",
                             "\xe1\x80.",
                             "\xe1\x7f\x80",
                             "\xed\xa0\x80",
                             "\xed\xbf\xbf",
                             "\xef\xbf\xc0",
                             "\xf0\x8f\xbf\xbf",
                             "\xf0\x90\x80",
                             "\xf0\x90\x80\x7f",
                             "\xf4\x90\x80\x80",
                             "\xf5\x80\x80\x80",
                             "a\xff"})
        EXPECT_FALSE(isUtf8(text)) << testing::PrintToString(std::string(text));
}

TEST(AnOutboxName, MayHaveAnyCharacterButControlCharactersAndSeparators) {
    for (const char* name : {" ", "~", "...", ".a", "a.", "..a", "!", "\u0080"})
        EXPECT_TRUE(isExpressible(name)) << name;
    for (const char* name : {"\x01", "\x1f", "\x7f", "a\x1f", "/", "\\"})
        EXPECT_FALSE(isExpressible(name)) << testing::PrintToString(std::string(name));
    EXPECT_FALSE(isExpressible(std::string_view("a\0b", 3)));
}

TEST(AnOutboxName, HasAtMost3072BytesAndAHundredParts) {
    EXPECT_TRUE(wireName(std::string(3072, 'n')));
    EXPECT_EQ(wireName(std::string(3073, 'n')), std::nullopt);
    std::string parts = "n";
    for (int i = 1; i < 100; ++i)
        parts += "/n";
    EXPECT_TRUE(wireName(parts));
    EXPECT_EQ(wireName(parts + "/n"), std::nullopt);
}

TEST(AnOutboxName, LeadsToItsPathWithOrWithoutItsFirstBackslash) {
    EXPECT_EQ(outboxPath("Docs\\a.txt"), "Docs/a.txt");
    EXPECT_EQ(outboxPath("\\a"), "a");
    EXPECT_EQ(outboxPath("\\\\a"), "/a");
    EXPECT_EQ(outboxPath(""), "");
}

TEST(ANameWithinTheQuenmarkFolder, LosesThatFolderOnceAndOnlyAtItsBeginning) {
    EXPECT_EQ(nameWithin("x", "x\\a"), "\\a");
    EXPECT_EQ(nameWithin("", "x\\a"), "\\x\\a");
    EXPECT_EQ(nameWithin("\\", "x\\a"), "\\x\\a");
    EXPECT_EQ(nameWithin("x", "x"), "\\x");
    EXPECT_EQ(nameWithin("x", "x\\Quenmark"), "\\Quenmark");
    EXPECT_EQ(nameWithin("x", "x\\Quenmark\\Quenmark\\a"), "\\Quenmark\\a");
    EXPECT_EQ(nameWithin("x", "x\\Quenmarks\\a"), "\\Quenmarks\\a");
    EXPECT_EQ(nameWithin("x\\y\\", "/x/y/a//"), "\\a");
}

} // namespace webservice
