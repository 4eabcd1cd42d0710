// The four lists of what a computer shares and is sent.

#include "Support/TwoUsers.h"

#include <boost/json.hpp>

namespace webservice::test {

namespace {

class TheListsOfTransfers : public WithTwoUsers {
protected:
    boost::json::value lists(std::string_view user, std::string_view computer) {
        return boost::json::parse(
            call("MAC/SharedFiles.svc/GetSharedFilesTransferData",
                 R"({"UserID":")" + std::string(user) + R"(","ComputerID":")" + std::string(computer) + R"("})"));
    }

    /// The texts under a key of each entry of a list.
    std::string texts(std::string_view user, std::string_view computer, std::string_view list, std::string_view key) {
        std::string all;
        const boost::json::value whole = lists(user, computer);
        for (const boost::json::value& entry : whole.at(list).as_array())
            all.append(entry.at(key).as_string()).append(" ");
        return all;
    }

    void insert(std::string_view path, std::string_view computer) {
        call("SyncFileChanges.svc/InsertFile",
             R"({"FullPath":")" + std::string(path) + R"(","ComputerID":")" + std::string(computer) + R"("})");
    }

    void share(std::string_view file, std::string_view from, std::string_view to, std::string_view more = "") {
        EXPECT_EQ(call("SyncFileChanges.svc/InsertSharedFilesTransfer",
                       R"({"FileID":")" + std::string(file) + R"(","ComputerID":")" + std::string(from) +
                           R"(","UserComputerID":")" + std::string(to) + '"' + std::string(more) + "}"),
                  accepted);
    }

    void enterState(std::string_view operation, std::string_view transfer) {
        EXPECT_EQ(field(call("MAC/SharedFiles.svc/" + std::string(operation),
                             R"({"SharedFileTransferID":")" + std::string(transfer) + R"("})"),
                        "ReturnStatus"),
                  "0");
    }
};

} // namespace

TEST_F(TheListsOfTransfers, TellTheCloudFromOtherComputers) {
    insert("a", "1");
    insert("b", "2");
    share("1", "1", "5"); // Ann's cloud is 1, Bob's is 4
    share("2", "2", "4");
    EXPECT_EQ(texts("1", "1", "FileToTransfer", "FromCloud"), "True ");
    EXPECT_EQ(texts("1", "1", "FileToTransfer", "ToCloud"), "False ");
    EXPECT_EQ(texts("1", "2", "FileToTransfer", "FromCloud"), "False ");
    EXPECT_EQ(texts("1", "2", "FileToTransfer", "ToCloud"), "True ");
    enterState("UpdateFileSendReceived", "1");
    enterState("UpdateFileSendReceived", "2");
    EXPECT_EQ(texts("1", "2", "FileToTransfer", "ToCloud"), "");
    EXPECT_EQ(texts("2", "5", "RecFileFromTransfer", "FromCloud"), "True ");
    EXPECT_EQ(texts("2", "5", "RecFileFromTransfer", "ToCloud"), "False ");
    EXPECT_EQ(texts("2", "4", "RecFileFromTransfer", "FromCloud"), "False ");
    EXPECT_EQ(texts("2", "4", "RecFileFromTransfer", "ToCloud"), "True ");
    EXPECT_EQ(texts("2", "5", "OwnerComputers", "IsCloud"), "True False ");
    EXPECT_EQ(texts("2", "5", "OwnerComputers", "CloudPath"), "\\Cloud\\1 \\Cloud\\1 ");
}

TEST_F(TheListsOfTransfers, TellWhetherAnOwnerWasSeen) {
    insert("a", "2");
    insert("a", "3");
    share("1", "2", "5");
    share("2", "3", "5");
    call("UpdateSystemTime.svc/UpdateComputerStatus", R"({"ComputerID":"3"})");
    EXPECT_EQ(texts("2", "5", "OwnerComputers", "Status"), "Registered Seen ");
    EXPECT_EQ(texts("2", "5", "OwnerComputers", "ComputerID"), "2 3 ");
    EXPECT_EQ(texts("2", "5", "OwnerComputers", "UserComputerMapID"), "1 2 ");
    EXPECT_EQ(texts("1", "2", "OwnerComputers", "ComputerID"), "");
}

TEST_F(TheListsOfTransfers, HaveAFolderAsPendingUntilAllThatIsSharedOfItIsReceived) {
    insert("Docs\\\\", "2");
    insert("Docs\\\\a", "2");
    insert("Other\\\\", "2");
    insert("None\\\\", "2");
    share("1", "2", "5");
    share("2", "2", "5", R"(,"PrevFolderFileID":"1")");
    share("2", "2", "5", R"(,"PrevFolderFileID":"3")");
    const auto shared = [this] {
        return texts("1", "2", "SharedfoldersWithStatus", "FileID") + "- " +
               texts("1", "2", "SharedfoldersWithStatus", "SharedStatus");
    };
    EXPECT_EQ(shared(), "1 3 - Pending Pending ");
    enterState("UpdateFileExists", "3");
    EXPECT_EQ(shared(), "1 3 - Pending Shared ");
    enterState("UpdateFileExists", "1");
    EXPECT_EQ(shared(), "1 3 - Pending Shared ");
    enterState("UpdateFileSendReceived", "2");
    EXPECT_EQ(shared(), "1 3 - Pending Shared ");
    enterState("UpdateFileReceived", "2");
    EXPECT_EQ(shared(), "1 3 - Shared Shared ");
    sync(R"({"ComputerID":"2","ChangeType":"Deleted","FullPath":"Other"})");
    EXPECT_EQ(shared(), "1 - Shared ");
}

