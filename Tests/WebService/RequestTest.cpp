// The request line and headers of a request.

#include "WebService/Http/Request.h"

#include <gtest/gtest.h>

namespace webservice {

TEST(ARequest, HasItsFieldsInAnyCaseAndItsTargetInTwoParts) {
    const Request request{
        .method = "POST", .target = "/a%20b?x=1&y=%2F", .headers = {{"FilePath", "\\100%25\\ä"}, {"Host", "h"}}};
    EXPECT_EQ(request.path(), "/a%20b");
    EXPECT_EQ(request.query(), "x=1&y=%2F");
    EXPECT_EQ(request.header("filepath"), "\\100%25\\ä");
    EXPECT_EQ(request.header("Host"), "h");
    EXPECT_EQ(request.header("Accept"), std::nullopt);
}

TEST(PercentDecoding, TakesTwoHexadecimalDigitsAndNothingElse) {
    EXPECT_EQ(percentDecoded("a%20b%C3%a4"), "a bä");
    EXPECT_EQ(percentDecoded("a+b"), "a+b");
    EXPECT_EQ(percentDecoded("%"), std::nullopt);
    EXPECT_EQ(percentDecoded("%2"), std::nullopt);
    EXPECT_EQ(percentDecoded("%2g"), std::nullopt);
    EXPECT_EQ(percentDecoded("%-1"), std::nullopt);
    EXPECT_EQ(percentDecoded("%g1"), std::nullopt);
    EXPECT_EQ(percentDecoded("%0x"), std::nullopt);
    EXPECT_EQ(percentDecoded("a%41"), "aA");
    EXPECT_EQ(percentDecoded("%4142%"), std::nullopt);
    EXPECT_EQ(percentDecoded(""), "");
}

TEST(AQueryValue, IsFoundByItsWholeName) {
    EXPECT_EQ(queryValue("computer=7", "computer"), "7");
    EXPECT_EQ(queryValue("xcomputer=1&computer=a+b%26&z=", "computer"), "a b&");
    EXPECT_EQ(queryValue("z=&y", "z"), "");
    EXPECT_EQ(queryValue("computer", "computer"), std::nullopt);
    EXPECT_EQ(queryValue("", "computer"), std::nullopt);
    EXPECT_EQ(queryValue("a&computer=1=2&computer=3", "computer"), "1=2");
    EXPECT_EQ(queryValue("computer=%4", "computer"), std::nullopt);
    EXPECT_EQ(queryValue("=1&computer=2", "computer"), "2");
}

TEST(ARequest, WithoutAQueryHasAnEmptyOne) {
    EXPECT_EQ((Request{.method = "GET", .target = "/a", .headers = {}}).query(), "");
    EXPECT_EQ((Request{.method = "GET", .target = "/a", .headers = {}}).path(), "/a");
    EXPECT_EQ((Request{.method = "GET", .target = "/a?", .headers = {}}).query(), "");
    EXPECT_EQ((Request{.method = "GET", .target = "?b", .headers = {}}).query(), "b");
}

} // namespace webservice
