// Requests and changes of the outbox that are large beyond reason, or that take long.

#include "Support/TwoUsers.h"

#include <boost/json.hpp>

namespace webservice::test {

namespace {

using namespace std::chrono_literals;
using Names = std::vector<std::string>;

class ALargeRequest : public WithTwoUsers {
protected:
    static std::string path(int levels) {
        std::string text = "x";
        for (int i = 1; i < levels; ++i)
            text += "/x";
        return text;
    }

    /// A JSON text with an entry repeated so many times, with commas between.
    static std::string repeated(std::string_view entry, int count) {
        std::string text(entry);
        for (int i = 1; i < count; ++i)
            text.append(",").append(entry);
        return text;
    }

    /// Takes in what happens in the outbox in slices that are as short as can be; their number.
    int slices() {
        int count = 1;
        while (!state->watcher.processSlice(0s))
            ++count;
        return count;
    }
};

} // namespace

TEST_F(ALargeRequest, ForAPathOfTooManyLevelsOrBytesIsRefused) {
    EXPECT_EQ(request("PUT", "/outbox/7/" + path(100), "x").status, 201);
    const Response deep = request("PUT", "/outbox/7/" + path(101), "x");
    EXPECT_EQ(deep.status, 400);
    EXPECT_EQ(deep.body, R"({"ReturnStatus":"1","error":{"code":"BadPath",)"
                         R"("message":"the item's path is longer than 3072 bytes or has more than 100 parts"}})");
    std::string longest(250, 'n');
    while (longest.size() + 251 <= 3072)
        longest += '/' + std::string(250, 'n');
    EXPECT_EQ(request("PUT", "/outbox/7/" + longest, "x").status, 201);
    EXPECT_EQ(request("PUT", "/outbox/7/" + longest + '/' + std::string(250, 'n'), "x").status, 400);
}

TEST_F(ALargeRequest, OfAnotherProgramForFoldersOfTooManyLevelsIsIgnored) {
    folder.makeFolder("data/outbox/8/" + path(150));
    EXPECT_EQ(acknowledgeAll("8").size(), 100U);
    folder.write("data/outbox/8/x/file", "x");
    EXPECT_EQ(acknowledgeAll("8"), Names({"\\x\\file"}));
}

TEST_F(ALargeRequest, ForMoreChangesThanTheLimitIsRefused) {
    const std::string changes = '[' + repeated("{}", 10'001) + ']';
    const Response response =
        request("POST", "/QuenmarkRestService/SyncFileChanges.svc/SyncFilesInTableAndCloud", changes);
    EXPECT_EQ(response.status, 413);
    EXPECT_EQ(response.body, R"({"ReturnStatus":"1","error":{"code":"TooMany",)"
                             R"("message":"the list has more than 10000 changes"}})");
    EXPECT_EQ(request("POST", "/QuenmarkRestService/SyncFileChanges.svc/SyncFilesInTableAndCloud",
                      '[' + repeated("{}", 100) + ']')
                  .status,
              200);
}

TEST_F(ALargeRequest, ForMoreFilesThanTheLimitIsRefused) {
    for (const std::string& list : {"[" + repeated("1", 9) + "]", "[" + repeated("\\\"a\\\"", 100'001) + "]"}) {
        const std::string body = R"({"ComputerID":"2","AllFiles":")" + list + "\"}";
        EXPECT_EQ(field(call("Registration.svc/OneTimeSyncFiles", body), "ReturnStatus"), "1");
    }
    std::string lines;
    for (int i = 0; i < 100'001; ++i)
        lines += "a\\n";
    const Response response = request("POST", "/QuenmarkRestService/Registration.svc/OneTimeSyncFiles",
                                      R"({"ComputerID":"2","AllFiles":")" + lines + "\"}");
    EXPECT_EQ(response.status, 413);
    EXPECT_EQ(response.body, R"({"ReturnStatus":"1","error":{"code":"TooMany",)"
                             R"("message":"\"AllFiles\" has more than 100000 entries"}})");
}

TEST_F(ALargeRequest, ForManyFilesLetsOthersBeServedInBetween) {
    std::string lines;
    for (int i = 0; i < 30'000; ++i)
        lines += "folder\\\\" + std::to_string(i) + "\\n";
    const auto exchange =
        begin("Registration.svc/OneTimeSyncFiles", R"({"ComputerID":"2","AllFiles":")" + lines + "\"}");
    ASSERT_FALSE(exchange->step());
    request("PUT", "/outbox/7/a", "x");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a"}));
    EXPECT_EQ(exchange->finish().body, accepted);
    Query row = state->db.query("SELECT count(*) FROM requests WHERE state = 'waiting'");
    ASSERT_TRUE(row.next());
    EXPECT_EQ(row.integer(0), 30'000);
}

TEST_F(ALargeRequest, ForAListReturnsItsBeginningAndThenTheRest) {
    sync(R"({"ComputerID":"2","ChangeType":"Created","FullPath":"a"})");
    {
        Transaction transaction(state->db);
        for (int i = 0; i < 1500; ++i)
            call("SyncFileChanges.svc/InsertSharedFilesTransfer",
                 R"({"FileID":"1","ComputerID":"2","UserComputerID":"5"})");
        transaction.commit();
    }
    const auto listed = [this] {
        const boost::json::value lists = boost::json::parse(
            call("MAC/SharedFiles.svc/GetSharedFilesTransferData", R"({"UserID":"1","ComputerID":"2"})"));
        const auto& files = lists.at("FileToTransfer").as_array();
        return std::to_string(files.size()) + " from " +
               std::string(files.front().at("SharedFileTransferID").as_string());
    };
    EXPECT_EQ(listed(), "1000 from 1");
    for (int i = 1; i <= 1000; ++i)
        call("MAC/SharedFiles.svc/UpdateFileSendReceived", R"({"SharedFileTransferID":")" + std::to_string(i) + "\"}");
    EXPECT_EQ(listed(), "500 from 1001");
}

TEST_F(ALargeRequest, ToDeleteAFolderRemovesItFromOutboxesAsAWhole) {
    constexpr int count = 1200;
    for (int i = 0; i < count; ++i)
        folder.write("data/outbox/3/folder/sub/" + std::to_string(i), "x");
    state->watcher.process();
    sync(R"({"ComputerID":"2","ChangeType":"Created","FullPath":"folder","IsFile":"False"})");
    EXPECT_EQ(field(request("GET", "/status?computer=3").body, "pending"), std::to_string(count + 2));
    sync(R"({"ComputerID":"2","ChangeType":"Deleted","FullPath":"folder"})");
    EXPECT_FALSE(std::filesystem::exists(folder.path("data/outbox/3/folder")));
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("data/incoming")));
    EXPECT_EQ(acknowledgeAll("3"), Names());
}

