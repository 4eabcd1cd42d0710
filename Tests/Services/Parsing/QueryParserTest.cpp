// Request records and the parameters that are made of them.

#include "Services/QueryParser.h"

#include "Parsing/JsonText.h"
#include "Platform/Json.h"

#include <boost/json/parse.hpp>
#include <gtest/gtest.h>

#include <variant>

namespace ServicesTests {

namespace {

using Quenmark::QueryParser;

std::string written(const boost::json::value& value) {
    return std::get<std::string>(Platform::Json::prettyPrinted(value));
}

TEST(AQueryParser, LeavesTheKeysOfNilPropertiesOut) {
    Quenmark::LogErrorQuery query;
    query.errorClass = "Class";
    query.errorMethod = "method";
    query.computerId = "91";
    query.userId = "17";
    EXPECT_EQ(boost::json::value(QueryParser::parseLogErrorQuery(query)),
              json(R"({"ErrorClass": "Class", "ErrorMethod": "method", "ComputerID": "91", "UserID": "17"})"));
}

TEST(AQueryParser, MakesAnEmptyObjectOfARecordWhosePropertiesAreAllNil) {
    EXPECT_EQ(written(QueryParser::parseGetTopFileUploadQuery({})), "{}");
    EXPECT_EQ(written(QueryParser::parseUpdateSendFileToTransferQuery({})), "{}");
}

TEST(AQueryParser, KeepsAnEmptyStringApartFromNil) {
    Quenmark::GetTopFileUploadQuery query;
    query.toComputerId = "";
    EXPECT_EQ(written(QueryParser::parseGetTopFileUploadQuery(query)), "{\n  \"ToComputerID\" : \"\"\n}");
}

TEST(AQueryParser, WrapsTheChangesInTheirOrderAsSyncData) {
    Quenmark::SyncFilesInTableAndCloudQuery first;
    first.changeType = "Created";
    first.fileID = "1";
    Quenmark::SyncFilesInTableAndCloudQuery second;
    second.changeType = "Deleted";
    second.quenmarkPath = "/q";
    EXPECT_EQ(boost::json::value(QueryParser::parseSyncFilesInTableAndCloudQuery({first, second, {}})),
              json(R"({"syncData": [{"ChangeType": "Created", "FileID": "1"},
                                    {"ChangeType": "Deleted", "QuenmarkPath": "/q"}, {}]})"));
}

TEST(AQueryParser, WrapsAnEmptyListAsAnEmptyArray) {
    EXPECT_EQ(boost::json::value(QueryParser::parseSyncFilesInTableAndCloudQuery({})), json(R"({"syncData": []})"));
}

TEST(AQueryParser, SendsWhetherAReceivedFileExistsUnderIsExists) {
    Quenmark::UpdateFileReceivedQuery query;
    query.sharedFileTransferID = "12";
    query.isFileExists = "True";
    EXPECT_EQ(boost::json::value(QueryParser::parseUpdateFileReceivedQuery(query)),
              json(R"({"SharedFileTransferID": "12", "IsExists": "True"})"));
}

TEST(AQueryParser, KeepsBothSpellingsOfThePathFromTheFileTable) {
    Quenmark::CheckFileExistsInTransfersQuery transfers;
    transfers.fullPathfromFileTable = "a";
    EXPECT_EQ(boost::json::value(QueryParser::parseCheckFileExistsInTransfersQuery(transfers)),
              json(R"({"FullPathfromFileTable": "a"})"));
    Quenmark::UploadFileWithStreamQuery upload;
    upload.fullPathFromFileTable = "b";
    EXPECT_EQ(boost::json::value(QueryParser::parseUploadWithStreamQuery(upload)),
              json(R"({"FullPathFromFileTable": "b"})"));
}

TEST(AQueryParser, MakesTheSameParametersOfAnExistingAndOfASentFile) {
    Quenmark::UpdateFileExistQuery exists;
    exists.SharedFileTransferID = "12";
    Quenmark::UpdateFileSendReceivedQuery received;
    received.SharedFileTransferID = "12";
    EXPECT_EQ(QueryParser::parseUpdateFileExistDataQuery(exists),
              QueryParser::parseUpdateFileSendReceivedQuery(received));
}

TEST(AQueryParser, PassesValuesThroughByteForByte) {
    Quenmark::InsertFileQuery query;
    query.fullPath = " /Ünï cödé/日本/\xF0\x9F\x93\x81 a\tb\"c\\d ";
    const auto params = QueryParser::parseInsertFileQuery(query);
    EXPECT_EQ(std::string_view(params.at("FullPath").as_string()), *query.fullPath);
    EXPECT_EQ(written(params), "{\n  \"FullPath\" : \" /Ünï cödé/日本/\xF0\x9F\x93\x81 a\\tb\\\"c\\\\d \"\n}");
}

TEST(AQueryParser, SetsTheFieldsInWireOrder) {
    Quenmark::UserRegistrationQuery query;
    query.nickName = "5";
    query.lastName = "4";
    query.firstName = "3";
    query.passWord = "2";
    query.mailId = "1";
    EXPECT_EQ(written(QueryParser::parseUserRegistrationQuery(query)), "{\n"
                                                                       "  \"MailID\" : \"1\",\n"
                                                                       "  \"Password\" : \"2\",\n"
                                                                       "  \"FirstName\" : \"3\",\n"
                                                                       "  \"LastName\" : \"4\",\n"
                                                                       "  \"NickName\" : \"5\"\n"
                                                                       "}");
}

} // namespace

} // namespace ServicesTests
