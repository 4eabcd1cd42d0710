// quenmark operations: the catalogue as text and as JSON.

#include "ToolFixture.h"
#include "Tools/OperationTable.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <unistd.h>

#include <algorithm>
#include <array>

namespace ToolTest {

class TheCatalogue : public AQuenmarkTool {
protected:
    boost::json::array asJson() const {
        const auto result = run({"operations", "--json"});
        EXPECT_EQ(result.status, 0) << result.errors;
        return boost::json::parse(result.output).as_array();
    }
};

TEST_F(TheCatalogue, HasThirtyNineOperationsInTheirOrder) {
    const auto operations = asJson();
    ASSERT_EQ(operations.size(), 39U);
    EXPECT_EQ(operations[0].at("name"), "asyncUserRegistration");
    EXPECT_EQ(operations[5].at("name"), "asyncGetTopFileUpload");
    EXPECT_EQ(operations[21].at("name"), "asyncupdateSendFileToTransfer");
    EXPECT_EQ(operations[38].at("name"), "asyncUpdateBSFileDeleted");
}

TEST_F(TheCatalogue, DescribesAnOperationCompletely) {
    EXPECT_EQ(boost::json::serialize(asJson()[7]),
              R"({"name":"asyncUpdateFileUpload","path":"Uploads.svc/UpdateFileUpload","variant":"Post",)"
              R"("requestKeys":["FileUploadID","FileName","ServerPath","TransitUploadPath"],)"
              R"("answerProperties":["returnStatus","error"]})");
}

TEST_F(TheCatalogue, NamesTheVariantOfEachOperation) {
    const auto operations = asJson();
    EXPECT_EQ(operations[10].at("variant"), "PostList");
    EXPECT_EQ(operations[14].at("variant"), "RawStream");
    EXPECT_EQ(operations[14].at("answerProperties"), boost::json::array());
    EXPECT_EQ(operations[15].at("variant"), "HeaderUpload");
    EXPECT_EQ(operations[20].at("variant"), "PostForStatus");
    EXPECT_EQ(operations[21].at("variant"), "PostForStatus");
    EXPECT_EQ(operations[36].at("path"), "Downloads.svc/UpdateBSDownloadStreamFailed\xEF\xBF\xBC");
}

TEST_F(TheCatalogue, IsPrintedAsTextWithoutAnOption) {
    const auto result = run({"operations"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_NE(result.output.find("asyncGetTopFileUploadWithStream\n"
                                 "  path     Uploads.svc/GetTopFileUploadWithStream\n"
                                 "  variant  RawStream\n"
                                 "  request  ToComputerID\n"
                                 "  response -\n"
                                 "asyncUpdateFileRequestWithStream\n"
                                 "  path     Downloads.svc/UpdateFileRequestWithStream\n"
                                 "  variant  HeaderUpload\n"
                                 "  request  FilePath FileRequestID TransitDownloadPath Attachment\n"
                                 "  response ReturnStatus error\n"),
              std::string::npos)
        << result.output;
}

TEST_F(TheCatalogue, EndsQuietlyWhereItsReaderHasGone) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    ::close(ends[0]);
    const auto result = TestSupport::runCommand(
        {"bash", "-c", "exec \"$0\" operations >&" + std::to_string(ends[1]), QUENMARK_PROGRAM});
    ::close(ends[1]);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.status, 74);
}

TEST(TheTableOfOperations, DescribesARowWithItsRecords) {
    using namespace Tools;
    const auto& operation = operationTable()[operationNamed("GetSharedFilesTransferData")];
    EXPECT_EQ(operation.name, "asyncGetSharedFilesTransferData");
    EXPECT_EQ(operation.handlerKeyword, "withCompletionHandler");
    EXPECT_EQ(operation.path, "MAC/SharedFiles.svc/GetSharedFilesTransferData");
    EXPECT_EQ(operation.requestRecord, "GetSharedFilesTransferDataQuery");
    EXPECT_EQ(operation.responseRecord, "GetSharedFilesTransferDataResponseData");
    const auto list = std::ranges::find(operation.response, std::string_view("OwnerComputers"), &FieldDescription::key);
    ASSERT_NE(list, operation.response.end());
    EXPECT_EQ(list->listOf, "OwnerComputers");
    EXPECT_EQ(list->fields.size(), 11U);
    const auto& changes = operationTable()[operationNamed("ASYNCsyncfilesintableandcloud")];
    EXPECT_EQ(changes.requestRecord, "SyncFilesInTableAndCloudQuery");
    EXPECT_EQ(changes.responseRecord, "SyncFilesInTableAndCloudResponseData");
    const auto& stream = operationTable()[operationNamed("GetTopFileUploadWithStream")];
    EXPECT_EQ(stream.responseRecord, "");
    EXPECT_TRUE(stream.response.empty());
}

TEST(TheTableOfOperations, NamesAndDescribesEachVariant) {
    using namespace Tools;
    using enum Quenmark::OperationVariant;
    const auto described = [](Quenmark::OperationVariant variant) {
        return std::string(nameOf(variant)) + ": " + std::string(descriptionOf(variant));
    };
    EXPECT_EQ(described(Post), "Post: posts a JSON object; the response is a JSON object");
    EXPECT_EQ(described(PostList), "PostList: posts a JSON array of objects; the response is one too");
    EXPECT_EQ(described(PostForStatus), "PostForStatus: posts a JSON object; the handler is given the response's bare "
                                        "status, and only a response without one can be parsed");
    EXPECT_EQ(described(RawStream), "RawStream: posts a JSON object; the response is a stream of bytes, passed on "
                                    "undecoded; does nothing on releases 10.7 to 10.9");
    EXPECT_EQ(described(HeaderUpload), "HeaderUpload: posts the bytes of a file, with the fields of the request in "
                                       "header fields; the response is a JSON object; does nothing on releases 10.7 "
                                       "to 10.9");
}

} // namespace ToolTest
