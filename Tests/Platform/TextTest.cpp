#include "Platform/Text.h"

#include <boost/json.hpp>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace {

using boost::json::array;
using boost::json::object;
using boost::json::value;
using Platform::integerValue;
using Platform::text;

TEST(ATextOfAValue, IsAMarkWhereThereIsNone) {
    EXPECT_EQ(text(std::nullopt), "(null)");
    EXPECT_EQ(text(std::optional<std::string>()), "(null)");
    EXPECT_EQ(text(std::optional<value>()), "(null)");
    EXPECT_EQ(text(value(nullptr)), "<null>");
}

TEST(ATextOfAValue, IsTheStringItself) {
    EXPECT_EQ(text(std::string_view("a \"b\"\n")), "a \"b\"\n");
    EXPECT_EQ(text(std::optional<std::string>("")), "");
    EXPECT_EQ(text(value("é")), "é");
}

TEST(ATextOfAValue, IsANumberInDecimal) {
    EXPECT_EQ(text(0), "0");
    EXPECT_EQ(text(-1004), "-1004");
    EXPECT_EQ(text(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
    EXPECT_EQ(text(value(42)), "42");
    EXPECT_EQ(text(value(std::numeric_limits<std::int64_t>::min())), "-9223372036854775808");
}

TEST(ATextOfAValue, IsOneOrZeroForABoolean) {
    EXPECT_EQ(text(value(true)), "1");
    EXPECT_EQ(text(value(false)), "0");
}

TEST(ATextOfAValue, NamesAnErrorsDomainCodeAndDescription) {
    EXPECT_EQ(text(Platform::Error{"JSON", 3840, "Not JSON"}), "Error Domain=JSON Code=3840 \"Not JSON\"");
}

TEST(ATextOfAValue, TakesSeveralLinesForADictionary) {
    EXPECT_EQ(text(object{{"b", "x"}, {"a", array{1, nullptr, "y"}}, {"c", object{{"d", true}}}}),
              "{\n"
              "    \"b\" = \"x\";\n"
              "    \"a\" = (\n"
              "        1,\n"
              "        <null>,\n"
              "        \"y\"\n"
              "    );\n"
              "    \"c\" = {\n"
              "        \"d\" = 1;\n"
              "    };\n"
              "}");
}

TEST(ATextOfAValue, TakesSeveralLinesForAnArray) {
    EXPECT_EQ(text(array{"a", 1}), "(\n    \"a\",\n    1\n)");
}

TEST(ATextOfAValue, IsAPairOfBracketsForNothing) {
    EXPECT_EQ(text(object{}), "{\n}");
    EXPECT_EQ(text(value(array{})), "(\n)");
}

TEST(ATextOfAValue, MarksQuotesInsideStringsOfContainers) {
    EXPECT_EQ(text(object{{"k\"", "a\\b"}}), "{\n    \"k\\\"\" = \"a\\\\b\";\n}");
}

TEST(ATextOfAValue, IsCutWhereAContainerHasTooMuch) {
    array many(100'000, value("0123456789"));
    const std::string result = text(many);
    EXPECT_EQ(result.size(), (128U << 10) + 3);
    EXPECT_EQ(result.substr(0, 20), "(\n    \"0123456789\",\n");
    EXPECT_EQ(result.substr(result.size() - 3), "...");
}

TEST(ATextOfAValue, IsCutWhereAStringOfAContainerIsTooLong) {
    const std::string result = text(object{{"a", std::string(1 << 20, 'x')}});
    EXPECT_EQ(result.size(), (128U << 10) + 3);
    EXPECT_EQ(result.substr(result.size() - 4), "x...");
}

TEST(AnIntegerValue, IsTheNumberAtTheStart) {
    EXPECT_EQ(integerValue("2"), 2);
    EXPECT_EQ(integerValue("  -17abc"), -17);
    EXPECT_EQ(integerValue("\t\n+5"), 5);
    EXPECT_EQ(integerValue("007"), 7);
    EXPECT_EQ(integerValue("3.9"), 3);
}

TEST(AnIntegerValue, IsZeroWhereThereIsNone) {
    for (const char* string : {"", "abc", "-", "+", "True", "- 1", "+-1", "(null)"})
        EXPECT_EQ(integerValue(string), 0) << string;
}

TEST(AnIntegerValue, IsTheNearestWhereItDoesNotFit) {
    EXPECT_EQ(integerValue("2147483647"), 2147483647);
    EXPECT_EQ(integerValue("2147483648"), 2147483647);
    EXPECT_EQ(integerValue("-2147483648"), std::numeric_limits<int>::min());
    EXPECT_EQ(integerValue("-2147483649"), std::numeric_limits<int>::min());
    EXPECT_EQ(integerValue("99999999999999999999999999"), 2147483647);
    EXPECT_EQ(integerValue("-99999999999999999999999999"), std::numeric_limits<int>::min());
}

} // namespace
