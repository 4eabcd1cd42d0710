// Reading of request bodies.

#include "WebService/Operations/Record.h"

#include <gtest/gtest.h>

namespace webservice {

namespace {

std::string refusalOf(std::string_view body, std::string_view key = "Key") {
    try {
        static_cast<void>(Record::parse(body).text(key));
    } catch (const Refusal& refusal) {
        return refusal.code();
    }
    return "";
}

} // namespace

TEST(ARecord, HasTextsAndTakesIntegersAsTexts) {
    const Record record = Record::parse(" {\"A\": \"x\\u00e4\", \"B\": 12, \"C\": null, \"D\": \"\"}\n");
    EXPECT_EQ(record.text("A"), "xä");
    EXPECT_EQ(record.text("B"), "12");
    EXPECT_EQ(record.id("B"), 12);
    EXPECT_EQ(record.id("A"), -1);
    EXPECT_EQ(record.optional("C"), std::nullopt);
    EXPECT_EQ(record.optional("D"), "");
    EXPECT_EQ(record.optional("E"), std::nullopt);
}

TEST(ARecord, RefusesWhatIsNotAFlatObjectOfTexts) {
    EXPECT_EQ(refusalOf(""), "NotJson");
    EXPECT_EQ(refusalOf("{"), "NotJson");
    EXPECT_EQ(refusalOf("{} x"), "NotJson");
    EXPECT_EQ(refusalOf("{\"Key\":\"\xff\"}"), "NotJson");
    EXPECT_EQ(refusalOf(std::string(100'000, '[')), "NotJson");
    EXPECT_EQ(refusalOf("[]"), "NotAnObject");
    EXPECT_EQ(refusalOf("null"), "NotAnObject");
    EXPECT_EQ(refusalOf("\"Key\""), "NotAnObject");
    EXPECT_EQ(refusalOf("{}"), "MissingKey");
    EXPECT_EQ(refusalOf("{\"Key\":\"\"}"), "MissingKey");
    EXPECT_EQ(refusalOf("{\"Key\":null}"), "MissingKey");
    EXPECT_EQ(refusalOf("{\"Key\":1.5}"), "WrongType");
    EXPECT_EQ(refusalOf("{\"Key\":true}"), "WrongType");
    EXPECT_EQ(refusalOf("{\"Key\":[]}"), "WrongType");
    EXPECT_EQ(refusalOf("{\"Key\":{}}"), "WrongType");
}

TEST(ARecord, TakesTrueInAnyCaseAndOneForTrue) {
    const Record record = Record::parse(R"({"A":"True","B":"true","C":"1","D":1,"E":"False","F":"0","G":"yes"})");
    for (const char* key : {"A", "B", "C", "D"}) {
        EXPECT_TRUE(record.isTrue(key)) << key;
    }
    for (const char* key : {"E", "F", "G", "H"}) {
        EXPECT_FALSE(record.isTrue(key)) << key;
    }
}

TEST(ADecimalNumber, IsDigitsOnlyAndFits) {
    EXPECT_EQ(decimal("0"), 0);
    EXPECT_EQ(decimal("9223372036854775807"), 9223372036854775807);
    for (const char* text : {"", "-1", "+1", " 1", "1 ", "0x1", "1.0", "9223372036854775808"}) {
        EXPECT_EQ(decimal(text), std::nullopt) << text;
    }
}

} // namespace webservice