TEST_F(ALargeRequest, OfTheFileSystemIsProcessedInSlices) {
    constexpr int count = 2000;
    for (int i = 0; i < count; ++i)
        folder.write("elsewhere/" + std::to_string(i), "x");
    folder.makeFolder("data/outbox/7");
    slices();
    folder.move("elsewhere", "data/outbox/7/folder");
    EXPECT_GT(slices(), count);
    EXPECT_EQ(field(request("GET", "/status?computer=7").body, "pending"), std::to_string(count + 1));
    folder.move("data/outbox/7/folder", "elsewhere");
    EXPECT_GT(slices(), 3);
    EXPECT_EQ(request("GET", "/status?computer=7").body,
              R"({"pending":0,"acknowledged":0,"withdrawn":)" + std::to_string(count + 1) + "}");
}

TEST_F(ALargeRequest, MayHaveAMebibyteAndALongListSixteen) {
    const auto status = [this](std::string_view operation, std::string json, std::size_t length) {
        json.resize(length, ' ');
        const Response response = request("POST", "/QuenmarkRestService/" + std::string(operation), json);
        return std::to_string(response.status) + (response.status == 200 ? "" : response.body);
    };
    const std::string error = R"(413{"ReturnStatus":"1","error":{"code":"TooLong","message":"the body is longer than )";
    EXPECT_EQ(status("MAC/ErrorLog.svc/LogError", "{}", 1 << 20), "200");
    EXPECT_EQ(status("MAC/ErrorLog.svc/LogError", "{}", (1 << 20) + 1), error + "1 MiB\"}}");
    EXPECT_EQ(status("SyncFileChanges.svc/SyncFilesInTableAndCloud", "[]", 16 << 20), "200");
    EXPECT_EQ(status("SyncFileChanges.svc/SyncFilesInTableAndCloud", "[]", (16 << 20) + 1), error + "16 MiB\"}}");
}

} // namespace webservice::test