TEST_F(TheListsOfTransfers, EndWhereTheirTextGetsLong) {
    // Entries of 60 KB: a list ends after the one that brings it to 4 MiB.
    const std::string path(60'000, 'p');
    insert("a", "2");
    {
        Transaction transaction(state->db);
        for (int i = 0; i < 80; ++i)
            share("1", "2", "5", R"(,"FullPath":")" + path + '"');
        transaction.commit();
    }
    const auto files = lists("1", "2").at("FileToTransfer").as_array();
    const std::size_t entry = boost::json::serialize(files.front()).size();
    EXPECT_GT(files.size(), 4194304 / (entry + 10));
    EXPECT_LT(files.size(), 4194304 / entry + 6); // and at most a page of 256 KiB more
    EXPECT_EQ(files.back().at("SharedFileTransferID").as_string(), std::to_string(files.size()));
}

TEST_F(TheListsOfTransfers, AreLongerThanOnePage) {
    insert("a", "2");
    {
        Transaction transaction(state->db);
        for (int i = 0; i < 250; ++i) {
            insert("folder" + std::to_string(i) + "\\\\", "2");
            share(std::to_string(i + 2), "2", "5");
        }
        transaction.commit();
    }
    const auto list = lists("1", "2");
    const auto& files = list.at("FileToTransfer").as_array();
    ASSERT_EQ(files.size(), 250U);
    for (std::size_t i = 0; i < files.size(); ++i)
        EXPECT_EQ(files[i].at("SharedFileTransferID").as_string(), std::to_string(i + 1));
    EXPECT_EQ(list.at("SharedfoldersWithStatus").as_array().size(), 250U);
}

TEST_F(TheListsOfTransfers, HaveWhatAComputerThatComesLaterGetsToo) {
    insert("a", "2");
    insert("b", "2");
    share("1", "2", "5", R"(,"ChangeType":"1","OldFullPath":"o","BaseSystemFileID":"77","StrXMLFileID":"x")");
    share("2", "2", "5");
    call("Registration.svc/RegisterComputer", R"({"UserID":"2","QuenmarkPath":"later"})");
    sync(R"({"ComputerID":"2","ChangeType":"Deleted","FullPath":"b"})");
    expect("Registration.svc/OneTimeSyncOwnersSharedFolders", R"({"ComputerID":"6","UserID":"2"})", accepted);
    EXPECT_EQ(texts("1", "2", "FileToTransfer", "ToComputerID"), "5 5 6 "); // none of what is not there any more
    EXPECT_EQ(texts("2", "6", "OwnerComputers", "ComputerID"), "2 2 ");     // one for each subscriber
    Query row = state->db.query("SELECT change_type, old_full_path, base_system_file, xml_file, is_file, full_path "
                                "FROM transfers WHERE to_computer = 6");
    ASSERT_TRUE(row.next());
    for (const auto& [column, text] : {std::pair(0, "1"), std::pair(1, "o"), std::pair(2, "77"), std::pair(3, "x"),
                                       std::pair(4, "1"), std::pair(5, "a")})
        EXPECT_EQ(row.text(column), text);
    // A computer of the sender's user does not get what it sends.
    expect("Registration.svc/OneTimeSyncOwnersSharedFolders", R"({"ComputerID":"2","UserID":"1"})", accepted);
    EXPECT_FALSE(state->db.query("SELECT 1 FROM transfers WHERE to_computer = 2").next());
}

TEST_F(TheListsOfTransfers, TellAReceivedFilesIdentifierAndItsNewPath) {
    insert("a", "2");
    share("1", "2", "5");
    expect("MAC/SharedFiles.svc/UpdateSendFileToTransfer",
           R"({"SharedFileTransferID":"1","ChangeType":"8","IsFile":"False","NewFullPath":"n"})", accepted);
    expect("MAC/SharedFiles.svc/UpdateSendFileToTransfer", R"({"SharedFileTransferID":"1"})", accepted);
    EXPECT_EQ(texts("2", "5", "RecFileFromTransfer", "ChangeType"), "8 ");
    EXPECT_EQ(texts("2", "5", "RecFileFromTransfer", "IsFile"), "False ");
    EXPECT_EQ(texts("2", "5", "RecFileFromTransfer", "NewFullPath"), "n ");
    state->db.run("UPDATE transfers SET saved_file = '99'");
    EXPECT_EQ(texts("2", "5", "RecFileFromTransfer", "SavedFileID"), "99 ");
    EXPECT_TRUE(lists("1", "2").at("OwnerComputers").as_array().empty());
}

TEST_F(TheListsOfTransfers, AllowWhatIsReceivedOrDeletedBeforeItIsSent) {
    insert("a", "2");
    share("1", "2", "5");
    expectRefusal("MAC/SharedFiles.svc/UpdateFileReceived", R"({"SharedFileTransferID":"1","IsExists":"False"})",
                  "WrongState", "transfer 1 is waiting");
    expect("MAC/SharedFiles.svc/DeleteReceivedFileFromTransfer", R"({"SharedFileTransferID":"1","IsExists":"True"})",
           accepted);
    expectRefusal("MAC/SharedFiles.svc/UpdateFileReceived", R"({"SharedFileTransferID":"1","IsExists":"True"})",
                  "WrongState", "transfer 1 is deleted");
}

} // namespace webservice::test
