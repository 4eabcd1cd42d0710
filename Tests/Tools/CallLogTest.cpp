// What quenmark call --verbose shows of the library's log, and what it does not.

#include "Tools/CallLog.h"

#include "ToolFixture.h"

namespace ToolTest {

using TestSupport::HttpReply;
using Tools::withoutPasswords;

TEST(AnEntryWithoutPasswords, HasNoValueOfAPasswordInJson) {
    EXPECT_EQ(withoutPasswords(
                  "Json String {\n  \"MailID\" : \"a@b\",\n  \"Password\" : \"s3\\\"cr\\\\\",\n  \"X\" : \"y\"\n}"),
              "Json String {\n  \"MailID\" : \"a@b\",\n  \"Password\" : ***,\n  \"X\" : \"y\"\n}");
    EXPECT_EQ(withoutPasswords(R"([{"Password":"a"},{"PASSWORD":"b"},{"passWord":1,"z":2}])"),
              R"([{"Password":***},{"PASSWORD":***},{"passWord":***,"z":2}])");
    EXPECT_EQ(withoutPasswords(R"({"OldPassword_2" : "a"})"), R"({"OldPassword_2" : ***})");
}

TEST(AnEntryWithoutPasswords, HasNoneInADictionary) {
    EXPECT_EQ(withoutPasswords("response {\n    \"Password\" = \"s3cr3t\";\n    \"a\" = 1;\n}"),
              "response {\n    \"Password\" = ***;\n    \"a\" = 1;\n}");
}

TEST(AnEntryWithoutPasswords, HasNoneWhereQuotesDoNotPair) {
    EXPECT_EQ(withoutPasswords(R"(a 5" disk {"Password" : "s3cr3t"})"), R"(a 5" disk {"Password" : ***})");
    EXPECT_EQ(withoutPasswords(R"(it said "{\"Password\":\"s3cr3t\"}")"), R"(it said "{\"Password\":***}")");
    EXPECT_EQ(withoutPasswords(R"("Password" : "cut o)"), R"("Password" : ***)");
}

TEST(AnEntryWithoutPasswords, IsTheEntryWhereItHasNone) {
    for (const char* entry : {"", "Connection available... ", R"("Password")", R"("Password" })", "password",
                              R"({"FileName" : "password.txt", "a" : "Password"})"})
        EXPECT_EQ(withoutPasswords(entry), entry);
}

TEST(AnEntryWithoutPasswords, HasNoneWhateverStandsAroundThem) {
    EXPECT_EQ(withoutPasswords("\"Password\"\t:\r\n \"x\", \"a\" : 1"), "\"Password\"\t:\r\n ***, \"a\" : 1");
    EXPECT_EQ(withoutPasswords("\"Password\" = x;\n\"a\""), "\"Password\" = ***;\n\"a\"");
    EXPECT_EQ(withoutPasswords("(\"Password\" : x)"), "(\"Password\" : ***)");
    EXPECT_EQ(withoutPasswords("\"Password\" : "), "\"Password\" : ***");
    EXPECT_EQ(withoutPasswords("\"Password\" x"), "\"Password\" x");
    EXPECT_EQ(withoutPasswords("\"Password9z_Z\":1,"), "\"Password9z_Z\":***,");
    EXPECT_EQ(withoutPasswords("\"Password-1\":1"), "\"Password-1\":1");
    EXPECT_EQ(withoutPasswords(R"({\"Password\":\"a)"), R"({\"Password\":***)");
    EXPECT_EQ(withoutPasswords(R"("Password":"a\)"), R"("Password":***)");
    EXPECT_EQ(withoutPasswords(R"("Password":"","Password":"b"!)"), R"("Password":***,"Password":***!)");
}

class AVerboseCall : public AQuenmarkTool {};

TEST_F(AVerboseCall, ShowsNoPasswordThatItSends) {
    server.setHandler([](const auto&) { return HttpReply::json(R"({"ReturnStatus":"0","Password":"s3cr3t"})"); });
    const auto result = run({"call", "UserRegistration", "MailID=a@example.org", "Password=s3cr3t", "--verbose"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.errors.find("s3cr3t"), std::string::npos) << result.errors;
    EXPECT_NE(result.errors.find("\"Password\" : ***"), std::string::npos) << result.errors;
    EXPECT_NE(result.errors.find("a@example.org"), std::string::npos) << result.errors;
    EXPECT_NE(result.errors.find("\"Password\" = ***;"), std::string::npos) << result.errors;
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_NE(server.requests()[0].body.find("\"Password\" : \"s3cr3t\""), std::string::npos);
}

TEST_F(AVerboseCall, ShowsNoPasswordOfAJsonBody) {
    server.setHandler([](const auto&) { return HttpReply::json("{}"); });
    const auto result =
        runWithInput(R"({"Password":"s3\"cr3t"})", {"call", "UserRegistration", "--json", "-", "--verbose"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.errors.find("cr3t"), std::string::npos) << result.errors;
    EXPECT_NE(result.errors.find("***"), std::string::npos) << result.errors;
}

TEST_F(AVerboseCall, BeginsEachEntryAsTheLogDoes) {
    server.setHandler([](const auto&) { return HttpReply::json("{}"); });
    const auto result = run({"call", "GetTopFileUpload", "--verbose"});
    EXPECT_TRUE(result.errors.starts_with("20")) << result.errors;
    EXPECT_NE(result.errors.find(" quenmark["), std::string::npos) << result.errors;
}

} // namespace ToolTest
