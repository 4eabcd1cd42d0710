#include "Platform/Json.h"

#include <boost/json.hpp>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

namespace Json = Platform::Json;
using boost::json::array;
using boost::json::object;
using boost::json::value;
using Platform::Error;

value parsed(std::string_view text) {
    auto result = Json::parse(text);
    if (const auto* error = std::get_if<Error>(&result)) {
        ADD_FAILURE() << error->localizedDescription;
        return {};
    }
    return std::get<value>(std::move(result));
}

std::string failure(std::string_view text) {
    const auto result = Json::parse(text);
    const auto* error = std::get_if<Error>(&result);
    if (error == nullptr) {
        ADD_FAILURE() << "was read: " << text.substr(0, 80);
        return {};
    }
    EXPECT_EQ(error->domain, "JSON");
    EXPECT_EQ(error->code, 3840);
    return error->localizedDescription;
}

std::string endOf(const std::string& text, std::size_t length) {
    return text.substr(text.size() - std::min(length, text.size()));
}

std::string written(const value& what) {
    auto result = Json::prettyPrinted(what);
    if (const auto* error = std::get_if<Error>(&result)) {
        ADD_FAILURE() << error->localizedDescription;
        return {};
    }
    return std::get<std::string>(std::move(result));
}

std::string failureToWrite(const value& what) {
    const auto result = Json::prettyPrinted(what);
    const auto* error = std::get_if<Error>(&result);
    return error != nullptr ? error->localizedDescription : "was written";
}

std::string nested(std::size_t depth, char open, char close) {
    return std::string(depth, open) + std::string(depth, close);
}

TEST(AJsonText, IsReadAsItsValues) {
    EXPECT_EQ(parsed(R"( {"a": [1, -2.5, true, false, null, "é\u00e9\n"]} )"),
              (value{{"a", array{1, -2.5, true, false, nullptr, "éé\n"}}}));
    EXPECT_EQ(parsed("[]"), value(array{}));
}

TEST(AJsonText, MayBeginWithAByteOrderMark) {
    EXPECT_EQ(parsed("\xEF\xBB\xBF{\"a\":1}"), (value{{"a", 1}}));
    EXPECT_EQ(endOf(failure("\xEF\xBB\xBF{x"), 10), " at byte 4");
}

TEST(AJsonText, KeepsTheLastOfTwoValuesUnderOneKey) {
    EXPECT_EQ(parsed(R"({"a":1,"b":2,"a":3})"), (value{{"a", 3}, {"b", 2}}));
}

TEST(AJsonText, KeepsTheOrderOfItsKeys) {
    const value read = parsed(R"({"z":1,"a":2,"m":3})");
    std::string keys;
    for (const auto& entry : read.get_object())
        keys += entry.key();
    EXPECT_EQ(keys, "zam");
}

TEST(AJsonText, HasAnObjectOrAnArrayAtItsTop) {
    for (const char* text : {"1", "\"a\"", "true", "null"})
        EXPECT_EQ(failure(text), "Not JSON: the top level is neither an object nor an array at byte 0");
    EXPECT_EQ(failure("\xEF\xBB\xBF  1"), "Not JSON: the top level is neither an object nor an array at byte 5");
}

TEST(AJsonText, HasNoNumberThatIsTooLarge) {
    EXPECT_EQ(failure("{\"a\": [1, {\"b\": 1e388}]}"), "Not JSON: a number that is too large");
    EXPECT_EQ(failure("[-1e309]"), "Not JSON: a number that is too large");
    EXPECT_EQ(failure("[" + std::string(400, '9') + "]"), "Not JSON: a number that is too large");
}

TEST(AJsonText, IsRefusedWithThePlaceOfTheFirstWrongByte) {
    EXPECT_EQ(failure("{\"a\": tru}"), "Not JSON: syntax error at byte 6");
    EXPECT_EQ(failure("{\"a\" 1}"), "Not JSON: syntax error at byte 5");
    EXPECT_EQ(failure("<html>"), "Not JSON: syntax error at byte 0");
    EXPECT_EQ(failure(std::string_view("\0{}", 3)), "Not JSON: syntax error at byte 0");
}

