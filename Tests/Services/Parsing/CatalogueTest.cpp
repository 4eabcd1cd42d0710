// The catalogue against the list of the service's operations, written out.

#include "Services/Catalogue.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace ServicesTests {

namespace {

using Quenmark::OperationVariant;

struct Row {
    std::string name;
    std::string handlerKeyword;
    OperationVariant variant;

    bool operator==(const Row&) const = default;
};

void PrintTo(const Row& row, std::ostream* stream) {
    *stream << row.name << ' ' << row.handlerKeyword << " variant " << static_cast<int>(row.variant);
}

const std::vector<Row>& expectedRows() {
    static const std::vector<Row> rows{
        {"asyncUserRegistration", "withCompletionHandler", OperationVariant::Post},
        {"asyncRegisterComputer", "withCompletionHandler", OperationVariant::Post},
        {"asyncSendActivationMail", "withCompletionHandler", OperationVariant::Post},
        {"asyncOneTimeSyncOwnersSharedFolders", "withCompletionHandler", OperationVariant::Post},
        {"asyncTransferFilesFromCloudToBaseSystem", "withCompletionHandler", OperationVariant::Post},
        {"asyncGetTopFileUpload", "withCompletionHandler", OperationVariant::Post},
        {"asyncCheckUserMailActivationStatus", "withCompletionHandler", OperationVariant::Post},
        {"asyncUpdateFileUpload", "withCompletionHandler", OperationVariant::Post},
        {"asyncGetTopFileRequest", "withCompletionHandler", OperationVariant::Post},
        {"asyncUpdateFileRequest", "withCompletionHandler", OperationVariant::Post},
        {"asyncSyncFilesInTableAndCloud", "withCompletionHandler", OperationVariant::PostList},
        {"asyncUpdateComputerStatus", "withCompletionHandler", OperationVariant::Post},
        {"asyncOneTimeSyncFiles", "withCompletionHandler", OperationVariant::Post},
        {"asyncSendPasswordToMailId", "withCompiletionHandler", OperationVariant::Post},
        {"asyncGetTopFileUploadWithStream", "withCompletionHandler", OperationVariant::RawStream},
        {"asyncUpdateFileRequestWithStream", "withCompletionHandler", OperationVariant::HeaderUpload},
        {"asyncLogError", "withCompiletionHandler", OperationVariant::Post},
        {"asyncGetSharedFilesTransferData", "withCompletionHandler", OperationVariant::Post},
        {"asyncUpdateFileExist", "withCompletionHandler", OperationVariant::Post},
        {"asyncUpdateFileSendReceived", "withCompletionHandler", OperationVariant::Post},
        {"asyncUploadFileWithStream", "withCompletionHandler", OperationVariant::PostForStatus},
        {"asyncupdateSendFileToTransfer", "withcompletionHandler", OperationVariant::PostForStatus},
        {"asyncIsFileExistsInCloud", "withCompiletionHandler", OperationVariant::Post},
        {"asyncUpdateFileReceived", "withCompiletionHandler", OperationVariant::Post},
        {"asyncDeleteReceivedFileFromTransfer", "withCompiletionHandler", OperationVariant::Post},
        {"asyncInsertFile", "withCompletionHandler", OperationVariant::Post},
        {"asyncInsertSharedFilesTransfer", "withCompletionHandler", OperationVariant::Post},
        {"asyncupdateBSUploadStreamStart", "withCompletionHandler", OperationVariant::Post},
        {"asyncCheckFileExistsInDownloads", "withCompletionhandler", OperationVariant::Post},
        {"asyncUpdateBSUploadStreamFailed", "withCompletionHandler", OperationVariant::Post},
        {"asyncCheckFileExistsInTransfers", "withCompletionhandler", OperationVariant::Post},
        {"asyncUpdateBSSendStreamStarted", "withCompletionHandler", OperationVariant::Post},
        {"asyncUpdateBSSendStreamFailed", "withCompletionHandler", OperationVariant::Post},
        {"asyncUpdateBSReceiveStreamStart", "withCompletionHandler", OperationVariant::Post},
        {"asyncUpdateBSReceiveStreamfailed", "withCompletionHandler", OperationVariant::Post},
        {"asyncupdateBSDownloadStreamStart", "withCompletionHandler", OperationVariant::Post},
        {"asyncupdateBSDownloadStreamFailed", "withCompletionHandler", OperationVariant::Post},
        {"asyncGetTopFileDeleteRequest", "withCompletionHandler", OperationVariant::Post},
        {"asyncUpdateBSFileDeleted", "withCompletionHandler", OperationVariant::Post},
    };
    return rows;
}

TEST(TheCatalogue, ListsTheThirtyNineOperationsInTheOrderOfTheFacade) {
    std::vector<Row> rows;
    std::apply(
        [&](const auto&... operation) {
            (rows.push_back({operation.name, operation.handlerKeyword, operation.variant}), ...);
        },
        Quenmark::Catalogue::operations);
    EXPECT_EQ(rows.size(), 39U);
    EXPECT_EQ(rows, expectedRows());
}

TEST(TheCatalogue, DistinguishesItsRowsFromOthers) {
    using Quenmark::Catalogue::isListed;
    static_assert(isListed(Quenmark::Catalogue::userRegistration));
    static_assert(isListed(Quenmark::Catalogue::updateBSFileDeleted));
    constexpr Quenmark::Operation<Quenmark::LogErrorQuery, Quenmark::LogErrorResponseData> unlisted{
        .name = "asyncLogErrors", .path = "MAC/ErrorLog.svc/LogError"};
    static_assert(!isListed(unlisted));
}

TEST(TheCatalogue, EndsOnePathWithTheObjectReplacementCharacter) {
    EXPECT_STREQ(Quenmark::Catalogue::updateBSDownloadStreamFailed.path,
                 "Downloads.svc/UpdateBSDownloadStreamFailed\xEF\xBF\xBC");
}

} // namespace

} // namespace ServicesTests
