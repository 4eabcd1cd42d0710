// PUT /outbox/COMPUTER/PATH and GET /status.

#include "Support/TestState.h"

#include <boost/json.hpp>

namespace webservice::test {

namespace {

using Names = std::vector<std::string>;

class APush : public WithState {};

} // namespace

TEST_F(APush, BecomesAPendingItemWithItsFolders) {
    const Response response = request("PUT", "/outbox/7/Docs/a%20%C3%BC.txt", "hello");
    EXPECT_EQ(response.status, 201);
    EXPECT_EQ(response.body,
              R"({"ReturnStatus":"0","error":null,"ToComputerID":"7","FileName":"\\Docs\\a ü.txt","IsFile":"True"})");
    EXPECT_EQ(contentOf(folder.path("data/outbox/7/Docs/a ü.txt")), "hello");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\Docs", "\\Docs\\a ü.txt"}));
}

TEST_F(APush, OfAnEmptyFileOrAFolderIsPendingAtOnce) {
    EXPECT_EQ(request("PUT", "/outbox/7/new/empty").status, 201);
    EXPECT_EQ(request("PUT", "/outbox/7/folder/").body,
              R"({"ReturnStatus":"0","error":null,"ToComputerID":"7","FileName":"\\folder","IsFile":"False"})");
    EXPECT_EQ(request("PUT", "/outbox/7/folder/").status, 201);
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\new", "\\new\\empty", "\\folder"}));
}

TEST_F(APush, ReplacesAFile) {
    EXPECT_EQ(request("PUT", "/outbox/7/a", "one").status, 201);
    EXPECT_EQ(request("PUT", "/outbox/7/a", "two").status, 201);
    EXPECT_EQ(contentOf(folder.path("data/outbox/7/a")), "two");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a"}));
    EXPECT_EQ(request("PUT", "/outbox/7/a", "two").status, 201);
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a"}));
}

TEST_F(APush, ToABadPathIsRefused) {
    for (const char* target :
         {"/outbox/", "/outbox/7", "/outbox/7/", "/outbox//a", "/outbox/7//a", "/outbox/7/../a", "/outbox/7/%2E%2E/a",
          "/outbox/../a", "/outbox/7/a%2Fb", "/outbox/7/a%5Cb", "/outbox/7/a%00b", "/outbox/7/a%0Ab", "/outbox/7/%FF",
          "/outbox/7/%zz", "/outbox/7/./a"}) {
        const Response response = request("PUT", target, "x");
        EXPECT_EQ(response.status, 400) << target;
        EXPECT_EQ(field(response.body, "ReturnStatus"), "1") << target;
    }
    EXPECT_EQ(request("PUT", "/outbox/7/" + std::string(300, 'a'), "x").status, 400);
    EXPECT_EQ(request("PUT", "/outbox/7/folder/", "body").status, 400);
    EXPECT_EQ(acknowledgeAll("7"), Names());
}

TEST_F(APush, IsRefusedWhereSomethingElseIsInTheWay) {
    folder.makeFolder("elsewhere");
    EXPECT_EQ(request("PUT", "/outbox/7/file", "x").status, 201);
    EXPECT_EQ(request("PUT", "/outbox/7/folder/").status, 201);
    std::filesystem::create_directory_symlink(folder.path("elsewhere"), folder.path("data/outbox/7/link"));
    for (const char* target : {"/outbox/7/file/a", "/outbox/7/file/", "/outbox/7/folder", "/outbox/7/link/a"}) {
        const Response response = request("PUT", target);
        EXPECT_EQ(response.status, 409) << target;
        EXPECT_NE(response.body.find(R"("code":"InTheWay")"), std::string::npos) << response.body;
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("elsewhere")));
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("data/incoming")));
}

TEST_F(APush, LeavesNoFileWhenItIsAborted) {
    Request request;
    request.method = "PUT";
    request.target = "/outbox/7/a";
    WebApplication application(*state);
    {
        const auto exchange = application.begin(request);
        exchange->receive("half");
        EXPECT_FALSE(std::filesystem::is_empty(folder.path("data/incoming")));
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("data/incoming")));
    EXPECT_EQ(acknowledgeAll("7"), Names());
}

TEST_F(APush, ShowsInTheCounts) {
    EXPECT_EQ(request("GET", "/status").body, R"({"pending":0,"acknowledged":0,"withdrawn":0})");
    folder.write("data/outbox/7/a", "x");
    folder.write("data/outbox/7/b", "x");
    folder.write("data/outbox/8/a", "x");
    EXPECT_EQ(take("7"), "\\a");
    folder.remove("data/outbox/8/a");
    EXPECT_EQ(request("GET", "/status").body, R"({"pending":1,"acknowledged":1,"withdrawn":1})");
    EXPECT_EQ(request("GET", "/status?computer=7").body, R"({"pending":1,"acknowledged":1,"withdrawn":0})");
    EXPECT_EQ(request("GET", "/status?computer=9").body, R"({"pending":0,"acknowledged":0,"withdrawn":0})");
}

TEST_F(APush, ThatFailsReportsTheReason) {
    EXPECT_EQ(request("PUT", "/outbox/7/file", "x").status, 201);
    EXPECT_EQ(request("PUT", "/outbox/7/folder/").status, 201);
    const std::string outbox = folder.path("data/outbox").string();
    const auto error = [this](std::string_view target, std::string_view body = "") {
        const boost::json::value json = boost::json::parse(request("PUT", target, body).body);
        return std::string(json.at("error").at("code").as_string()) + ": " +
               std::string(json.at("error").at("message").as_string());
    };
    EXPECT_EQ(error("/outbox/7/file/a"),
              "InTheWay: cannot make the folders of " + outbox + "/7/file/a: Not a directory");
    EXPECT_EQ(error("/outbox/7/file/"), "InTheWay: cannot make the folder " + outbox + "/7/file: File exists");
    EXPECT_EQ(error("/outbox/7/folder"), "InTheWay: cannot place " + outbox + "/7/folder: Is a directory");
    EXPECT_EQ(error("/outbox/7/folder/", "x"), "BadPath: a folder has no body");
    EXPECT_EQ(error("/outbox/7"), "BadPath: the path is /outbox/COMPUTER/ and the item's path");
    EXPECT_EQ(error("/outbox/7/../a"), "BadPath: a part of the path is empty, \".\", \"..\", not UTF-8, or has a "
                                       "slash, a backslash or a control character");
    const std::string longName(256, 'n');
    EXPECT_EQ(error("/outbox/7/" + longName),
              "BadPath: cannot place " + outbox + "/7/" + longName + ": File name too long");
}

} // namespace webservice::test
