// What the lists of the console's interface show, and how they are paged.

#include "Support/TwoUsers.h"

#include <boost/json.hpp>

#include <filesystem>

namespace webservice::test {

namespace {

class AListOfTheConsole : public WithTwoUsers {
protected:
    std::string get(const std::string& target) {
        const Response response = request("GET", "/api/" + target);
        EXPECT_EQ(response.status, 200) << target << ' ' << response.body;
        return response.body;
    }

    /// The values of a member of each entry, as JSON, and that of "next".
    std::string all(const std::string& target, std::string_view list, std::string_view member) {
        std::string values;
        const boost::json::value page = boost::json::parse(get(target));
        for (const boost::json::value& entry : page.at(list).as_array())
            values += boost::json::serialize(entry.at(member)) + ' ';
        return values + boost::json::serialize(page.at("next"));
    }

    /// Status and code of a refusal.
    std::string refusal(std::string_view method, const std::string& target) {
        const Response response = request(method, "/api/" + target);
        const boost::json::value json = boost::json::parse(response.body);
        return std::to_string(response.status) + ' ' + std::string(json.at("error").at("code").as_string());
    }
};

} // namespace

TEST_F(AListOfTheConsole, CountsUsersAndTheirComputersWithoutTheClouds) {
    const std::string service = get("service");
    EXPECT_EQ(field(service, "users"), "2");
    EXPECT_EQ(field(service, "computers"), "3");
}

TEST_F(AListOfTheConsole, ShowsComputersWithTheirStateAndTheCountsOfTheirItems) {
    call("UpdateSystemTime.svc/UpdateComputerStatus",
         R"({"ComputerID":"2","VersionNumber":"1.2","DateTime":"2026-01-02T03:04:05Z"})");
    for (const char* item : {"a", "b", "c", "d", "e", "f"})
        EXPECT_EQ(request("PUT", "/outbox/2/" + std::string(item), "x").status, 201);
    EXPECT_EQ(take("2"), "\\a");
    EXPECT_EQ(take("2"), "\\b");
    EXPECT_EQ(request("POST", "/api/items/3/withdraw").status, 200);
    EXPECT_EQ(get("computers?limit=1"),
              R"({"computers":[{"computer":"2","user":1,"mail":"ann@example.org","folder":"Users\\ann",)"
              R"("version":"1.2","lastSeen":"2026-01-02T03:04:05Z",)"
              R"("pending":3,"streaming":0,"acknowledged":2,"withdrawn":1}],"next":2})");
    EXPECT_EQ(request("PUT", "/outbox/queue/a", "x").status, 201);
    EXPECT_EQ(request("PUT", "/outbox/r/a", "x").status, 201);
    EXPECT_EQ(all("computers", "computers", "computer"), R"("2" "3" "5" "queue" "r" null)");
    EXPECT_EQ(all("computers?limit=3", "computers", "computer"), R"("2" "3" "5" 5)");
    EXPECT_EQ(all("computers?limit=4", "computers", "computer"), R"("2" "3" "5" "queue" "queue:queue")");
    EXPECT_EQ(all("computers?limit=5&after=queue:queue", "computers", "computer"), R"("r" null)");
}

TEST_F(AListOfTheConsole, ShowsASizeOfFilesAlone) {
    EXPECT_EQ(request("PUT", "/outbox/7/Docs/a", "12345").status, 201);
    EXPECT_EQ(all("items", "items", "isFile"), "false true null");
    EXPECT_EQ(all("items", "items", "size"), "null 5 null");
    EXPECT_EQ(all("items?computer=7&state=pending", "items", "name"), R"("\\Docs" "\\Docs\\a" null)");
    EXPECT_EQ(all("items?computer=7&state=acknowledged", "items", "name"), "null");
}

TEST_F(AListOfTheConsole, ShowsWhatComputersReportOfTheirFiles) {
    sync(R"({"ComputerID":"2","ChangeType":"Created","FullPath":"Users\\ann\\a","FileSize":"12",)"
         R"("FileModifiedDate":"today"})");
    sync(R"({"ComputerID":"3","ChangeType":"Created","FullPath":"..\\b","FileSize":"much"})");
    sync(R"({"ComputerID":"2","ChangeType":"Created","FullPath":"Users\\ann\\c","IsFile":"False"})");
    sync(R"({"ComputerID":"2","ChangeType":"Deleted","FullPath":"Users\\ann\\c"})");
    EXPECT_EQ(get("files"),
              R"({"files":[{"id":1,"computer":"2","path":"Users\\ann\\a","name":"\\a","isFile":true,"size":12,)"
              R"("modified":"today","present":true},)"
              R"({"id":2,"computer":"3","path":"..\\b","name":null,"isFile":true,"size":"much","modified":null,)"
              R"("present":true},)"
              R"({"id":3,"computer":"2","path":"Users\\ann\\c","name":"\\c","isFile":false,"size":null,)"
              R"("modified":null,"present":false}],"next":null})");
    EXPECT_EQ(get("file-requests?limit=1"),
              R"({"fileRequests":[{"id":1,"file":1,"computer":"2","fromShared":false,"state":"waiting",)"
              R"("position":1}],"next":1})");
    call("SyncFileChanges.svc/InsertSharedFilesTransfer",
         R"({"FileID":"1","ComputerID":"2","UserComputerID":"5","PrevFolderFileID":"4","ChangeType":"1",)"
         R"("OldFullPath":"old","BaseSystemFileID":"6","StrXMLFileID":"8"})");
    EXPECT_EQ(get("transfers"),
              R"({"transfers":[{"id":1,"file":1,"fromComputer":"2","toComputer":"5","state":"waiting","isFile":true,)"
              R"("changeType":"1","fullPath":"Users\\ann\\a","oldFullPath":"old","newFullPath":null,)"
              R"("baseSystemFile":"6","prevFolderFile":"4","xmlFile":"8","savedFile":null}],"next":null})");
}

TEST_F(AListOfTheConsole, FindsRowsHoweverFarApartTheirIdentifiersAre) {
    state->db.script("INSERT INTO users (id, mail, password, code) VALUES (10000, 'c', '', 'c'), (10001, 'd', '', 'd'),"
                     "(35000, 'e', '', 'e');"
                     "INSERT INTO uploads (id, computer, name, is_file, position, state) VALUES "
                     "(1, '7', 'a', 1, 1, 'withdrawn'), (10000, '7', 'b', 1, 2, 'withdrawn'),"
                     "(10001, '7', 'c', 1, 3, 'withdrawn'), (35000, '7', 'd', 1, 4, 'withdrawn')");
    EXPECT_EQ(all("users", "users", "id"), "1 2 10000 10001 35000 null");
    EXPECT_EQ(all("users?limit=3&after=1", "users", "id"), "2 10000 10001 10001");
    EXPECT_EQ(all("users?limit=3&after=2", "users", "id"), "10000 10001 35000 null");
    EXPECT_EQ(all("items", "items", "id"), "1 10000 10001 35000 null");
    EXPECT_EQ(all("items?limit=2&after=1", "items", "id"), "10000 10001 10001");
    EXPECT_EQ(all("items?limit=2&after=10000", "items", "id"), "10001 35000 null");
}

TEST_F(AListOfTheConsole, TakesOnlyParametersThatItCanRead) {
    EXPECT_EQ(all("users?limit=1000", "users", "id"), "1 2 null");
    EXPECT_EQ(all("items?xcomputer=%zz", "items", "id"), "null") << "which is another parameter";
    EXPECT_EQ(refusal("GET", "items?state=pending&computer=%zz"), "400 BadQuery");
    EXPECT_EQ(refusal("GET", "users?limit=1001"), "400 BadQuery");
    EXPECT_EQ(refusal("POST", "items/1/2/withdraw"), "404 UnknownPath");
    EXPECT_EQ(refusal("POST", "items/1/withdraw/"), "404 UnknownPath");
    EXPECT_EQ(refusal("GET", "items/"), "404 UnknownPath");
    EXPECT_EQ(refusal("PUT", "requests"), "405 WrongMethod");
    EXPECT_EQ(header(request("PUT", "/api/requests"), "Allow"), "GET, DELETE");
    EXPECT_EQ(request("POST", "/api/computers/x%2Fy/clear").body, R"({"withdrawn":0})");
}

TEST_F(AListOfTheConsole, IsEmptyOnceAQueueOfManyItemsIsCleared) {
    for (int i = 0; i < 250; ++i)
        folder.write("data/outbox/9/folder/" + std::to_string(i), "x");
    EXPECT_EQ(request("PUT", "/outbox/8/a", "x").status, 201);
    EXPECT_EQ(request("POST", "/api/computers/9/clear").body, R"({"withdrawn":251})");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("data/outbox/9")));
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("data/incoming")));
    EXPECT_EQ(all("items?state=pending", "items", "computer"), R"("8" null)");
}

} // namespace webservice::test
