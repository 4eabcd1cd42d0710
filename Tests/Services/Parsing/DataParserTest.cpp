// Responses and the records that are made of them: what is kept as it came, and what fails.

#include "Services/DataParser.h"

#include "Parsing/JsonText.h"
#include "Services/CodingDefinitions.h"
#include "Services/Properties.h"

#include <boost/json/parse.hpp>
#include <gtest/gtest.h>

#include <string_view>

namespace ServicesTests {

namespace {

using Quenmark::DataParser;
using Quenmark::ResponseField;
using Quenmark::UnsupportedOperation;

TEST(ADataParser, KeepsAStringAndLeavesAMissingErrorNil) {
    const auto record = DataParser::parseUpdateFileUploadResponseData(json(R"({"ReturnStatus": "True"})"));
    EXPECT_EQ(record.returnStatus, ResponseField("True"));
    EXPECT_EQ(record.error, std::nullopt);
}

TEST(ADataParser, KeepsANumberApartFromItsText) {
    const auto record = DataParser::parseUpdateFileUploadResponseData(json(R"({"ReturnStatus": 1})"));
    EXPECT_EQ(record.returnStatus, ResponseField(1));
    EXPECT_NE(record.returnStatus, ResponseField("1"));
}

TEST(ADataParser, KeepsANullApartFromNil) {
    const auto record = DataParser::parseGetTopFileUploadResponseData(json(R"({"FileName": null})"));
    ASSERT_TRUE(record.fileName.has_value());
    EXPECT_TRUE(record.fileName->is_null());
    EXPECT_EQ(record.fileUploadId, std::nullopt);
}

TEST(ADataParser, KeepsObjectsAndListsAsTheyStand) {
    const auto record = DataParser::parseUpdateFileUploadResponseData(
        json(R"({"error": {"Code": [1, {"deep": null}]}, "ReturnStatus": ["a"]})"));
    EXPECT_EQ(record.error, ResponseField(json(R"({"Code": [1, {"deep": null}]})")));
    EXPECT_EQ(record.returnStatus, ResponseField(json(R"(["a"])")));
}

TEST(ADataParser, FindsKeysInAnyOrderAmongUnknownOnes) {
    const auto record = DataParser::parseGetTopFileUploadResponseData(
        json(R"({"zz": 1, "error": 2, "UploadProcessed": 3, "Attachment": 4, "aa": 5, "FileName": 6})"));
    EXPECT_EQ(record.error, ResponseField(2));
    EXPECT_EQ(record.uploadProcessed, ResponseField(3));
    EXPECT_EQ(record.attachment, ResponseField(4));
    EXPECT_EQ(record.fileName, ResponseField(6));
    EXPECT_EQ(record.isFile, std::nullopt);
}

template <class Record>
void expectStatusAndError() {
    const auto record = Quenmark::decode<Record>(json(R"({"error": {"Code": 7}, "ReturnStatus": "True"})"));
    EXPECT_EQ(boost::json::value(Quenmark::propertiesOf(record)),
              json(R"({"returnStatus": "True", "error": {"Code": 7}})"));
}

TEST(ADataParser, HasRecordsForTheResponsesOfWhichItReturnsTheBareStatus) {
    expectStatusAndError<Quenmark::UploadFileWithStreamResponseData>();
    expectStatusAndError<Quenmark::UpdateSendFileToTransferResponseData>();
}

TEST(ADataParser, DistinguishesKeysByTheirCase) {
    const auto record = DataParser::parseUpdateFileUploadResponseData(json(R"({"returnStatus": 1, "Error": 2})"));
    EXPECT_EQ(record, Quenmark::UpdateFileUploadResponseData{});
}

TEST(ADataParser, ReadsNoKeyThatARecordDoesNotHave) {
    const auto record = DataParser::parseUpdateFileUploadResponseData(json(R"({"": "empty"})"));
    EXPECT_EQ(record, Quenmark::UpdateFileUploadResponseData{});
    const auto withUnreadError = DataParser::parseUpdateBSFileDeleteResponseData(json(R"({"": 1, "error": 2})"));
    EXPECT_EQ(withUnreadError, Quenmark::UpdateBSFileDeleteResponseData{});
}

TEST(ADataParser, MakesOneRecordForEachChange) {
    const auto records =
        DataParser::parseSyncFilesInTableAndCloudResponseData(json(R"([{"FileID": "7", "ReturnStatus": "True"}])"));
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].fileId, ResponseField("7"));
    EXPECT_EQ(records[0].returnStatus, ResponseField("True"));
    EXPECT_EQ(records[0].baseSystemFileID, std::nullopt);
    EXPECT_EQ(records[0].error, std::nullopt);
}

TEST(ADataParser, KeepsTheOrderOfTheChanges) {
    const auto records = DataParser::parseSyncFilesInTableAndCloudResponseData(
        json(R"([{"FileID": 3}, {"FileID": 1}, {}, {"FileID": 2}])"));
    ASSERT_EQ(records.size(), 4U);
    EXPECT_EQ(records[0].fileId, ResponseField(3));
    EXPECT_EQ(records[1].fileId, ResponseField(1));
    EXPECT_EQ(records[2].fileId, std::nullopt);
    EXPECT_EQ(records[3].fileId, ResponseField(2));
}

TEST(ADataParser, MakesAnEmptyListOfNoChanges) {
    EXPECT_TRUE(DataParser::parseSyncFilesInTableAndCloudResponseData(json("[]")).empty());
    EXPECT_TRUE(DataParser::parseSyncFilesInTableAndCloudResponseData(json("{}")).empty());
}

TEST(ADataParser, FailsForChangesThatAreNoObjects) {
    for (const auto* response : {R"([{}, 1])", R"(["FileID"])", "[null]", "[[]]", R"({"FileID": "7"})"})
        EXPECT_THROW(DataParser::parseSyncFilesInTableAndCloudResponseData(json(response)), UnsupportedOperation)
            << response;
}

TEST(ADataParser, FailsForAnArrayInThePlaceOfARecord) {
    EXPECT_THROW(DataParser::parseUpdateFileUploadResponseData(json("[]")), UnsupportedOperation);
    EXPECT_THROW(DataParser::parseLogErrorResponseData(json(R"([{"ReturnStatus": "0"}])")), UnsupportedOperation);
}

TEST(ADataParser, GivesNilForABareStatusThatIsNotThere) {
    for (const auto* response : {"{}", R"({"error": {"Code": 1}})", R"({"returnStatus": "0"})"}) {
        EXPECT_EQ(DataParser::parseUploadFileWithStreamResponseData(json(response)), std::nullopt) << response;
        EXPECT_EQ(DataParser::parseUpdateSendFileToTransferResponseData(json(response)), std::nullopt) << response;
    }
}

TEST(ADataParser, FailsForABareStatusThatIsThereSinceItHasNoErrorToSet) {
    for (const auto* response : {R"({"ReturnStatus": "True"})", R"({"ReturnStatus": 0})", R"({"ReturnStatus": null})",
                                 R"({"ReturnStatus": {}, "error": {}})"}) {
        EXPECT_THROW(DataParser::parseUploadFileWithStreamResponseData(json(response)), UnsupportedOperation)
            << response;
        EXPECT_THROW(DataParser::parseUpdateSendFileToTransferResponseData(json(response)), UnsupportedOperation)
            << response;
    }
}

} // namespace

} // namespace ServicesTests
