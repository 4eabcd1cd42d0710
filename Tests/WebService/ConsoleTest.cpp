// The console's page and interface, on the wire.

#include "Support/HttpClient.h"
#include "Support/ServedState.h"
#include "Support/SlowClients.h"
#include "Support/Waiting.h"

#include <boost/json.hpp>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace webservice::test {

namespace {

class TheConsole : public ::testing::Test {
protected:
    HttpResponse exchange(std::string_view method, std::string_view target, std::string_view body = "") {
        return client.exchange(method, target, body);
    }

    boost::json::value json(std::string_view method, std::string_view target, int status = 200) {
        const HttpResponse response = exchange(method, target);
        EXPECT_EQ(response.status, status) << method << ' ' << target << ' ' << response.body;
        EXPECT_EQ(response.headers.at("Content-Type"), "application/json");
        return boost::json::parse(response.body);
    }

    /// The code of a refusal.
    std::string refusal(std::string_view method, std::string_view target, int status) {
        return std::string(json(method, target, status).at("error").at("code").as_string());
    }

    /// The values of a member of each entry of a list, as JSON.
    std::string all(std::string_view target, std::string_view list, std::string_view member) {
        std::string values;
        const boost::json::value page = json("GET", target);
        for (const boost::json::value& entry : page.at(list).as_array())
            values += boost::json::serialize(entry.at(member)) + ' ';
        return values;
    }

    void push(std::string_view path, std::string_view content = "content") {
        EXPECT_EQ(exchange("PUT", "/outbox/" + std::string(path), content).status, 201) << path;
    }

    std::string call(std::string_view operation, std::string_view body) { return client.post(operation, body).body; }

    ServedState served;
    HttpClient client{served.port()};
};

/// A connection that reads the events.
class EventClient {
public:
    explicit EventClient(std::uint16_t port) : client_(port) {
        client_.send("GET /api/events HTTP/1.1\r\nHost: localhost\r\n\r\n");
    }

    /// Everything up to the text, which it ends with.
    std::string receiveTo(std::string_view text) {
        std::size_t end = received_.find(text);
        while (end == std::string::npos) {
            const std::string piece = client_.receiveSome(65536);
            received_ += piece;
            if (piece.empty() || received_.size() > 1 << 20)
                throw std::runtime_error("the events do not have " + std::string(text) + ": " + received_);
            end = received_.find(text);
        }
        const std::string taken = received_.substr(0, end + text.size());
        received_.erase(0, taken.size());
        return taken;
    }

    void reset() { client_.reset(); }

private:
    HttpClient client_;
    std::string received_;
};

} // namespace

TEST_F(TheConsole, SaysWhatItIs) {
    const boost::json::value service = json("GET", "/api/service");
    EXPECT_EQ(service.at("address").as_string(), "http://localhost");
    EXPECT_EQ(service.at("computers"), 0);
    EXPECT_EQ(service.at("users"), 0);
    EXPECT_EQ(service.at("started").as_string().size(), 24U);
}

