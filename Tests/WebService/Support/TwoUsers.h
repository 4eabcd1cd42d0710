#pragma once

#include "Support/TestState.h"

namespace webservice::test {

/// Ann (user 1, cloud 1) with the computers 2 and 3, and Bob (user 2, cloud 4) with the computer 5.
class WithTwoUsers : public WithState {
protected:
    WithTwoUsers() {
        registerUser(R"({"MailID":"ann@example.org","Password":"a","NickName":"annie"})");
        registerComputer(R"({"UserID":"1","QuenmarkPath":"Users\\ann"})");
        registerComputer(R"({"UserID":"1","QuenmarkPath":"home\\ann"})");
        registerUser(R"({"MailID":"bob@example.org","Password":"b"})");
        registerComputer(R"({"UserID":"2","QuenmarkPath":"Users\\bob"})");
    }

    /// Tells of one change in a computer's files and gives the response's only entry.
    std::string sync(std::string_view change) {
        return call("SyncFileChanges.svc/SyncFilesInTableAndCloud", '[' + std::string(change) + ']');
    }

    /// Streams a content up.
    std::string upload(std::string_view requestId, std::string_view path, std::string_view content) {
        return request("POST", "/QuenmarkRestService/Downloads.svc/UpdateFileRequestWithStream", content,
                       {{"Content-Type", "application/octet-stream"},
                        {"filepath", std::string(path)},
                        {"TransitDownloadPath", "\\Transit\\x"},
                        {"FileRequestID", std::string(requestId)}})
            .body;
    }

private:
    void registerUser(std::string_view json) {
        EXPECT_EQ(field(call("Registration.svc/VerifyAndRegisterUserFromTool", json), "ReturnStatus"), "0");
    }
    void registerComputer(std::string_view json) {
        EXPECT_EQ(field(call("Registration.svc/RegisterComputer", json), "ReturnStatus"), "0");
    }
};

constexpr const char* accepted = R"({"ReturnStatus":"0","error":null})";
constexpr const char* nothingWaits = R"({"ReturnStatus":"1","error":null})";

} // namespace webservice::test
