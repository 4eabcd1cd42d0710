#include "Platform/Files/Files.h"

#include <gtest/gtest.h>

#include <map>

namespace {

namespace Files = Platform::Files;
using Cases = std::map<std::string, std::string>;

TEST(APath, EndsInItsLastComponent) {
    const Cases cases{{"/a/b.txt", "b.txt"}, {"/", "/"},  {"", ""},    {"a", "a"}, {"a/", "a"},
                      {"/a/b//", "b"},       {"//", "/"}, {"/a", "a"}, {".", "."}, {"a/..", ".."}};
    for (const auto& [path, expected] : cases)
        EXPECT_EQ(Files::lastPathComponent(path), expected) << path;
}

TEST(APath, LosesItsLastComponent) {
    const Cases cases{{"/a/b", "/a"},  {"/a", "/"},  {"a", ""},     {"", ""},    {"/", "/"},
                      {"/a/b/", "/a"}, {"a/b", "a"}, {"a//b", "a"}, {"//a", "/"}};
    for (const auto& [path, expected] : cases)
        EXPECT_EQ(Files::deletingLastPathComponent(path), expected) << path;
}

TEST(APath, HasTheExtensionBehindTheLastDot) {
    const Cases cases{{"a.tar.gz", "gz"}, {".profile", ""}, {"/x.y/z", ""}, {"/x/a.b/", "b"}, {"a.", ""},
                      {"a..b", "b"},      {"", ""},         {"/", ""},      {"..", ""},       {".", ""}};
    for (const auto& [path, expected] : cases)
        EXPECT_EQ(Files::pathExtension(path), expected) << path;
}

TEST(APath, LosesItsExtensionWithTheDot) {
    const Cases cases{{"a.tar.gz", "a.tar"}, {".profile", ".profile"}, {"/x.y/z", "/x.y/z"},
                      {"/x/a.b/", "/x/a"},   {"/x/a..b", "/x/a."},     {"", ""},
                      {"..", ".."}};
    for (const auto& [path, expected] : cases)
        EXPECT_EQ(Files::deletingPathExtension(path), expected) << path;
}

TEST(APath, TakesAComponentWithOneSeparatorBetween) {
    EXPECT_EQ(Files::appendingPathComponent("/a", "b"), "/a/b");
    EXPECT_EQ(Files::appendingPathComponent("/a/", "b"), "/a/b");
    EXPECT_EQ(Files::appendingPathComponent("/a", "/b"), "/a/b");
    EXPECT_EQ(Files::appendingPathComponent("/a//", "//b/"), "/a/b/");
    EXPECT_EQ(Files::appendingPathComponent("/", "b"), "/b");
    EXPECT_EQ(Files::appendingPathComponent("/", "/"), "/");
}

TEST(APath, StaysAsItIsWithoutAComponent) {
    EXPECT_EQ(Files::appendingPathComponent("/a", ""), "/a");
    EXPECT_EQ(Files::appendingPathComponent("", "a"), "a");
    EXPECT_EQ(Files::appendingPathComponent("", ""), "");
}

} // namespace
