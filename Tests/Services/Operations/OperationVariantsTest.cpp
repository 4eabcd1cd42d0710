// The operations that are unlike the others: the list, the bare statuses, the raw stream, the upload, and the one whose
// path forms no URL.

#include "OperationCase.h"
#include "ServiceFixture.h"
#include "Services/Catalogue.h"
#include "Services/Properties.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace ServicesTests {

namespace {

using Platform::Queue;
using Quenmark::ResponseField;
namespace Catalogue = Quenmark::Catalogue;
using Quenmark::Result;
using TestSupport::HttpReply;
using Log = std::vector<std::string>;

constexpr const char* root = "/QuenmarkRestService/";

/// Either release, with the queue that it calls handlers on.
class AnUnusualOperation : public ServiceFixture, public ::testing::WithParamInterface<double> {
protected:
    AnUnusualOperation() { setRelease(GetParam()); }

    template <class Response>
    Quenmark::CompletionHandler<Response> keep(std::optional<Result<Response>>& into) {
        return [this, &into](Result<Response> result, std::int64_t with) {
            ++calls;
            status = with;
            onMainQueue = Queue::current() == Queue::main();
            into = std::move(result);
        };
    }
    [[nodiscard]] bool awaitCall() {
        return runUntil([&] { return calls > 0; });
    }
    [[nodiscard]] bool awaitException() {
        return runUntil([&] {
            return std::any_of(log.entries().begin(), log.entries().end(),
                               [](const auto& entry) { return entry.starts_with("Uncaught exception on "); });
        });
    }

    int calls = 0;
    std::int64_t status = -1;
    bool onMainQueue = false;
};

INSTANTIATE_TEST_SUITE_P(On, AnUnusualOperation, ::testing::Values(release10_10, release10_7), [](const auto& release) {
    return release.param == release10_10 ? "TheSession" : "TheConnection";
});

TEST_P(AnUnusualOperation, PostsAnEmptyListAsABareArray) {
    server.enqueue(HttpReply::json("[]"));
    std::optional<Result<std::vector<Quenmark::SyncFilesInTableAndCloudResponseData>>> result;
    perform(Catalogue::syncFilesInTableAndCloud, {}, keep(result));
    ASSERT_TRUE(awaitCall());
    EXPECT_EQ(server.requests().at(0).body, "[]");
    EXPECT_EQ(status, 0);
    ASSERT_NE(result->value(), nullptr);
    EXPECT_TRUE(result->value()->empty());
}

TEST_P(AnUnusualOperation, NeverCallsTheHandlerForAListThatIsNone) {
    server.enqueue(HttpReply::json(R"({"ReturnStatus": "1"})"));
    std::optional<Result<std::vector<Quenmark::SyncFilesInTableAndCloudResponseData>>> result;
    perform(Catalogue::syncFilesInTableAndCloud, {{}}, keep(result));
    ASSERT_TRUE(awaitException());
    EXPECT_EQ(everyRequest().size(), 1U);
    EXPECT_EQ(calls, 0);
}

TEST_P(AnUnusualOperation, NeverCallsTheHandlerForASharingResponseThatCannotBeParsed) {
    server.enqueue(HttpReply::json(R"({"OwnerComputers": null})"));
    std::optional<Result<Quenmark::GetSharedFilesTransferDataResponseData>> result;
    perform(Catalogue::getSharedFilesTransferData, {}, keep(result));
    ASSERT_TRUE(awaitException());
    EXPECT_EQ(everyRequest().size(), 1U);
    EXPECT_EQ(calls, 0);
}

TEST_P(AnUnusualOperation, ReportsNilForAStatusThatIsNotThere) {
    Quenmark::UploadFileWithStreamQuery upload;
    upload.computerID = "91";
    upload.quenmarkPath = "/q";
    upload.fullPathFromFileTable = "\\Shared\\a.txt";
    server.enqueue(HttpReply::json(R"({"error": {"Code": 1}})"));
    std::optional<Result<ResponseField>> result;
    perform(Catalogue::uploadFileWithStream, upload, keep(result));
    ASSERT_TRUE(awaitCall());
    EXPECT_EQ(status, 0);
    EXPECT_EQ(onMainQueue, GetParam() == release10_10);
    ASSERT_NE(result->value(), nullptr);
    EXPECT_EQ(*result->value(), std::nullopt);
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].target, std::string(root) + "MAC/SharedFiles.svc/UploadFileWithStream");
    EXPECT_EQ(server.requests()[0].body, R"({
  "ComputerID" : "91",
  "QuenmarkPath" : "/q",
  "FullPathFromFileTable" : "\\Shared\\a.txt"
})");
}

