#include "Tools/PercentEncoding.h"

#include <gtest/gtest.h>

using Tools::percentEncoded;

TEST(APercentEncodedText, EscapesEveryByteThatIsNotUnreserved) {
    EXPECT_EQ(percentEncoded("AZaz09-._~"), "AZaz09-._~");
    EXPECT_EQ(percentEncoded("a b/c\\%"), "a%20b%2Fc%5C%25");
    EXPECT_EQ(percentEncoded("@[`{:+"), "%40%5B%60%7B%3A%2B");
    EXPECT_EQ(percentEncoded("\xC3\xBC\x7F\x01"), "%C3%BC%7F%01");
    EXPECT_EQ(percentEncoded(std::string_view("\0", 1)), "%00");
    EXPECT_EQ(percentEncoded(""), "");
}
