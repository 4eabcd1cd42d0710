#include "TopFileUploadXpcService/Item.h"

#include "Support/LogCapture.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace Quenmark {

TEST(AnItem, OfAPollHoldsTheTextsOfTheResponse) {
    GetTopFileUploadResponseData response;
    response.isFile = "True";
    response.fileName = "\\Docs\\a.txt";
    response.fileUploadId = 12;
    response.serverPath = "C:\\up";
    response.toComputerId = "7";
    response.transitUploadPath = "t";
    response.uploadProcessed = false;
    EXPECT_EQ(Item::fromPoll(response), (Item{"True", "\\Docs\\a.txt", "12", "C:\\up", "7", "t", "0"}));
    EXPECT_EQ(Item::fromPoll({}), Item());
}

TEST(AnItem, OfAPollNamesEachFieldThatIsNoTextInTheLog) {
    TestSupport::LogCapture log;
    const boost::json::value list(boost::json::array{1});
    GetTopFileUploadResponseData response;
    response.isFile = list;
    response.fileName = list;
    response.fileUploadId = list;
    response.serverPath = list;
    response.toComputerId = list;
    response.transitUploadPath = list;
    response.uploadProcessed = list;
    EXPECT_EQ(Item::fromPoll(response), Item());
    EXPECT_EQ(log.entries(), (std::vector<std::string>{"The value of IsFile is not a text; it is left out",
                                                       "The value of FileName is not a text; it is left out",
                                                       "The value of FileUploadID is not a text; it is left out",
                                                       "The value of ServerPath is not a text; it is left out",
                                                       "The value of ToComputerID is not a text; it is left out",
                                                       "The value of TransitUploadPath is not a text; it is left out",
                                                       "The value of UploadProcessed is not a text; it is left out"}));
}

TEST(AnItem, OfHeaderFieldsHoldsTheirValuesAndTheTextOfNilWhereOneIsMissing) {
    Platform::HttpUrlResponse response;
    response.allHeaderFields.add("IsFile", "False");
    response.allHeaderFields.add("FileName", "\\Docs");
    response.allHeaderFields.add("FileUploadID", "13");
    response.allHeaderFields.add("ServerPath", "C:\\up");
    response.allHeaderFields.add("ToComputerID", "8");
    response.allHeaderFields.add("TransitUploadPath", "t");
    response.allHeaderFields.add("UploadProcessed", "True");
    EXPECT_EQ(Item::fromHeaderFields(response), (Item{"False", "\\Docs", "13", "C:\\up", "8", "t", "True"}));
    EXPECT_EQ(Item::fromHeaderFields({}), (Item{"(null)", "(null)", "(null)", "(null)", "(null)", "(null)", "(null)"}));
}

TEST(AnItem, IsCalledAFileOrAFolderByExactTexts) {
    Item item;
    for (const auto& [text, isFile, isFolder] : {std::tuple(std::optional<std::string>("True"), true, false),
                                                 {"False", false, true},
                                                 {"true", false, false},
                                                 {"false", false, false},
                                                 {"", false, false},
                                                 {std::nullopt, false, false}}) {
        item.isFile = text;
        EXPECT_EQ(item.isCalledFile(), isFile);
        EXPECT_EQ(item.isCalledFolder(), isFolder);
    }
}

TEST(AnItem, IsAcknowledgedWithItsIdentifierItsNameAndItsPaths) {
    const auto query = Item{"True", "\\a", "12", "s", "7", "t", "0"}.acknowledgement();
    EXPECT_EQ(query.fileUploadId, "12");
    EXPECT_EQ(query.fileName, "\\a");
    EXPECT_EQ(query.serverPath, "s");
    EXPECT_EQ(query.transitUploadPath, "t");
}

TEST(AnItemsText, IsTheTextOfAStringAndOfANumberAndNilOtherwise) {
    EXPECT_EQ(itemText(boost::json::value("a"), "X"), "a");
    EXPECT_EQ(itemText(boost::json::value(12), "X"), "12");
    EXPECT_EQ(itemText(boost::json::value(true), "X"), "1");
    EXPECT_EQ(itemText(boost::json::value(nullptr), "X"), std::nullopt);
    EXPECT_EQ(itemText(std::nullopt, "X"), std::nullopt);
}

TEST(AnItemsText, IsNilAndLoggedForADictionaryOrAnArray) {
    TestSupport::LogCapture log;
    EXPECT_EQ(itemText(boost::json::value(boost::json::array{1}), "FileName"), std::nullopt);
    EXPECT_EQ(itemText(boost::json::value(boost::json::object{}), "IsFile"), std::nullopt);
    EXPECT_EQ(log.entries(), (std::vector<std::string>{"The value of FileName is not a text; it is left out",
                                                       "The value of IsFile is not a text; it is left out"}));
}

} // namespace Quenmark