TEST_F(TheConsole, ListsComputersThatAreRegisteredOrHaveAQueue) {
    call("Registration.svc/VerifyAndRegisterUserFromTool", R"({"MailID":"ann@example.org","Password":"a"})");
    call("Registration.svc/RegisterComputer", R"({"UserID":"1","QuenmarkPath":"home"})");
    call("Registration.svc/RegisterComputer", R"({"UserID":"1","QuenmarkPath":"work"})");
    push("2/a");
    push("02/a");
    push("%C3%BC%20/a");
    EXPECT_EQ(all("/api/computers", "computers", "computer"), "\"2\" \"3\" \"02\" \"\xc3\xbc \" ");
    EXPECT_EQ(all("/api/computers", "computers", "pending"), "1 0 1 1 ");
    std::string paged;
    std::string after = "0";
    bool isLast = false;
    for (int pages = 0; !isLast && pages < 10; ++pages) {
        const boost::json::value page = json("GET", "/api/computers?limit=1&after=" + after);
        if (!page.at("computers").as_array().empty())
            paged += boost::json::serialize(page.at("computers").at(0).at("computer")) + ' ';
        const boost::json::value& next = page.at("next");
        isLast = next.is_null();
        after = next.is_string() ? "queue:" : boost::json::serialize(next);
        if (next.is_string())
            after += next.as_string().find(' ') == std::string::npos ? "02" : "%C3%BC%20";
    }
    EXPECT_TRUE(isLast);
    EXPECT_EQ(paged, "\"2\" \"3\" \"02\" \"\xc3\xbc \" ");
    const boost::json::value first = json("GET", "/api/computers?limit=1").at("computers").at(0);
    EXPECT_EQ(boost::json::serialize(first),
              R"({"computer":"2","user":1,"mail":"ann@example.org","folder":"home","version":null,"lastSeen":null,)"
              R"("pending":1,"streaming":0,"acknowledged":0,"withdrawn":0})");
}

TEST_F(TheConsole, ListsItemsByComputerAndState) {
    push("7/a", "12345");
    push("8/Docs/b");
    call("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":"1"})");
    EXPECT_EQ(boost::json::serialize(json("GET", "/api/items?computer=7")),
              R"({"items":[{"id":1,"computer":"7","name":"\\a","isFile":true,"size":5,"state":"acknowledged",)"
              R"("bytes":null,"bytesPerSecond":null}],"next":null})");
    EXPECT_EQ(all("/api/items?state=pending", "items", "id"), "2 3 ");
    EXPECT_EQ(all("/api/items?state=pending&limit=1", "items", "id"), "2 ");
    EXPECT_EQ(json("GET", "/api/items?state=pending&limit=1").at("next"), 2);
    EXPECT_EQ(all("/api/items?state=pending&limit=1&after=2", "items", "id"), "3 ");
    EXPECT_EQ(all("/api/items?state=streaming", "items", "id"), "");
    EXPECT_EQ(all("/api/items?after=9223372036854775807", "items", "id"), "");
}

TEST_F(TheConsole, ShowsADownloadWhileItIsSent) {
    push("7/a", std::string(8 << 20, 'x'));
    HttpClient downloading(served.port());
    const std::string body = R"({"ToComputerID":"7"})";
    downloading.send("POST /QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream HTTP/1.1\r\nHost: localhost\r\n"
                     "Content-Length: " +
                     std::to_string(body.size()) + "\r\n\r\n" + body);
    const std::string begun = downloading.receiveSome(1000);
    EXPECT_EQ(begun.substr(0, 12), "HTTP/1.1 200");
    boost::json::value streams;
    ASSERT_TRUE(pollUntil([&] {
        streams = json("GET", "/api/streams");
        return streams.at("streams").as_array().size() != 1 || streams.at("streams").at(0).at("bytes") != 0;
    }));
    ASSERT_EQ(streams.at("streams").as_array().size(), 1U);
    const boost::json::value& stream = streams.at("streams").at(0);
    EXPECT_EQ(stream.at("item"), 1);
    EXPECT_EQ(stream.at("computer").as_string(), "7");
    EXPECT_EQ(stream.at("name").as_string(), "\\a");
    EXPECT_EQ(stream.at("total"), 8 << 20);
    EXPECT_LT(stream.at("bytes").to_number<std::int64_t>(), 8 << 20);
    EXPECT_EQ(all("/api/items?state=streaming", "items", "state"), "\"streaming\" ");
    EXPECT_EQ(all("/api/computers", "computers", "streaming"), "1 ");
    EXPECT_EQ(all("/api/computers", "computers", "pending"), "1 ");
    downloading.reset();
    EXPECT_TRUE(pollUntil([&] { return json("GET", "/api/streams").at("streams").as_array().empty(); }));
    EXPECT_EQ(all("/api/items", "items", "state"), "\"pending\" ");
    EXPECT_EQ(all("/api/requests?limit=1", "requests", "complete"), "false ");
}