TEST(AJsonText, IsRefusedWhereItEndsEarly) {
    EXPECT_EQ(failure(""), "Not JSON: incomplete JSON at byte 0");
    EXPECT_EQ(failure("   "), "Not JSON: incomplete JSON at byte 3");
    EXPECT_EQ(failure("{\"a\":[1,2"), "Not JSON: incomplete JSON at byte 9");
}

TEST(AJsonText, IsRefusedWhereSomethingFollows) {
    EXPECT_EQ(failure("{} \n x"), "Not JSON: something follows the value at byte 5");
    EXPECT_EQ(failure("[1][2]"), "Not JSON: something follows the value at byte 3");
    EXPECT_EQ(failure(std::string_view("{}\0", 3)), "Not JSON: something follows the value at byte 2");
}

TEST(AJsonText, IsRefusedWhereAStringIsNotUtf8) {
    EXPECT_EQ(endOf(failure("{\"a\":\"b\xFF\"}"), 10), " at byte 7");
}

TEST(AJsonText, MayBeNestedToTheLimit) {
    EXPECT_TRUE(parsed(nested(512, '[', ']')).is_array());
    std::string objects;
    for (int level = 0; level < 511; ++level)
        objects += "{\"a\":";
    EXPECT_TRUE(parsed(objects + "{}" + std::string(511, '}')).is_object());
}

TEST(AJsonText, IsRefusedBeyondTheLimitHoweverDeepItIs) {
    EXPECT_EQ(failure(nested(513, '[', ']')), "Not JSON: too deep at byte 512");
    EXPECT_EQ(failure(nested(100'000, '[', ']')), "Not JSON: too deep at byte 512");
    std::string objects;
    for (int level = 0; level < 100'000; ++level)
        objects += "{\"a\":";
    EXPECT_EQ(failure(objects), "Not JSON: too deep at byte 2560");
}

TEST(APrettyText, HasALineAValueAndTwoBlanksALevel) {
    EXPECT_EQ(written(object{{"A", "1"}}), "{\n  \"A\" : \"1\"\n}");
    EXPECT_EQ(written(object{{"b", 1}, {"a", array{true, nullptr, object{{"x", "y"}}}}, {"e", array{}}}),
              "{\n"
              "  \"b\" : 1,\n"
              "  \"a\" : [\n"
              "    true,\n"
              "    null,\n"
              "    {\n"
              "      \"x\" : \"y\"\n"
              "    }\n"
              "  ],\n"
              "  \"e\" : []\n"
              "}");
}

TEST(APrettyText, OfNothingIsAPairOfBrackets) {
    EXPECT_EQ(written(object{}), "{}");
    EXPECT_EQ(written(array{}), "[]");
}

TEST(APrettyText, EscapesWhatJsonMustEscape) {
    EXPECT_EQ(written(array{"\"\\\b\f\n\r\t\x01/é"}), "[\n  \"\\\"\\\\\\b\\f\\n\\r\\t\\u0001/é\"\n]");
    EXPECT_EQ(written(object{{"\"", 1}}), "{\n  \"\\\"\" : 1\n}");
}

TEST(APrettyText, IsReadBackAsTheSameValue) {
    const value original{{"a", array{1, -1, 18446744073709551615U, 0.1, 1e300, "x"}}, {"", object{{"é", false}}}};
    EXPECT_EQ(parsed(written(original)), original);
}

TEST(APrettyText, CannotHoldStringsThatAreNotUtf8) {
    EXPECT_EQ(failureToWrite(object{{"a", "b\xFF"}}),
              "Cannot be written as JSON: a string that is not UTF-8 at byte 1");
    EXPECT_EQ(failureToWrite(object{{"ab\xC3", 1}}), "Cannot be written as JSON: a string that is not UTF-8 at byte 2");
}

TEST(APrettyText, CannotHoldNumbersThatAreNotFinite) {
    for (const double number :
         {std::nan(""), std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()})
        EXPECT_EQ(failureToWrite(array{1, number}), "Cannot be written as JSON: a number that is not finite");
}

} // namespace
