// The facade: each of its functions performs its own operation, where the deployment settings say.

#include "Platform/Loop/RunLoop.h"
#include "Services/RestInterface.h"
#include "Support/HttpServer.h"
#include "Support/LogCapture.h"
#include "Support/TemporaryHome.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace ServicesTests {

namespace {

using Quenmark::RestInterface;
using Progress = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

/// A function of the facade, and the path below the service root that it posts to.
struct FacadeFunction {
    std::function<void()> call;
    std::string path;
};

template <class Query, class Handler>
FacadeFunction facadeFunction(void (*function)(const Query&, Handler), const char* path, const Query& query = {}) {
    return {[function, query] { function(query, [](const auto&...) {}); }, path};
}

/// Those that send something; `file` is what the upload sends.
std::vector<FacadeFunction> everyFunction(const std::string& file) {
    return {
        facadeFunction(&RestInterface::asyncUserRegistration, "Registration.svc/VerifyAndRegisterUserFromTool"),
        facadeFunction(&RestInterface::asyncRegisterComputer, "Registration.svc/RegisterComputer"),
        facadeFunction(&RestInterface::asyncSendActivationMail, "Registration.svc/SendActivationMail"),
        facadeFunction(&RestInterface::asyncOneTimeSyncOwnersSharedFolders,
                       "Registration.svc/OneTimeSyncOwnersSharedFolders"),
        facadeFunction(&RestInterface::asyncTransferFilesFromCloudToBaseSystem,
                       "Registration.svc/TransferFilesFromCloudToBaseSystem"),
        facadeFunction(&RestInterface::asyncGetTopFileUpload, "Uploads.svc/GetTopFileUpload"),
        facadeFunction(&RestInterface::asyncCheckUserMailActivationStatus,
                       "Registration.svc/CheckUserMailActivationStatus"),
        facadeFunction(&RestInterface::asyncUpdateFileUpload, "Uploads.svc/UpdateFileUpload"),
        facadeFunction(&RestInterface::asyncGetTopFileRequest, "Downloads.svc/GetTopFileRequest"),
        facadeFunction(&RestInterface::asyncUpdateFileRequest, "Downloads.svc/UpdateFileRequest"),
        facadeFunction(&RestInterface::asyncSyncFilesInTableAndCloud, "SyncFileChanges.svc/SyncFilesInTableAndCloud"),
        facadeFunction(&RestInterface::asyncUpdateComputerStatus, "UpdateSystemTime.svc/UpdateComputerStatus"),
        facadeFunction(&RestInterface::asyncOneTimeSyncFiles, "Registration.svc/OneTimeSyncFiles"),
        facadeFunction(&RestInterface::asyncSendPasswordToMailId, "Registration.svc/SendPasswordToMailID"),
        facadeFunction(&RestInterface::asyncGetTopFileUploadWithStream, "Uploads.svc/GetTopFileUploadWithStream"),
        facadeFunction(&RestInterface::asyncUpdateFileRequestWithStream, "Downloads.svc/UpdateFileRequestWithStream",
                       {.filePath = file, .fileRequestId = {}, .transitDownloadPath = {}, .attachment = {}}),
        facadeFunction(&RestInterface::asyncLogError, "MAC/ErrorLog.svc/LogError"),
        facadeFunction(&RestInterface::asyncGetSharedFilesTransferData,
                       "MAC/SharedFiles.svc/GetSharedFilesTransferData"),
        facadeFunction(&RestInterface::asyncUpdateFileExist, "MAC/SharedFiles.svc/UpdateFileExists"),
        facadeFunction(&RestInterface::asyncUpdateFileSendReceived, "MAC/SharedFiles.svc/UpdateFileSendReceived"),
        facadeFunction(&RestInterface::asyncUploadFileWithStream, "MAC/SharedFiles.svc/UploadFileWithStream"),
        facadeFunction(&RestInterface::asyncupdateSendFileToTransfer, "MAC/SharedFiles.svc/UpdateSendFileToTransfer"),
        facadeFunction(&RestInterface::asyncIsFileExistsInCloud, "MAC/SharedFiles.svc/IsFileExistsInCloud"),
        facadeFunction(&RestInterface::asyncUpdateFileReceived, "MAC/SharedFiles.svc/UpdateFileReceived"),
        facadeFunction(&RestInterface::asyncDeleteReceivedFileFromTransfer,
                       "MAC/SharedFiles.svc/DeleteReceivedFileFromTransfer"),
        facadeFunction(&RestInterface::asyncInsertFile, "SyncFileChanges.svc/InsertFile"),
        facadeFunction(&RestInterface::asyncInsertSharedFilesTransfer, "SyncFileChanges.svc/InsertSharedFilesTransfer"),
        facadeFunction(&RestInterface::asyncupdateBSUploadStreamStart, "Uploads.svc/UpdateBSUploadStreamStarted"),
        facadeFunction(&RestInterface::asyncCheckFileExistsInDownloads, "Downloads.svc/CheckFileExistsInDownloads"),
        facadeFunction(&RestInterface::asyncUpdateBSUploadStreamFailed, "Uploads.svc/UpdateBSUploadStreamFailed"),
        facadeFunction(&RestInterface::asyncCheckFileExistsInTransfers,
                       "MAC/SharedFiles.svc/CheckFileExistsInTransfers"),
        facadeFunction(&RestInterface::asyncUpdateBSSendStreamStarted, "MAC/SharedFiles.svc/UpdateBSSendStreamStarted"),
        facadeFunction(&RestInterface::asyncUpdateBSSendStreamFailed, "MAC/SharedFiles.svc/UpdateBSSendStreamFailed"),
        facadeFunction(&RestInterface::asyncUpdateBSReceiveStreamStart,
                       "MAC/SharedFiles.svc/UpdateBSReceiveStreamStarted"),
        facadeFunction(&RestInterface::asyncUpdateBSReceiveStreamfailed,
                       "MAC/SharedFiles.svc/UpdateBSReceiveStreamFailed"),
        facadeFunction(&RestInterface::asyncupdateBSDownloadStreamStart, "Downloads.svc/UpdateBSDownloadStreamStarted"),
        facadeFunction(&RestInterface::asyncGetTopFileDeleteRequest, "Downloads.svc/GetTopFileDeleteRequest"),
        facadeFunction(&RestInterface::asyncUpdateBSFileDeleted, "Downloads.svc/UpdateBSFileDeleted"),
    };
}

class TheFacade : public ::testing::Test {
protected:
    Platform::RunLoop loop;
    TestSupport::HttpServer server;
    TestSupport::LogCapture log;
    TestSupport::TemporaryHome home;
};

TEST_F(TheFacade, PostsEachOperationToItsPathAtTheHostOfTheDeploymentSettings) {
    // A service on this machine is reachable by its loopback link, without any other network.
    home.setDeployment(R"({"serviceHost": ")" + server.host() + "\"}");
    const auto functions = everyFunction(home.write("source/report.txt", "content").substr(1));
    EXPECT_EQ(functions.size(), 38U);
    for (const auto& function : functions) {
        server.forgetRequests();
        function.call();
        ASSERT_TRUE(loop.runUntil([&] { return !server.requests().empty(); })) << function.path;
        EXPECT_EQ(server.requests()[0].target, "/QuenmarkRestService/" + function.path);
    }

    Progress progress;
    server.setHandler([](const auto&) { return TestSupport::HttpReply::json("{}"); });
    RestInterface::asyncUpdateFileRequestWithStream(
        {.filePath = home.write("source/report.txt", "content").substr(1),
         .fileRequestId = {},
         .transitDownloadPath = {},
         .attachment = {}},
        [](const auto&...) {}, [&](std::uint64_t sent, std::uint64_t total) { progress.emplace_back(sent, total); });
    ASSERT_TRUE(loop.runUntil([&] { return !progress.empty(); }));
    EXPECT_EQ(progress, (Progress{{7, 7}}));
}

} // namespace

} // namespace ServicesTests