TEST_F(TheConsole, WithdrawsAPendingItemAndItsFile) {
    push("7/a");
    push("7/Docs/", "");
    push("7/More/b");
    EXPECT_EQ(exchange("POST", "/api/items/1/withdraw").body, "{}");
    EXPECT_EQ(exchange("POST", "/api/items/2/withdraw").body, "{}");
    EXPECT_EQ(exchange("POST", "/api/items/3/withdraw").body, "{}");
    EXPECT_FALSE(std::filesystem::exists(served.folder.path("data/outbox/7/a")));
    EXPECT_FALSE(std::filesystem::exists(served.folder.path("data/outbox/7/Docs")));
    EXPECT_TRUE(std::filesystem::exists(served.folder.path("data/outbox/7/More/b")));
    EXPECT_EQ(all("/api/items", "items", "state"), R"("withdrawn" "withdrawn" "withdrawn" "pending" )");
    EXPECT_EQ(refusal("POST", "/api/items/1/withdraw", 409), "NotPending");
    for (const char* none : {"0", "5", "-1", "x", "1e0", "9223372036854775808", "%31%00", "%20"})
        EXPECT_EQ(refusal("POST", "/api/items/" + std::string(none) + "/withdraw", 404), "UnknownItem") << none;
    EXPECT_EQ(refusal("POST", "/api/items/%ff/withdraw", 400), "BadPath");
    EXPECT_EQ(refusal("POST", "/api/items//withdraw", 404), "UnknownPath");
    EXPECT_EQ(refusal("GET", "/api/items/1/withdraw", 405), "WrongMethod");
}

TEST_F(TheConsole, OffersAnItemAgainWhereItsContentIsThere) {
    push("7/a", "12345");
    EXPECT_EQ(refusal("POST", "/api/items/1/offer", 409), "AlreadyPending");
    call("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":"1"})");
    EXPECT_EQ(exchange("POST", "/api/items/1/offer").body, R"({"id":2})");
    EXPECT_EQ(refusal("POST", "/api/items/1/offer", 409), "AlreadyPending");
    EXPECT_EQ(all("/api/items", "items", "state"), R"("acknowledged" "pending" )");
    EXPECT_EQ(all("/api/items", "items", "size"), "null 5 ");
    EXPECT_NE(call("Uploads.svc/GetTopFileUpload", R"({"ToComputerID":"7"})").find(R"("FileUploadID":"2")"),
              std::string::npos);
    EXPECT_EQ(exchange("POST", "/api/items/2/withdraw").status, 200);
    EXPECT_EQ(refusal("POST", "/api/items/2/offer", 409), "NoContent");
    EXPECT_EQ(refusal("POST", "/api/items/1/offer", 409), "NoContent");
    push("7/a");
    call("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":"3"})");
    std::filesystem::remove(served.folder.path("data/outbox/7/a"));
    EXPECT_EQ(refusal("POST", "/api/items/3/offer", 409), "NoContent");
    EXPECT_EQ(refusal("POST", "/api/items/9/offer", 404), "UnknownItem");
}

TEST_F(TheConsole, ClearsTheQueueOfAComputer) {
    for (const char* path : {"7/Docs/Deep/a", "7/b", "7/c", "8/d"})
        push(path);
    call("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":"4"})");
    EXPECT_EQ(exchange("POST", "/api/computers/7/clear").body, R"({"withdrawn":4})");
    EXPECT_EQ(exchange("POST", "/api/computers/7/clear").body, R"({"withdrawn":0})");
    EXPECT_EQ(all("/api/items?state=pending", "items", "computer"), R"("8" )");
    std::string left;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(served.folder.path("data/outbox/7")))
        left += entry.path().filename().string() + ' ';
    EXPECT_EQ(left, "b ") << "which was acknowledged";
}

