#include "TopFileUploadXpcService/TopFileUploadData.h"

#include "Platform/Loop/RunLoop.h"

#include <gtest/gtest.h>

namespace Quenmark {

TEST(ADownloadsRecord, HoldsNothingAtFirst) {
    const TopFileUploadData data;
    EXPECT_EQ(data.response, std::nullopt);
    EXPECT_EQ(data.filePath, std::nullopt);
    EXPECT_EQ(data.tempFilepath, std::nullopt);
    EXPECT_EQ(data.fileUploadID, std::nullopt);
    EXPECT_EQ(data.task, nullptr);
    EXPECT_EQ(data.connection, nullptr);
}

TEST(ADownloadsRecord, HoldsResponsePathsIdentifierTaskAndConnectionInThisOrder) {
    const Platform::RunLoop loop;
    const auto session = Platform::UrlSession::sessionWithConfiguration({});
    const std::shared_ptr<Platform::UrlSessionTask> task = session->dataTaskWithRequest({});
    const auto connection = DownloadConnection::initWithRequest({}, nullptr, false, "tag");
    GetTopFileUploadResponseData response;
    response.fileName = "\\a";
    const TopFileUploadData data{response, "/final", "/temporary", "12", task, connection};
    EXPECT_EQ(data.response, response);
    EXPECT_EQ(data.filePath, "/final");
    EXPECT_EQ(data.tempFilepath, "/temporary");
    EXPECT_EQ(data.fileUploadID, "12");
    EXPECT_EQ(data.task, task);
    EXPECT_EQ(data.connection, connection);
}

} // namespace Quenmark
