// Header fields: their order, the case of their names, repeated fields.

#include "Platform/UrlLoading/HeaderFields.h"

#include <gtest/gtest.h>

namespace Platform {
namespace {

std::string written(const HeaderFields& fields) {
    std::string result;
    for (const auto& [name, value] : fields)
        result += name + "=" + value + ";";
    return result;
}

TEST(HeaderFieldsTest, KeepTheOrderInWhichTheyWereAdded) {
    HeaderFields fields;
    fields.set("B", "1");
    fields.add("A", "2");
    fields.set("C", "3");
    EXPECT_EQ(written(fields), "B=1;A=2;C=3;");
    EXPECT_EQ(fields.size(), 3U);
}

TEST(HeaderFieldsTest, ReplaceAFieldOfTheSameNameInAnyCaseInItsPlace) {
    HeaderFields fields;
    fields.set("Content-Type", "a");
    fields.set("Accept", "b");
    fields.set("content-TYPE", "c");
    EXPECT_EQ(written(fields), "content-TYPE=c;Accept=b;");
}

TEST(HeaderFieldsTest, JoinAFieldThatIsAddedAgain) {
    HeaderFields fields;
    fields.add("ReturnStatus", "0");
    fields.add("returnstatus", "2");
    EXPECT_EQ(written(fields), "ReturnStatus=0, 2;");
}

TEST(HeaderFieldsTest, AreRemovedByNameInAnyCase) {
    HeaderFields fields;
    fields.set("Host", "x");
    fields.set("Accept", "y");
    fields.remove("HOST");
    fields.remove("Missing");
    EXPECT_EQ(written(fields), "Accept=y;");
}

TEST(HeaderFieldsTest, AreFoundByTheirExactNameOrInAnyCase) {
    HeaderFields fields;
    fields.set("ReturnStatus", "0");
    EXPECT_EQ(fields.valueForExactName("ReturnStatus"), "0");
    EXPECT_EQ(fields.valueForExactName("returnstatus"), std::nullopt);
    EXPECT_EQ(fields.value("returnstatus"), "0");
    EXPECT_EQ(fields.value("Return"), std::nullopt);
    EXPECT_TRUE(fields.has("returnstatus"));
    EXPECT_FALSE(fields.has("Return"));
}

TEST(HeaderFieldsTest, AnEmptyValueIsAValue) {
    HeaderFields fields;
    fields.set("FileName", "");
    EXPECT_EQ(fields.valueForExactName("FileName"), "");
}

TEST(HeaderFieldsTest, CompareNamesWithoutTheCaseOfAsciiLettersOnly) {
    EXPECT_TRUE(sameFieldName("Content-Type", "cONTENT-tYPE"));
    EXPECT_FALSE(sameFieldName("Content-Type", "Content-Typ"));
    EXPECT_FALSE(sameFieldName("a[", "a{"));
}

TEST(HeaderFieldsTest, AreLoggedAsADictionary) {
    HeaderFields fields;
    fields.set("Server", "a \"b\"");
    fields.set("IsFile", "True");
    EXPECT_EQ(text(fields), "{\n    \"Server\" = \"a \\\"b\\\"\";\n    \"IsFile\" = \"True\";\n}");
    EXPECT_EQ(text(HeaderFields()), "{\n}");
}

} // namespace
} // namespace Platform