TEST_F(TheConsole, ListsTheTables) {
    call("Registration.svc/VerifyAndRegisterUserFromTool",
         R"({"MailID":"ann@example.org","Password":"a","NickName":"annie"})");
    call("Registration.svc/RegisterComputer", R"({"UserID":"1","QuenmarkPath":"home"})");
    call("Registration.svc/RegisterComputer", R"({"UserID":"1","QuenmarkPath":"work"})");
    call("Registration.svc/SendActivationMail", R"({"MailID":"ann@example.org","UserID":"1"})");
    call("MAC/ErrorLog.svc/LogError", R"({"ErrorMessage":"E","ComputerID":"2"})");
    call("SyncFileChanges.svc/SyncFilesInTableAndCloud",
         R"([{"ComputerID":"2","ChangeType":"Created","FullPath":"a","FileSize":"12"},)"
         R"({"ComputerID":"3","ChangeType":"Created","FullPath":"b"}])");
    EXPECT_EQ(boost::json::serialize(json("GET", "/api/users")),
              R"({"users":[{"id":1,"mail":"ann@example.org","firstName":null,"lastName":null,"nickName":"annie",)"
              R"("activated":false}],"next":null})");
    EXPECT_EQ(all("/api/mails", "mails", "subject"), "\"Activate your account\" ");
    EXPECT_EQ(all("/api/errors", "errors", "message"), "\"E\" ");
    EXPECT_EQ(all("/api/files", "files", "path"), R"("a" "b" )");
    EXPECT_EQ(all("/api/files?computer=3", "files", "computer"), "\"3\" ");
    EXPECT_EQ(all("/api/files?computer=x", "files", "computer"), "");
    EXPECT_EQ(all("/api/files?limit=1", "files", "path"), "\"a\" ");
    EXPECT_EQ(json("GET", "/api/files?limit=1").at("next"), 1);
    EXPECT_EQ(all("/api/files?limit=1&after=1", "files", "path"), "\"b\" ");
    EXPECT_EQ(all("/api/file-requests", "fileRequests", "state"), R"("waiting" "waiting" )");
    EXPECT_EQ(all("/api/transfers", "transfers", "id"), "");
}

TEST_F(TheConsole, RefusesAQueryThatMakesNoSense) {
    for (const char* target :
         {"/api/items?limit=0", "/api/items?limit=1001", "/api/items?limit=-1", "/api/items?limit=x",
          "/api/items?after=", "/api/items?after=9223372036854775808", "/api/items?state=lost", "/api/items?computer=%",
          "/api/items?computer=%ff", "/api/requests?search=%zz", "/api/computers?after=x", "/api/requests?after=x"})
        EXPECT_EQ(refusal("GET", target, 400), "BadQuery") << target;
    EXPECT_EQ(refusal("GET", "/api/requests?search=" + std::string(257, 'x'), 400), "BadQuery");
    EXPECT_EQ(refusal("GET", "/api/", 404), "UnknownPath");
    EXPECT_EQ(refusal("GET", "/api/nothing", 404), "UnknownPath");
    EXPECT_EQ(exchange("POST", "/api/reset", std::string(65537, 'x')).status, 413);
}

