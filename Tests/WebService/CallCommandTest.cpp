// The command of the tool that makes an operation's request again.

#include "WebService/Console/CallCommand.h"

#include <gtest/gtest.h>

namespace webservice {

namespace {

std::string toolCommand(std::string_view operation, const std::string& body, std::uint64_t missing = 0) {
    JournalEntry entry;
    entry.method = "POST";
    entry.operation = operation;
    entry.request.body = body;
    entry.request.size = body.size() + missing;
    return callCommand(entry).value_or("none");
}

constexpr const char* pollOperation = "Uploads.svc/GetTopFileUpload";

} // namespace

TEST(ACallCommand, HasTheNameThatTheToolHasForTheOperation) {
    for (const auto& [path, name] : {std::pair("Registration.svc/VerifyAndRegisterUserFromTool", "UserRegistration"),
                                     {"MAC/SharedFiles.svc/UpdateFileExists", "UpdateFileExist"},
                                     {"Uploads.svc/UpdateBSUploadStreamStarted", "UpdateBSUploadStreamStart"},
                                     {"Downloads.svc/UpdateBSDownloadStreamStarted", "UpdateBSDownloadStreamStart"},
                                     {"MAC/SharedFiles.svc/UpdateBSReceiveStreamStarted", "UpdateBSReceiveStreamStart"},
                                     {"MAC/ErrorLog.svc/LogError", "LogError"},
                                     {"LogError", "LogError"}})
        EXPECT_EQ(toolCommand(path, "{}"), std::string("quenmark call ") + name);
}

TEST(ACallCommand, PutsTheContentOfADownloadIntoAFile) {
    EXPECT_EQ(toolCommand("Uploads.svc/GetTopFileUploadWithStream", R"({"ToComputerID":"7"})"),
              "quenmark call GetTopFileUploadWithStream ToComputerID=7 --output item");
}

TEST(ACallCommand, HasAPairForEachMember) {
    EXPECT_EQ(toolCommand(pollOperation, R"({"A":"b c","D=":"e"})"), "none");
    EXPECT_EQ(toolCommand(pollOperation, R"({"A":"b\n"})"), "quenmark call GetTopFileUpload 'A=b\n'");
    EXPECT_EQ(toolCommand(pollOperation, R"({"A":"\t\n"})"), "none")
        << "a command substitution would lose the line feed";
    EXPECT_EQ(toolCommand(pollOperation, R"({"A":"b c","D":"","E-":"=f"})"),
              "quenmark call GetTopFileUpload 'A=b c' D= E-==f");
    for (const char* body : {R"({"":"b"})", R"({"=":"b"})", R"({"=a":"b"})", R"({"-a":"b"})", R"({"\u0000a":"b"})",
                             R"({"a":"\u0000"})", R"({"a":1})", "[]", "\"a\"", "", "{"})
        EXPECT_EQ(toolCommand(pollOperation, body), "none") << body;
}

TEST(ACallCommand, IsNoneWhereTheBodyIsNotThere) {
    EXPECT_EQ(toolCommand("", "{}"), "none");
    EXPECT_EQ(toolCommand(pollOperation, "{}", 1), "none");
    EXPECT_EQ(toolCommand("Downloads.svc/UpdateFileRequestWithStream", "{}"), "none");
}

TEST(ACallCommand, GivesAListToTheStandardInput) {
    const char* sync = "SyncFileChanges.svc/SyncFilesInTableAndCloud";
    const std::string end = " | quenmark call SyncFilesInTableAndCloud --json -";
    EXPECT_EQ(toolCommand(sync, "[]"), "printf %s '[]'" + end);
    EXPECT_EQ(toolCommand(sync, R"([ {"A" : "b"}, {} ])"), R"(printf %s '[{"A":"b"},{}]')" + end);
    for (const char* body : {"{}", "[1]", R"([{"A":1}])", R"([{}, []])"})
        EXPECT_EQ(toolCommand(sync, body), "none") << body;
}

} // namespace webservice
