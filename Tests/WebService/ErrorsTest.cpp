// What errors say, in responses and in exceptions.

#include "Support/TwoUsers.h"

#include <boost/json.hpp>

#include <filesystem>
#include <regex>

namespace webservice::test {

namespace {

class AnError : public WithTwoUsers {
protected:
    /// Status, code and message of the response to a request.
    std::string of(std::string_view method, std::string_view target, std::string_view body = "",
                   std::vector<std::pair<std::string, std::string>> headers = {}) {
        const Response response = request(method, target, body, std::move(headers));
        const boost::json::value json = boost::json::parse(response.body);
        return std::to_string(response.status) + ' ' + std::string(json.at("error").at("code").as_string()) + ": " +
               std::string(json.at("error").at("message").as_string());
    }

    std::string ofOperation(std::string_view operation, std::string_view json) {
        return of("POST", "/QuenmarkRestService/" + std::string(operation), json);
    }
};

} // namespace

TEST_F(AnError, NamesWhatIsWrongWithTheRequest) {
    EXPECT_EQ(of("GET", "/outbox/7/a"), "405 WrongMethod: this path is for PUT");
    EXPECT_EQ(of("PUT", "/status"), "405 WrongMethod: this path is for GET");
    EXPECT_EQ(of("GET", "/QuenmarkRestService/MAC/ErrorLog.svc/LogError"), "405 WrongMethod: this path is for POST");
    EXPECT_EQ(header(request("PUT", "/status"), "Allow"), "GET");
    EXPECT_EQ(of("GET", "/nowhere"), "404 UnknownPath: there is nothing at this path");
    EXPECT_EQ(of("GET", "/activate?code=x"), "404 UnknownCode: there is no user with this code");
    EXPECT_EQ(of("GET", "/status", "", {{"Host", "evil.test"}}),
              "403 WrongOrigin: the Host of the request is not this service");
    EXPECT_EQ(of("GET", "/status", "", {{"Host", "localhost"}, {"Origin", "null"}}),
              "403 WrongOrigin: the Origin of the request is not this service");
}

TEST_F(AnError, NamesWhatIsWrongWithTheBody) {
    constexpr const char* logError = "MAC/ErrorLog.svc/LogError";
    EXPECT_EQ(ofOperation(logError, "{"), "400 NotJson: the body is not JSON: incomplete JSON at byte 1");
    EXPECT_EQ(ofOperation(logError, "[]"), "400 NotAnObject: the body is not a JSON object");
    EXPECT_EQ(ofOperation(logError, R"({"UserID":[]})"), "200 WrongType: \"UserID\" is not a text");
    EXPECT_EQ(ofOperation(logError, R"({"UserID":")" + std::string(65'537, 'x') + "\"}"),
              "413 TooLong: \"UserID\" is longer than 64 KiB");
    EXPECT_EQ(ofOperation("SyncFileChanges.svc/SyncFilesInTableAndCloud", "{}"),
              "400 NotAList: the body is not a JSON array");
    EXPECT_EQ(ofOperation("Registration.svc/OneTimeSyncFiles", R"({"ComputerID":"2","AllFiles":[]})"),
              "200 WrongType: \"AllFiles\" is not a text");
    EXPECT_EQ(call("SyncFileChanges.svc/SyncFilesInTableAndCloud", "[1]"),
              R"([{"ReturnStatus":"1","error":{"code":"NotAnObject","message":"a change is not a JSON object"}}])");
}

TEST_F(AnError, OfALostStateSaysWhatToDo) {
    std::filesystem::rename(folder.path("data/state.db"), folder.path("elsewhere.db"));
    try {
        request("GET", "/status");
        FAIL();
    } catch (const StateLost& error) {
        EXPECT_EQ(std::string(error.what()),
                  folder.path("data").string() +
                      " was removed or replaced while the service worked on it; start the service anew");
    }
}

TEST_F(AnError, ThatAClientReportsIsListedWithItsTime) {
    call("MAC/ErrorLog.svc/LogError", R"({"ErrorClass":"C","ErrorMethod":"M","ErrorMessage":"E","ComputerID":"7"})");
    const std::string page = request("GET", "/errors").body;
    const std::string time = "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}Z";
    EXPECT_TRUE(std::regex_match(page, std::regex("\\[\\{\"receivedAt\":\"" + time +
                                                  "\",\"computer\":\"7\",\"user\":null,\"class\":\"C\","
                                                  "\"method\":\"M\",\"message\":\"E\"\\}\\]")))
        << page;
    call("Registration.svc/SendPasswordToMailID", R"({"MailID":"bob@example.org"})");
    const std::string mails = request("GET", "/mails").body;
    EXPECT_TRUE(std::regex_match(mails, std::regex("\\[\\{\"sentAt\":\"" + time +
                                                   "\",\"to\":\"bob@example\\.org\",\"subject\":\"Your password\","
                                                   "\"body\":\"/password\\?code=[0-9a-f]{32}\"\\}\\]")))
        << mails;
}

} // namespace webservice::test
