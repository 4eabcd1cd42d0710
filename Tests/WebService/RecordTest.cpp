// Reading of request bodies.

#include "WebService/Operations/Record.h"

#include "WebService/Operations/JsonBody.h"

#include <gtest/gtest.h>

namespace webservice {

namespace {

std::string refusalOf(std::string_view text, std::string_view key = "Key") {
    try {
        JsonBody body;
        body.receive(text);
        static_cast<void>(Record(body.value()).text(key));
    } catch (const RequestError& error) {
        return error.code();
    }
    return "";
}

} // namespace

TEST(ARecord, HasTextsAndTakesIntegersAsTexts) {
    JsonBody body;
    body.receive(" {\"A\": \"x\\u00e4\", \"B\": 12, \"C\": null, \"D\": \"\"}\n");
    const Record record(body.value());
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

TEST(ARecord, RefusesATextOfMoreThan64KiB) {
    EXPECT_EQ(refusalOf("{\"Key\":\"" + std::string(65536, 'x') + "\"}"), "");
    EXPECT_EQ(refusalOf("{\"Key\":\"" + std::string(65537, 'x') + "\"}"), "TooLong");
}

TEST(ARecord, ReturnsALongTextWithoutCopyingIt) {
    JsonBody body;
    body.receive(R"({"A":"text","B":12})");
    const Record record(body.value());
    EXPECT_EQ(record.longText("A"), "text");
    EXPECT_EQ(record.longText("C"), "");
    EXPECT_THROW(static_cast<void>(record.longText("B")), RequestError);
}

TEST(ARequestError, CutsALongMessageAtTheEndOfACharacter) {
    EXPECT_EQ(std::string(RequestError("Code", std::string(299, 'x') + "ä!").what()), std::string(299, 'x') + "...");
    EXPECT_EQ(std::string(RequestError("Code", std::string(300, 'x')).what()), std::string(300, 'x'));
    EXPECT_EQ(std::string(RequestError("Code", std::string(301, 'x')).what()), std::string(300, 'x') + "...");
    EXPECT_STREQ(RequestError("Code", std::string(400, '\x80')).what(), "..."); // no character begins anywhere
    EXPECT_EQ(std::string(RequestError("Code", std::string(301, 'x'), 400).what()), std::string(301, 'x'));
}

TEST(AJsonBody, IsTheSameInWhateverPiecesItArrives) {
    const std::string_view text = R"( {"A" : ["ä", 12, -1.5e3, true, null]} )";
    JsonBody whole;
    whole.receive(text);
    JsonBody pieces;
    for (const char& byte : text)
        pieces.receive({&byte, 1});
    EXPECT_EQ(boost::json::serialize(whole.value()), R"({"A":["ä",12,-1.5E3,true,null]})");
    EXPECT_EQ(pieces.value(), whole.value());
}

TEST(AJsonBody, ReportsThePositionOfTheFirstError) {
    JsonBody body;
    body.receive("{\"A\":");
    body.receive("1}");
    body.receive(" x");
    body.receive("}");
    try {
        static_cast<void>(body.value());
        FAIL();
    } catch (const RequestError& error) {
        EXPECT_EQ(error.code(), "NotJson");
        EXPECT_TRUE(std::string_view(error.what()).ends_with(" at byte 8")) << error.what();
    }
}

TEST(AJsonBody, IsRefusedWhenItsParsedFormTakesTooMuchMemory) {
    JsonBody body;
    body.receive("[1");
    const std::string piece = [] {
        std::string ones;
        for (int i = 0; i < 32768; ++i)
            ones += ",1";
        return ones;
    }();
    for (int i = 0; i < 256; ++i)
        body.receive(piece);
    body.receive("]");
    try {
        static_cast<void>(body.value());
        FAIL();
    } catch (const RequestError& error) {
        EXPECT_EQ(error.code(), "TooLong");
        EXPECT_STREQ(error.what(), "the body needs more than 64 MiB when it is parsed");
        EXPECT_EQ(error.status(), 413);
    }
}

TEST(ARecord, TakesTrueInAnyCaseAndOneForTrue) {
    JsonBody body;
    body.receive(R"({"A":"True","B":"true","C":"1","D":1,"E":"False","F":"0","G":"yes"})");
    const Record record(body.value());
    for (const char* key : {"A", "B", "C", "D"})
        EXPECT_TRUE(record.isTrue(key)) << key;
    for (const char* key : {"E", "F", "G", "H"})
        EXPECT_FALSE(record.isTrue(key)) << key;
}

TEST(ADecimalNumber, IsDigitsOnlyAndFits) {
    EXPECT_EQ(decimal("0"), 0);
    EXPECT_EQ(decimal("9223372036854775807"), 9223372036854775807);
    for (const char* text : {"", "-1", "+1", " 1", "1 ", "0x1", "1.0", "9223372036854775808"})
        EXPECT_EQ(decimal(text), std::nullopt) << text;
}

TEST(AJsonBody, ReleasesWhatTheParserNoLongerNeeds) {
    JsonBody body;
    body.receive("\"");
    for (int i = 0; i < 64; ++i)
        body.receive(std::string(65'536, 'x'));
    EXPECT_GT(body.memory(), 64U * 65'536);
    EXPECT_LT(body.memory(), 2U * 64 * 65'536);
}

} // namespace webservice
