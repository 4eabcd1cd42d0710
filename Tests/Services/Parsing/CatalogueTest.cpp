// The catalogue against the list of the service's operations, written out.

#include "Services/Catalogue.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace ServicesTests {

namespace {

using Quenmark::Variant;

struct Row {
    std::string name;
    std::string handlerKeyword;
    Variant variant;

    bool operator==(const Row&) const = default;
};

void PrintTo(const Row& row, std::ostream* stream) {
    *stream << row.name << ' ' << row.handlerKeyword << " variant " << static_cast<int>(row.variant);
}

const std::vector<Row>& expectedRows() {
    static const std::vector<Row> rows{
        {"asyncUserRegistration", "withCompletionHandler", Variant::Post},
        {"asyncRegisterComputer", "withCompletionHandler", Variant::Post},
        {"asyncSendActivationMail", "withCompletionHandler", Variant::Post},
        {"asyncOneTimeSyncOwnersSharedFolders", "withCompletionHandler", Variant::Post},
        {"asyncTransferFilesFromCloudToBaseSystem", "withCompletionHandler", Variant::Post},
        {"asyncGetTopFileUpload", "withCompletionHandler", Variant::Post},
        {"asyncCheckUserMailActivationStatus", "withCompletionHandler", Variant::Post},
        {"asyncUpdateFileUpload", "withCompletionHandler", Variant::Post},
        {"asyncGetTopFileRequest", "withCompletionHandler", Variant::Post},
        {"asyncUpdateFileRequest", "withCompletionHandler", Variant::Post},
        {"asyncSyncFilesInTableAndCloud", "withCompletionHandler", Variant::PostList},
        {"asyncUpdateComputerStatus", "withCompletionHandler", Variant::Post},
        {"asyncOneTimeSyncFiles", "withCompletionHandler", Variant::Post},
        {"asyncSendPasswordToMailId", "withCompiletionHandler", Variant::Post},
        {"asyncGetTopFileUploadWithStream", "withCompletionHandler", Variant::RawStream},
        {"asyncUpdateFileRequestWithStream", "withCompletionHandler", Variant::HeaderUpload},
        {"asyncLogError", "withCompiletionHandler", Variant::Post},
        {"asyncGetSharedFilesTransferData", "withCompletionHandler", Variant::Post},
        {"asyncUpdateFileExist", "withCompletionHandler", Variant::Post},
        {"asyncUpdateFileSendReceived", "withCompletionHandler", Variant::Post},
        {"asyncUploadFileWithStream", "withCompletionHandler", Variant::PostForStatus},
        {"asyncupdateSendFileToTransfer", "withcompletionHandler", Variant::PostForStatus},
        {"asyncIsFileExistsInCloud", "withCompiletionHandler", Variant::Post},
        {"asyncUpdateFileReceived", "withCompiletionHandler", Variant::Post},
        {"asyncDeleteReceivedFileFromTransfer", "withCompiletionHandler", Variant::Post},
        {"asyncInsertFile", "withCompletionHandler", Variant::Post},
        {"asyncInsertSharedFilesTransfer", "withCompletionHandler", Variant::Post},
        {"asyncupdateBSUploadStreamStart", "withCompletionHandler", Variant::Post},
        {"asyncCheckFileExistsInDownloads", "withCompletionhandler", Variant::Post},
        {"asyncUpdateBSUploadStreamFailed", "withCompletionHandler", Variant::Post},
        {"asyncCheckFileExistsInTransfers", "withCompletionhandler", Variant::Post},
        {"asyncUpdateBSSendStreamStarted", "withCompletionHandler", Variant::Post},
        {"asyncUpdateBSSendStreamFailed", "withCompletionHandler", Variant::Post},
        {"asyncUpdateBSReceiveStreamStart", "withCompletionHandler", Variant::Post},
        {"asyncUpdateBSReceiveStreamfailed", "withCompletionHandler", Variant::Post},
        {"asyncupdateBSDownloadStreamStart", "withCompletionHandler", Variant::Post},
        {"asyncupdateBSDownloadStreamFailed", "withCompletionHandler", Variant::Post},
        {"asyncGetTopFileDeleteRequest", "withCompletionHandler", Variant::Post},
        {"asyncUpdateBSFileDeleted", "withCompletionHandler", Variant::Post},
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

TEST(TheCatalogue, EndsOnePathWithTheObjectReplacementCharacter) {
    EXPECT_STREQ(Quenmark::Catalogue::updateBSDownloadStreamFailed.path,
                 "Downloads.svc/UpdateBSDownloadStreamFailed\xEF\xBF\xBC");
}

} // namespace

} // namespace ServicesTests