TEST_P(AnUnusualOperation, ReportsNilForATransferWhoseStatusIsNotThere) {
    Quenmark::UpdateSendFileToTransferQuery send{.ChangeType = "1",
                                                 .SharedFileTransferID = "2",
                                                 .FullPathFromFileTable = "3",
                                                 .ToCloud = "4",
                                                 .IsFile = "5",
                                                 .ToComputerID = "6",
                                                 .NewFullPath = "7",
                                                 .OwnerFileID = "8",
                                                 .FromComputerID = "9",
                                                 .QuenmarkPath = "10",
                                                 .FileNameToSend = "11",
                                                 .Length = "12"};
    server.enqueue(HttpReply::json("{}"));
    std::optional<Result<ResponseField>> result;
    perform(Catalogue::updateSendFileToTransfer, send, keep(result));
    ASSERT_TRUE(awaitCall());
    EXPECT_EQ(status, 0);
    ASSERT_NE(result->value(), nullptr);
    EXPECT_EQ(*result->value(), std::nullopt);
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].target, std::string(root) + "MAC/SharedFiles.svc/UpdateSendFileToTransfer");
    EXPECT_EQ(server.requests()[0].body, R"({
  "ChangeType" : "1",
  "SharedFileTransferID" : "2",
  "FullPathFromFileTable" : "3",
  "ToCloud" : "4",
  "IsFile" : "5",
  "ToComputerID" : "6",
  "NewFullPath" : "7",
  "OwnerFileID" : "8",
  "FromComputerID" : "9",
  "QuenmarkPath" : "10",
  "FileNameToSend" : "11",
  "Length" : "12"
})");
    EXPECT_EQ(boost::json::serialize(Quenmark::propertiesOf(send)),
              R"({"ChangeType":"1","SharedFileTransferID":"2","FullPathFromFileTable":"3","ToCloud":"4","IsFile":"5",)"
              R"("ToComputerID":"6","NewFullPath":"7","OwnerFileID":"8","FromComputerID":"9","QuenmarkPath":"10",)"
              R"("FileNameToSend":"11","Length":"12"})");
}

TEST_P(AnUnusualOperation, NeverCallsTheHandlerForAStatusThatIsThere) {
    for (const auto operation : {0, 1}) {
        log.clear();
        server.enqueue(HttpReply::json(R"({"ReturnStatus": "0"})"));
        std::optional<Result<ResponseField>> result;
        if (operation == 0)
            perform(Catalogue::uploadFileWithStream, {}, keep(result));
        else
            perform(Catalogue::updateSendFileToTransfer, {}, keep(result));
        ASSERT_TRUE(awaitException());
        EXPECT_TRUE(log.entries().back().ends_with(": a status value has no error to set")) << log.entries().back();
        EXPECT_EQ(calls, 0);
    }
}

TEST_P(AnUnusualOperation, FailsWithoutSendingWhereItsPathFormsNoUrl) {
    Quenmark::UpdateBSDownloadStreamFailedQuery query;
    query.fileRequestId = "603";
    std::optional<Result<Quenmark::UpdateBSDownloadStreamFailedResponseData>> result;
    perform(Catalogue::updateBSDownloadStreamFailed, query, keep(result));
    ASSERT_TRUE(awaitCall());
    EXPECT_EQ(status, 2);
    EXPECT_EQ(onMainQueue, GetParam() == release10_10);
    ASSERT_NE(result->error(), nullptr);
    EXPECT_EQ(result->error()->code, -1000);
    EXPECT_TRUE(everyRequest().empty());
    ASSERT_FALSE(log.entries().empty());
    EXPECT_EQ(log.entries()[0], "Json String {\n  \"FileRequestID\" : \"603\"\n}");
}

TEST_P(AnUnusualOperation, FailsWithoutSendingWhatJsonCannotCarry) {
    Quenmark::SyncFilesInTableAndCloudQuery change;
    change.fullPath = "\\Docs\\\xC3";
    std::optional<Result<std::vector<Quenmark::SyncFilesInTableAndCloudResponseData>>> result;
    perform(Catalogue::syncFilesInTableAndCloud, {change}, keep(result));
    EXPECT_EQ(calls, 1) << "it is reported before the call returns";
    EXPECT_EQ(status, 4);
    ASSERT_NE(result->error(), nullptr);
    EXPECT_EQ(result->error()->domain, "JSON");
    EXPECT_TRUE(everyRequest().empty());
    EXPECT_EQ(calls, 1);
}

} // namespace

} // namespace ServicesTests
