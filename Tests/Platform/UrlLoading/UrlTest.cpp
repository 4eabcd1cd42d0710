// The text of URLs: what may stand in one, and its components.

#include "Platform/UrlLoading/Url.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <utility>
#include <vector>

namespace Platform {
namespace {

class AUrlText : public testing::TestWithParam<std::string> {};
class ATextThatIsNoUrl : public testing::TestWithParam<std::string> {};

TEST_P(AUrlText, IsTakenAsItStands) {
    const auto url = Url::fromString(GetParam());
    ASSERT_TRUE(url);
    EXPECT_EQ(url->absoluteString(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(Various, AUrlText,
                         testing::Values("http://host/QuenmarkRestService/Uploads.svc/GetTopFileUpload",
                                         "http://127.0.0.1:8080/a?b=c#d", "http://[::1]:80/x", "http://u:p@[fe80::1]",
                                         "/a/b.txt", "relative", "?", "http:", "a%20b",
                                         "http://host/%C3%A4;x,y!$&'()*+", "HTTP://Host/",
                                         "http://host//double//slash"));

TEST_P(ATextThatIsNoUrl, GivesNil) {
    EXPECT_EQ(Url::fromString(GetParam()), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Various, ATextThatIsNoUrl,
                         testing::Values("", " ", "http://host/a b", "http://host/\n", "a\tb", "http://host/\"", "a<b",
                                         "a>b", "a\\b", "a^b", "a`b", "a{b", "a|b", "a}b", "http://host/\xC3\xA4",
                                         "\x7F", std::string("a\0b", 3), "%", "a%2", "a%2g", "%%20", "http://host/[x]",
                                         "http://[::1", "http://::1]/", "http://[]/", "http://[::1]x/",
                                         "http://host/?a[]=1"));

TEST(UrlTest, IsNotCompletedByWhatStandsBehindItsText) {
    const std::string_view whole = "http://host/%41";
    EXPECT_TRUE(Url::fromString(whole));
    EXPECT_FALSE(Url::fromString(whole.substr(0, whole.size() - 1)));
    EXPECT_FALSE(Url::fromString(whole.substr(0, whole.size() - 2)));
}

TEST(UrlTest, TellsItsSchemeInLowerCase) {
    EXPECT_EQ(Url::fromString("HtTp://host")->scheme(), "http");
    EXPECT_EQ(Url::fromString("svn+ssh://host")->scheme(), "svn+ssh");
    EXPECT_EQ(Url::fromString("/path:x")->scheme(), "");
    EXPECT_EQ(Url::fromString("1a:b")->scheme(), "");
    EXPECT_EQ(Url::fromString("a/b:c")->scheme(), "");
    EXPECT_EQ(Url::fromString("?a:b")->scheme(), "");
}

TEST(UrlTest, TellsItsPathWithTheEscapesUndone) {
    EXPECT_EQ(Url::fromString("http://host:1/a%20b/%c3%A4?q#f")->path(), "/a b/\xC3\xA4");
    EXPECT_EQ(Url::fromString("http://host")->path(), "");
    EXPECT_EQ(Url::fromString("http://host?/x")->path(), "");
    EXPECT_EQ(Url::fromString("/Users/x/file.txt")->path(), "/Users/x/file.txt");
    EXPECT_EQ(Url::fromString("file:///tmp/x")->path(), "/tmp/x");
}

TEST(UrlTest, MakesTheFileUrlOfAnyPath) {
    EXPECT_EQ(Url::fileUrl("/tmp/a b#c%d?\xC3\xA4[1];x").absoluteString(),
              "file:///tmp/a%20b%23c%25d%3F%C3%A4%5B1%5D%3Bx");
    EXPECT_EQ(Url::fileUrl("/tmp/a b").scheme(), "file");
    const std::string odd = "/tmp/\x01 \\ \" \xFF%41:";
    EXPECT_EQ(Url::fileUrl(odd).path(), odd);
    EXPECT_TRUE(Url::fromString(Url::fileUrl(odd).absoluteString()));
}

TEST(UrlTest, MakesTheFileUrlOfARelativePathFromTheWorkingDirectory) {
    EXPECT_EQ(Url::fileUrl("x.txt").path(), (std::filesystem::current_path() / "x.txt").string());
}

// The examples of RFC 3986, sections 5.4.1 and 5.4.2.
TEST(UrlTest, ResolvesAReference) {
    const auto base = Url::fromString("http://a/b/c/d;p?q");
    const std::vector<std::pair<const char*, const char*>> examples{
        {"g:h", "g:h"},
        {"g", "http://a/b/c/g"},
        {"./g", "http://a/b/c/g"},
        {"g/", "http://a/b/c/g/"},
        {"/g", "http://a/g"},
        {"//g", "http://g"},
        {"?y", "http://a/b/c/d;p?y"},
        {"g?y", "http://a/b/c/g?y"},
        {"#s", "http://a/b/c/d;p?q#s"},
        {"g#s", "http://a/b/c/g#s"},
        {"g?y#s", "http://a/b/c/g?y#s"},
        {";x", "http://a/b/c/;x"},
        {"", "http://a/b/c/d;p?q"},
        {".", "http://a/b/c/"},
        {"./", "http://a/b/c/"},
        {"..", "http://a/b/"},
        {"../g", "http://a/b/g"},
        {"../..", "http://a/"},
        {"../../g", "http://a/g"},
        {"../../../g", "http://a/g"},
        {"/../g", "http://a/g"},
        {"g.", "http://a/b/c/g."},
        {"..g", "http://a/b/c/..g"},
        {"./g/.", "http://a/b/c/g/"},
        {"g/../h", "http://a/b/c/h"},
        {"g;x=1/../y", "http://a/b/c/y"},
        {"g?y/../x", "http://a/b/c/g?y/../x"},
    };
    for (const auto& [reference, expected] : examples)
        EXPECT_EQ(base->resolve(reference), Url::fromString(expected)) << reference;
}

TEST(UrlTest, ResolvesAReferenceFromABaseWithoutAPath) {
    EXPECT_EQ(Url::fromString("http://a")->resolve("g/h"), Url::fromString("http://a/g/h"));
    EXPECT_EQ(Url::fromString("http://a?q")->resolve(".."), Url::fromString("http://a/"));
}

TEST(UrlTest, EscapesBlanksAndOtherBytesOfAReference) {
    const auto base = Url::fromString("http://a/b");
    EXPECT_EQ(base->resolve("a b\xC3\xA4"), Url::fromString("http://a/a%20b%C3%A4"));
    EXPECT_EQ(base->resolve("http://b/a b"), Url::fromString("http://b/a%20b"));
    EXPECT_EQ(base->resolve("a\"b"), std::nullopt);
    EXPECT_EQ(base->resolve("a\nb"), std::nullopt);
    EXPECT_EQ(base->resolve("//[x"), std::nullopt);
}

TEST(UrlTest, TellsWhereItLeads) {
    EXPECT_EQ(Url::fromString("HTTP://user:pw@Host:80/x")->origin(), "http://host");
    EXPECT_EQ(Url::fromString("http://host")->origin(), "http://host");
    EXPECT_EQ(Url::fromString("http://host:/x")->origin(), "http://host");
    EXPECT_EQ(Url::fromString("https://host:443?q")->origin(), "https://host");
    EXPECT_EQ(Url::fromString("http://host:8080/x")->origin(), "http://host:8080");
    EXPECT_EQ(Url::fromString("http://[::1]:8080/x")->origin(), "http://[::1]:8080");
}

TEST(UrlTest, HasAHostWhereOneStandsBeforeThePort) {
    for (const char* text : {"http://host", "http://user@host:80/x", "http://[::1]:8080/", "file://host/path"})
        EXPECT_TRUE(Url::fromString(text)->hasHost()) << text;
    for (const char* text : {"http://", "http:///x", "http://:80", "http://user@:8080/x", "http:path", "/path"})
        EXPECT_FALSE(Url::fromString(text)->hasHost()) << text;
}

} // namespace
} // namespace Platform