TEST_F(TheConsole, StartsAnewWhenItIsReset) {
    push("7/Docs/a");
    call("Registration.svc/VerifyAndRegisterUserFromTool", R"({"MailID":"ann@example.org","Password":"a"})");
    call("Registration.svc/RegisterComputer", R"({"UserID":"1","QuenmarkPath":"home"})");
    call("SyncFileChanges.svc/SyncFilesInTableAndCloud",
         R"([{"ComputerID":"2","ChangeType":"Created","FullPath":"a"}])");
    client.exchange("POST", "/QuenmarkRestService/Downloads.svc/UpdateFileRequestWithStream", "content",
                    "FilePath: a\r\nFileRequestID: 1\r\nTransitDownloadPath: x\r\n");
    EXPECT_TRUE(std::filesystem::exists(served.folder.path("data/cloud/1")));
    exchange("PUT", "/faults", R"({"faults":[{"action":{"kind":"status","code":500,"body":""}}]})");
    EXPECT_EQ(exchange("POST", "/api/reset").body, "{}");
    for (const char* list : {"items", "computers", "requests", "users", "files", "transfers", "mails", "errors"})
        EXPECT_EQ(all("/api/" + std::string(list), list, "id"), "") << list;
    EXPECT_EQ(exchange("GET", "/faults").body, R"({"faults":[]})");
    for (const char* left : {"data/outbox", "data/cloud", "data/incoming"})
        EXPECT_TRUE(std::filesystem::is_empty(served.folder.path(left))) << left;
    push("7/b");
    EXPECT_EQ(all("/api/items", "items", "name"), R"("\\b" )");
}

TEST_F(TheConsole, AssignsNoIdentifierAgainAfterAReset) {
    const auto report = [this](const char* computer) {
        call("SyncFileChanges.svc/SyncFilesInTableAndCloud",
             R"([{"ChangeType":"Created","FullPath":"a","ComputerID":")" + std::string(computer) + "\"}]");
    };
    const auto registerComputer = [this](const char* user) {
        return call("Registration.svc/RegisterComputer",
                    R"({"QuenmarkPath":"home","UserID":")" + std::string(user) + "\"}");
    };
    constexpr const char* ann = R"({"MailID":"ann@example.org","Password":"a"})";
    call("Registration.svc/VerifyAndRegisterUserFromTool", ann);
    registerComputer("1");
    report("2");
    push("7/b");
    EXPECT_EQ(exchange("POST", "/api/reset").body, "{}");
    EXPECT_NE(registerComputer("1").find("UnknownUser"), std::string::npos);
    EXPECT_EQ(call("Registration.svc/VerifyAndRegisterUserFromTool", ann),
              R"({"ReturnStatus":"0","ReturnVal":"Registered","UserID":"2","CloudComputerID":"3","error":null})");
    EXPECT_NE(registerComputer("2").find(R"("ComputerID":"4")"), std::string::npos);
    report("4");
    push("7/b");
    EXPECT_EQ(all("/api/files", "files", "id"), "2 ");
    EXPECT_EQ(all("/api/file-requests", "fileRequests", "id"), "2 ");
    EXPECT_EQ(all("/api/items", "items", "id"), "2 ");
    EXPECT_NE(call("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":"1"})").find("UnknownUpload"), std::string::npos);
    EXPECT_NE(call("Downloads.svc/UpdateFileRequest", R"({"FileRequestID":"1"})").find("UnknownRequest"),
              std::string::npos);
}

TEST_F(TheConsole, MixesNoBytesOfBeforeAResetIntoADownload) {
    const auto statusFrom = [this](const char* body) {
        return client.post("Uploads.svc/GetTopFileUploadWithStream", body).headers.at("ReturnStatus");
    };
    push("7/a");
    EXPECT_EQ(statusFrom(R"({"ToComputerID":"7","Length":"2"})"), "0");
    EXPECT_EQ(exchange("POST", "/api/reset").body, "{}");
    push("7/b", "another");
    EXPECT_EQ(statusFrom(R"({"ToComputerID":"7","Length":"2"})"), "2");
    EXPECT_EQ(statusFrom(R"({"ToComputerID":"7"})"), "0");
    EXPECT_EQ(statusFrom(R"({"ToComputerID":"7","Length":"2"})"), "0");
}

