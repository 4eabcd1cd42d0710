// Folders of the service are removed while it works.

#include "Support/HttpClient.h"
#include "Support/ServiceProcess.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestState.h"
#include "Support/TwoUsers.h"

#include <csignal>
#include <filesystem>
#include <string>
#include <utility>

namespace webservice::test {

namespace {

using Names = std::vector<std::string>;

class AServiceWhoseFolderIsRemoved : public WithTwoUsers {};

} // namespace

TEST_F(AServiceWhoseFolderIsRemoved, MakesTheFolderOfIncomingFilesAgain) {
    folder.remove("data/incoming");
    EXPECT_EQ(request("PUT", "/outbox/7/a", "x").status, 201);
    EXPECT_EQ(contentOf(folder.path("data/outbox/7/a")), "x");
    folder.remove("data/incoming");
    sync(R"({"ComputerID":"2","ChangeType":"Created","FullPath":"b"})");
    EXPECT_EQ(upload("1", "b", "content"), accepted);
    EXPECT_EQ(acknowledgeAll("3"), Names({"\\b"}));
}

TEST_F(AServiceWhoseFolderIsRemoved, MakesTheCloudAgain) {
    folder.remove("data/cloud");
    sync(R"({"ComputerID":"2","ChangeType":"Created","FullPath":"b"})");
    EXPECT_EQ(upload("1", "b", "content"), accepted);
    EXPECT_EQ(contentOf(folder.path("data/outbox/3/b")), "content");
}

TEST_F(AServiceWhoseFolderIsRemoved, MakesTheOutboxAgain) {
    EXPECT_EQ(request("PUT", "/outbox/7/a", "x").status, 201);
    folder.remove("data/outbox");
    EXPECT_EQ(next("7"), "");
    EXPECT_EQ(request("PUT", "/outbox/7/b", "x").status, 201);
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\b"}));
    folder.write("data/outbox/7/c", "x");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\c"}));
}

TEST_F(AServiceWhoseFolderIsRemoved, MakesAComputersOutboxAgain) {
    EXPECT_EQ(request("PUT", "/outbox/7/a", "x").status, 201);
    folder.remove("data/outbox/7");
    EXPECT_EQ(request("PUT", "/outbox/7/b", "x").status, 201);
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\b"}));
    EXPECT_EQ(request("GET", "/status?computer=7").body, R"({"pending":0,"acknowledged":1,"withdrawn":1})");
}

TEST_F(AServiceWhoseFolderIsRemoved, SaysSoAndGoesOnWhenItComesBack) {
    EXPECT_EQ(request("PUT", "/outbox/7/a", "x").status, 201);
    folder.move("data", "elsewhere");
    EXPECT_THROW(call("Uploads.svc/GetTopFileUpload", R"({"ToComputerID":"7"})"), StateLost);
    EXPECT_THROW(request("PUT", "/outbox/7/b", "x"), StateLost);
    EXPECT_THROW(upload("1", "b", "x"), StateLost);
    EXPECT_FALSE(std::filesystem::exists(folder.path("data")));
    folder.move("elsewhere", "data");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a"}));
}

TEST_F(AServiceWhoseFolderIsRemoved, DoesNotGoOnWithoutItsDatabase) {
    folder.remove("data/state.db");
    EXPECT_THROW(call("Uploads.svc/GetTopFileUpload", R"({"ToComputerID":"7"})"), StateLost);
}

TEST_F(AServiceWhoseFolderIsRemoved, ServesRequestsWithoutAnOutboxThatCanBeRead) {
    folder.move("data/outbox", "elsewhere");
    folder.write("data/outbox", "a file");
    EXPECT_EQ(request("GET", "/status").body, R"({"pending":0,"acknowledged":0,"withdrawn":0})");
}

TEST_F(AServiceWhoseFolderIsRemoved, FindsTheFilesAgainThatAResetHasNotComeTo) {
    sync(R"({"ComputerID":"2","ChangeType":"Created","FullPath":"b"})");
    EXPECT_EQ(upload("1", "b", "content"), accepted);
    EXPECT_EQ(next("3"), "\\b");
    // The rows are stored as removed, and then the first file cannot be moved.
    folder.makeFolder("data/incoming/" +
                      std::to_string(std::stoll(std::filesystem::path(state->incoming.newPath()).filename()) + 1) +
                      "/x");
    EXPECT_THROW(request("POST", "/api/reset"), std::filesystem::filesystem_error);
    EXPECT_TRUE(std::filesystem::exists(folder.path("data/cloud/1")));
    restart();
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("data/cloud")));
    EXPECT_EQ(field(request("GET", "/api/service").body, "users"), "0");
    EXPECT_EQ(field(call("Uploads.svc/GetTopFileUpload", R"({"ToComputerID":"3"})"), "FileUploadID"), "2");
    EXPECT_EQ(acknowledgeAll("3"), Names({"\\b"}));
    EXPECT_EQ(request("POST", "/api/reset").body, "{}");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("data/outbox")));
}

TEST(AProgramWhoseFolderDisappears, RefusesRequestsAndLivesOn) {
    const TemporaryFolder folder;
    const std::string data = folder.path("data").string();
    const std::string lost = data + " was removed or replaced while the service worked on it; start the service anew";
    ServiceProcess service(data);
    const auto ask = [&](std::string_view method, std::string_view target, std::string_view body) {
        return HttpClient(service.port()).exchange(method, target, body);
    };
    const auto expectRefusals = [&] {
        for (const auto& [method, target] : {std::pair("PUT", "/outbox/7/b"), std::pair("POST", "/api/reset"),
                                             std::pair("POST", "/QuenmarkRestService/Uploads.svc/GetTopFileUpload")}) {
            const HttpResponse response = ask(method, target, R"({"ToComputerID":"7"})");
            EXPECT_EQ(response.status, 500) << target;
            EXPECT_EQ(response.body,
                      R"({"ReturnStatus":"1","error":{"code":"InternalError","message":")" + lost + "\"}}");
        }
        EXPECT_EQ(ask("GET", "/", "").status, 200);
        EXPECT_FALSE(std::filesystem::exists(data));
    };
    EXPECT_EQ(ask("PUT", "/outbox/7/a", "x").status, 201);
    folder.move("data", "elsewhere");
    expectRefusals();
    EXPECT_NE(service.errors().find("Z a request failed: " + lost + '\n'), std::string::npos) << service.errors();
    folder.move("elsewhere", "data");
    EXPECT_EQ(ask("GET", "/status", "").body, R"({"pending":1,"acknowledged":0,"withdrawn":0})");
    folder.remove("data");
    expectRefusals();
    service.signal(SIGTERM);
    EXPECT_EQ(service.exitStatus(), 0) << service.errors();
}

} // namespace webservice::test
