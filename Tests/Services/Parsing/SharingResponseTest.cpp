// The response that holds the whole state of sharing: four lists of records.

#include "Services/Coding.h"
#include "Services/DataParser.h"

#include <boost/json/parse.hpp>
#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace ServicesTests {

namespace {

using Quenmark::ResponseField;
using Quenmark::UnsupportedOperation;

auto parse(std::string_view text) {
    return Quenmark::DataParser::parseGetSharedFilesTransferDataResponseData(
        boost::json::parse({text.data(), text.size()}));
}

TEST(ASharingResponse, HasFourEmptyListsWhereItLacksThem) {
    const auto record = parse(R"({"ReturnStatus": "True"})");
    EXPECT_TRUE(record.fileToTransferArray.empty());
    EXPECT_TRUE(record.OwnerComputersArray.empty());
    EXPECT_TRUE(record.RecFileFromTransferArray.empty());
    EXPECT_TRUE(record.SharedfoldersWithStatusArray.empty());
    EXPECT_EQ(record.ReturnStatus, ResponseField("True"));
}

TEST(ASharingResponse, KeepsTheOrderOfItsItemsAndLeavesMissingKeysNil) {
    const auto record = parse(R"({"FileToTransfer": [{"ChangeType": "1"}, {}]})");
    ASSERT_EQ(record.fileToTransferArray.size(), 2U);
    EXPECT_EQ(record.fileToTransferArray[0].changeType, ResponseField("1"));
    EXPECT_EQ(record.fileToTransferArray[0].fullPath, std::nullopt);
    EXPECT_EQ(record.fileToTransferArray[1], Quenmark::FileToTransfer{});
    EXPECT_EQ(record.ReturnStatus, std::nullopt);
}

TEST(ASharingResponse, SpellsThePathFromTheFileTableDifferentlyInItsTwoFileLists) {
    const auto record = parse(R"({
        "RecFileFromTransfer": [{"FullPathfromFileTable": "a"}, {"FullPathFromFileTable": "b"}],
        "FileToTransfer": [{"FullPathfromFileTable": "c"}, {"FullPathFromFileTable": "d"}]})");
    ASSERT_EQ(record.RecFileFromTransferArray.size(), 2U);
    EXPECT_EQ(record.RecFileFromTransferArray[0].fullPathFromFileTable, std::nullopt);
    EXPECT_EQ(record.RecFileFromTransferArray[1].fullPathFromFileTable, ResponseField("b"));
    ASSERT_EQ(record.fileToTransferArray.size(), 2U);
    EXPECT_EQ(record.fileToTransferArray[0].fullPathfromFileTable, ResponseField("c"));
    EXPECT_EQ(record.fileToTransferArray[1].fullPathfromFileTable, std::nullopt);
}

TEST(ASharingResponse, NeverSetsTheErrorsOfItsItems) {
    const auto record = parse(R"({"FileToTransfer": [{"error": 1}], "OwnerComputers": [{"error": 1}],
                                  "RecFileFromTransfer": [{"error": 1}],
                                  "SharedfoldersWithStatus": [{"error": 1}]})");
    EXPECT_EQ(record.fileToTransferArray.at(0).error, std::nullopt);
    EXPECT_EQ(record.OwnerComputersArray.at(0).error, std::nullopt);
    EXPECT_EQ(record.RecFileFromTransferArray.at(0).error, std::nullopt);
    EXPECT_EQ(record.SharedfoldersWithStatusArray.at(0).error, std::nullopt);
}

TEST(ASharingResponse, DecodesAnObjectWithoutKeysAsAnEmptyList) {
    EXPECT_TRUE(parse(R"({"OwnerComputers": {}})").OwnerComputersArray.empty());
}

class AListOfASharingResponse : public ::testing::TestWithParam<const char*> {};

TEST_P(AListOfASharingResponse, FailsTheParseWhenItIsNoArrayOfObjects) {
    const std::string key = GetParam();
    for (const std::string value :
         {"null", "\"text\"", "1", "true", R"({"FileID": "1"})", "[null]", "[\"FileID\"]", "[{}, 2]", "[[]]"})
        EXPECT_THROW(parse("{\"" + key + "\": " + value + "}"), UnsupportedOperation) << value;
}

INSTANTIATE_TEST_SUITE_P(Named, AListOfASharingResponse,
                         ::testing::Values("FileToTransfer", "OwnerComputers", "RecFileFromTransfer",
                                           "SharedfoldersWithStatus"),
                         [](const auto& list) { return std::string(list.param); });

TEST(ASharingResponse, HoldsAnyNumberOfItems) {
    std::string text = R"({"SharedfoldersWithStatus": [)";
    for (int item = 0; item < 10'000; ++item)
        text += (item > 0 ? "," : "") + (R"({"SharedStatus": "shared", "FileID": )" + std::to_string(item)) + "}";
    const auto record = parse(text + "]}");
    ASSERT_EQ(record.SharedfoldersWithStatusArray.size(), 10'000U);
    for (int item = 0; item < 10'000; ++item) {
        const auto& folder = record.SharedfoldersWithStatusArray[static_cast<std::size_t>(item)];
        ASSERT_EQ(folder.fileId, ResponseField(item));
        ASSERT_EQ(folder.sharedStatus, ResponseField("shared"));
    }
}

} // namespace

} // namespace ServicesTests