TEST_F(TheConsole, TellsItsReadersWhatHappens) {
    EventClient events(served.port());
    const std::string begin = events.receiveTo("\n\n");
    EXPECT_NE(begin.find("\r\n\r\nevent: hello\ndata: {\"version\":\"\"}\n\n"), std::string::npos) << begin;
    EXPECT_NE(begin.find("Content-Type: text/event-stream\r\n"), std::string::npos) << begin;
    EXPECT_EQ(begin.find("Content-Length"), std::string::npos) << begin;
    exchange("GET", "/api/service");
    push("7/a");
    const std::string first = events.receiveTo("event: request\ndata: ");
    EXPECT_EQ(first.find("/api/service"), std::string::npos) << first;
    const boost::json::value request = boost::json::parse(events.receiveTo("\n"));
    EXPECT_EQ(request.at("path").as_string(), "/outbox/7/a");
    EXPECT_EQ(request.at("computer").as_string(), "7");
    exchange("DELETE", "/api/requests");
    events.receiveTo("event: forgotten\ndata: {}\n\n");
    exchange("POST", "/api/reset");
    events.receiveTo("event: reset\ndata: {}\n\n");
}

TEST_F(TheConsole, ServesSixteenReadersAndForgetsThoseThatLeave) {
    std::vector<std::unique_ptr<EventClient>> readers;
    for (int i = 0; i < 16; ++i) {
        readers.push_back(std::make_unique<EventClient>(served.port()));
        readers.back()->receiveTo("event: hello");
    }
    EXPECT_EQ(refusal("GET", "/api/events", 503), "Busy");
    readers.back()->reset();
    readers.pop_back();
    readers.pop_back(); // closes its connection
    // The server hears of the reset in a turn of its own.
    std::vector<std::unique_ptr<HttpClient>> later;
    EXPECT_TRUE(pollUntil([&] {
        auto attempt = std::make_unique<HttpClient>(served.port());
        attempt->send("GET /api/events HTTP/1.1\r\nHost: localhost\r\n\r\n");
        if (attempt->receiveSome(12) == "HTTP/1.1 200")
            later.push_back(std::move(attempt));
        return later.size() == 2;
    }));
}

TEST_F(TheConsole, IsNotHeldUpByAReaderThatNeverReads) {
    const SlowClients idle(served.port(), 16, "GET /api/events HTTP/1.1\r\nHost: localhost\r\n\r\n");
    idle.waitForResponses();
    const std::string path = "/" + std::string(4000, 'x');
    for (int i = 0; i < 300; ++i) // more than waits for a reader and fits into the kernel
        ASSERT_EQ(exchange("GET", path).status, 404);
    EXPECT_EQ(refusal("GET", "/api/events", 503), "Busy");
}

TEST_F(TheConsole, IsLeftAloneByTheFaultPlan) {
    exchange("PUT", "/faults", R"({"faults":[{"action":{"kind":"status","code":500,"body":""}}]})");
    for (const char* target : {"/", "/api/service", "/api/items", "/api/requests", "/api/openapi.json"})
        EXPECT_EQ(exchange("GET", target).status, 200) << target;
    EXPECT_NE(exchange("GET", "/faults").body.find(R"("seen":0,"applied":0)"), std::string::npos);
    EXPECT_EQ(client.post("Uploads.svc/GetTopFileUpload", R"({"ToComputerID":"7"})").status, 500);
    EXPECT_EQ(all("/api/requests?limit=2", "requests", "fault"), "0 null ");
}

TEST_F(TheConsole, ShowsRequestsWithoutTheFolderOfTheState) {
    exchange("GET", "/status");
    std::filesystem::remove_all(served.folder.path("data"));
    EXPECT_EQ(refusal("GET", "/api/items", 500), "InternalError");
    HttpClient another(served.port());
    EXPECT_EQ(another.exchange("GET", "/", "").status, 200);
    EXPECT_EQ(another.exchange("GET", "/api/streams", "").status, 200);
    const HttpResponse requests = another.exchange("GET", "/api/requests", "");
    EXPECT_EQ(requests.status, 200);
    EXPECT_NE(requests.body.find("\"path\":\"/status\""), std::string::npos);
    EXPECT_EQ(HttpClient(served.port()).exchange("POST", "/api/reset", "").status, 500);
}

} // namespace webservice::test
