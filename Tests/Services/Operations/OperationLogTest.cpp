// What the operations log besides their connector, and in which order.

#include "OperationCase.h"
#include "Platform/Log.h"
#include "ServiceFixture.h"
#include "Services/Catalogue.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

namespace ServicesTests {

namespace {

namespace Catalogue = Quenmark::Catalogue;
using TestSupport::HttpReply;
using Log = std::vector<std::string>;

/// One operation that logs, and what it logs.
struct LoggingOperation {
    std::string name;
    /// Makes the call; the handler writes "handler" to the log.
    std::function<void(const Quenmark::ServiceContext&)> call;
    std::string parameters;
    std::string body;
    /// Right before and after the handler, by outcome.
    std::vector<std::string> before{};
    std::vector<std::string> afterSuccess{};
    std::vector<std::string> afterFailure{};
};

void PrintTo(const LoggingOperation& operation, std::ostream* stream) {
    *stream << operation.name;
}

template <class Query, class Response>
std::function<void(const Quenmark::ServiceContext&)> calling(const Quenmark::Operation<Query, Response>& row,
                                                             std::type_identity_t<Query> query) {
    return [&row, query = std::move(query)](const auto& context) {
        Quenmark::perform(
            row, query, [](const auto&, std::int64_t) { Platform::Log::write("handler"); }, context);
    };
}

std::vector<LoggingOperation> loggingOperations() {
    const std::string transferText = "{\n    \"SharedFileTransferID\" = \"12\";\n}";
    const std::string transferBody = "{\n  \"SharedFileTransferID\" : \"12\"\n}";
    return {
        {"asyncSendPasswordToMailId", calling(Catalogue::sendPasswordToMailId, {.mailId = "a@b"}),
         "{\n    \"MailID\" = \"a@b\";\n}", "{\n  \"MailID\" : \"a@b\"\n}"},
        {"asyncLogError",
         calling(Catalogue::logError,
                 {.errorClass = "C", .errorMethod = nil, .errorMessage = "x \"y\"", .computerId = nil, .userId = "17"}),
         "{\n    \"ErrorClass\" = \"C\";\n    \"ErrorMessage\" = \"x \\\"y\\\"\";\n    \"UserID\" = \"17\";\n}",
         "{\n  \"ErrorClass\" : \"C\",\n  \"ErrorMessage\" : \"x \\\"y\\\"\",\n  \"UserID\" : \"17\"\n}"},
        {"asyncGetSharedFilesTransferData",
         calling(Catalogue::getSharedFilesTransferData, {.userId = "17", .computerId = "91"}),
         " {\n    \"UserID\" = \"17\";\n    \"ComputerID\" = \"91\";\n}",
         "{\n  \"UserID\" : \"17\",\n  \"ComputerID\" : \"91\"\n}"},
        {"asyncUpdateFileExist", calling(Catalogue::updateFileExist, {.SharedFileTransferID = "12"}),
         "data from updatefileexist." + transferText, transferBody},
        {"asyncUpdateFileSendReceived", calling(Catalogue::updateFileSendReceived, {.SharedFileTransferID = "12"}),
         "data from updatefilesendreceived." + transferText, transferBody},
        {"asyncUploadFileWithStream", calling(Catalogue::uploadFileWithStream, {}),
         "data from uploadfilewithstream.{\n}", "{}"},
        {"asyncupdateSendFileToTransfer", calling(Catalogue::updateSendFileToTransfer, {}),
         "data from updatesendfiletotransfer.{\n}", "{}"},
        {"asyncIsFileExistsInCloud",
         calling(Catalogue::isFileExistsInCloud, {.strFullPath = "a"}),
         "data in could query...{\n    \"StrFullPath\" = \"a\";\n}",
         "{\n  \"StrFullPath\" : \"a\"\n}",
         {"rest connector at cloud ....<completion handler>"},
         {"trace code sucesss........."},
         {"trace code error..........."}},
        {"asyncDeleteReceivedFileFromTransfer",
         calling(Catalogue::deleteReceivedFileFromTransfer,
                 {.isFileExists = nil, .savedFileID = nil, .sharedFileTransferID = "12"}),
         "data for delete Received File from Transfer....." + transferText,
         transferBody,
         {},
         {"trace code sucess.............."},
         {"  trce code error deleteReceivedFile From Transfer ............"}},
    };
}

class ALoggingOperation : public ServiceFixture,
                          public ::testing::WithParamInterface<std::tuple<LoggingOperation, double>> {
protected:
    ALoggingOperation() { setRelease(std::get<double>(GetParam())); }

    const LoggingOperation& operation() const { return std::get<LoggingOperation>(GetParam()); }
    static Log joined(Log entries, const Log& more) {
        entries.insert(entries.end(), more.begin(), more.end());
        return entries;
    }
    /// Waits for an entry that comes last, and for anything behind it.
    Log logUpTo(const std::string& last) {
        EXPECT_TRUE(runUntil([&] { return log.contains(last); }));
        everyRequest();
        return log.entries();
    }
};

TEST_P(ALoggingOperation, LogsItsParametersFirstAndItsSuccessLast) {
    server.enqueue(HttpReply::json("{}"));
    operation().call(context);
    auto expected = joined({operation().parameters, "Json String " + operation().body, "response {\n}"},
                           joined(joined(operation().before, {"handler"}), operation().afterSuccess));
    EXPECT_EQ(logUpTo(expected.back()), expected);
}

TEST_P(ALoggingOperation, LogsItsFailureBeforeTheConnectorsLastLine) {
    server.stopListening();
    operation().call(context);
    ASSERT_TRUE(runUntil([&] { return log.contains("network error"); }));
    ASSERT_GT(log.entries().size(), 3U);
    const std::string error = log.entries()[2];
    EXPECT_TRUE(error.starts_with("error code ....Error Domain=UrlLoading Code=-1004 ")) << error;
    EXPECT_EQ(log.entries(), joined({operation().parameters, "Json String " + operation().body, error},
                                    joined(joined(operation().before, {"handler"}),
                                           joined(operation().afterFailure, {"network error"}))));
}

TEST_P(ALoggingOperation, LogsItsParametersWhereTheNetworkIsNotReachable) {
    setReachable(false);
    operation().call(context);
    EXPECT_EQ(log.entries(), joined({operation().parameters},
                                    joined(joined(operation().before, {"handler"}), operation().afterFailure)));
}

std::string loggingCaseName(const ::testing::TestParamInfo<std::tuple<LoggingOperation, double>>& test) {
    return std::get<LoggingOperation>(test.param).name +
           (std::get<double>(test.param) == release10_10 ? "OnTheSession" : "OnTheConnection");
}

INSTANTIATE_TEST_SUITE_P(Of, ALoggingOperation,
                         ::testing::Combine(::testing::ValuesIn(loggingOperations()),
                                            ::testing::Values(release10_10, release10_7)),
                         loggingCaseName);

} // namespace

} // namespace ServicesTests
