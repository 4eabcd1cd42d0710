// Folders of the service are removed while it works.

#include "Support/TestState.h"
#include "Support/TwoUsers.h"

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

} // namespace webservice::test
