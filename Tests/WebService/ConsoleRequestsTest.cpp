// The requests that the console shows, and the commands that make them again.

#include "Support/HttpClient.h"
#include "Support/ServedState.h"

#include <boost/json.hpp>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace webservice::test {

namespace {

class ANotedRequest : public ::testing::Test {
protected:
    std::string host() const { return "127.0.0.1:" + std::to_string(served.port()); }

    /// Sends a request with header fields of its own beside its host's, and gives the response's status.
    int send(std::string_view method, std::string_view target, std::string_view body, std::string_view fields = "") {
        HttpClient client(served.port());
        std::string request = std::string(method).append(" ").append(target) + " HTTP/1.1\r\nHost: " + host() + "\r\n";
        request.append(fields).append("Content-Length: ") += std::to_string(body.size()) + "\r\n\r\n";
        client.send(request.append(body));
        return client.receive().status;
    }

    boost::json::value get(std::string_view target) {
        HttpClient client(served.port());
        client.send("GET " + std::string(target) + " HTTP/1.1\r\nHost: " + host() + "\r\n\r\n");
        return boost::json::parse(client.receive().body);
    }

    /// The latest request in full.
    boost::json::value latest() {
        const boost::json::value id = get("/api/requests?limit=1").at("requests").at(0).at("id");
        return get("/api/requests/" + boost::json::serialize(id));
    }

    /// The paths of the requests that a search finds.
    std::string found(std::string_view search) {
        std::string paths;
        const boost::json::value page = get("/api/requests?search=" + std::string(search));
        for (const boost::json::value& entry : page.at("requests").as_array())
            paths.append(entry.at("path").as_string()).append(" ");
        return paths;
    }

    /// What sh(1) writes that runs the script.
    std::string run(const std::string& script) {
        served.folder.write("script", script);
        const std::string command = "sh '" + served.folder.path("script").string() + "' > '" +
                                    served.folder.path("output").string() + "' 2>&1 < /dev/null";
        EXPECT_EQ(std::system(command.c_str()), 0) << script << contentOf(served.folder.path("output"));
        return contentOf(served.folder.path("output"));
    }

    /// The words of the present command of the tool, each with its end, and what it reads.
    std::string wordsOfCall() {
        const boost::json::value call = latest().at("call");
        EXPECT_TRUE(call.is_string());
        return run("quenmark() { for word; do printf '%s|' \"$word\"; done; cat; }\n" +
                   std::string(call.is_string() ? call.as_string() : "false"));
    }

    ServedState served;
};

constexpr const char* pollPath = "/QuenmarkRestService/Uploads.svc/GetTopFileUpload";

} // namespace

TEST_F(ANotedRequest, IsShownWithItsResponse) {
    send("POST", pollPath, R"({"ToComputerID":"7"})", "X-Mark: \xe4\r\n");
    boost::json::value shown = latest();
    EXPECT_EQ(shown.at("method").as_string(), "POST");
    EXPECT_EQ(shown.at("path").as_string(), pollPath);
    EXPECT_EQ(shown.at("operation").as_string(), "Uploads.svc/GetTopFileUpload");
    EXPECT_EQ(shown.at("computer").as_string(), "7");
    EXPECT_EQ(shown.at("status"), 200);
    EXPECT_EQ(shown.at("complete"), true);
    EXPECT_TRUE(shown.at("fault").is_null());
    EXPECT_EQ(shown.at("time").as_string().size(), 24U);
    EXPECT_TRUE(std::string_view(shown.at("peer").as_string()).starts_with("127.0.0.1:"));
    EXPECT_EQ(boost::json::serialize(shown.at("request")),
              R"({"headers":[["Host",")" + host() +
                  R"("],["X-Mark",")"
                  "\xc3\xa4"
                  R"("],["Content-Length","20"]],)"
                  R"("body":"{\"ToComputerID\":\"7\"}","bodySize":20,"bodyKept":20})");
    EXPECT_EQ(boost::json::serialize(shown.at("response")),
              R"({"headers":[["Content-Type","application/json"],["Content-Length","33"]],)"
              R"("body":"{\"ReturnStatus\":\"1\",\"error\":null}","bodySize":33,"bodyKept":33})");
    EXPECT_EQ(shown.at("bytes"), 33 + 71);
}

TEST_F(ANotedRequest, HasNoComputerWhoseNameNoFolderCanHave) {
    for (const std::size_t length : {255U, 256U}) {
        const std::string computer(length, 'x');
        send("POST", pollPath, R"({"ToComputerID":")" + computer + "\"}");
        EXPECT_EQ(latest().at("computer"), length == 255 ? boost::json::value(computer) : boost::json::value());
        send("GET", "/outbox/" + computer + "/a", "");
        EXPECT_EQ(latest().at("computer"), length == 255 ? boost::json::value(computer) : boost::json::value());
    }
}

TEST_F(ANotedRequest, OfTheConsoleIsNotNoted) {
    for (const char* target : {"/", "/console/0/main.js", "/api/items", "/api/nothing"})
        send("GET", target, "");
    EXPECT_EQ(found(""), "");
    send("GET", "/status?computer=7", "");
    EXPECT_EQ(found(""), "/status?computer=7 ");
}

TEST_F(ANotedRequest, OfThePageChangesSomething) {
    constexpr const char* ofThePage = "Quenmark-Console: page\r\n";
    EXPECT_EQ(send("GET", "/faults", "", ofThePage), 200);
    EXPECT_EQ(send("GET", "/status?computer=7", "", ofThePage), 200);
    EXPECT_EQ(found(""), "") << "the page only reads";
    EXPECT_EQ(send("PUT", "/outbox/7/a", "x", ofThePage), 201);
    EXPECT_EQ(send("PUT", "/faults", R"({"faults":[]})", ofThePage), 200);
    EXPECT_EQ(send("GET", "/faults", ""), 200);
    EXPECT_EQ(found(""), "/faults /faults /outbox/7/a ");
}

TEST_F(ANotedRequest, NeedNotBeOneToTellThatThePlanHasChanged) {
    HttpClient reader(served.port());
    reader.send("GET /api/events HTTP/1.1\r\nHost: " + host() + "\r\n\r\n");
    std::string received;
    const auto receiveTo = [&](std::string_view text) {
        while (received.find(text) == std::string::npos) {
            const std::string piece = reader.receiveSome(65536);
            ASSERT_FALSE(piece.empty()) << received;
            received += piece;
        }
    };
    receiveTo("event: hello");
    for (const char* method : {"PUT", "DELETE"}) {
        received.clear();
        EXPECT_EQ(send(method, "/faults", R"({"faults":[]})", "Quenmark-Console: page\r\n"), 200);
        receiveTo(R"(event: changed
data: {"tables":["faults"]})");
    }
}

TEST_F(ANotedRequest, IsFoundByItsPathOperationComputerStatusAndBodies) {
    send("POST", pollPath, R"({"ToComputerID":"Seventeen"})");
    send("PUT", "/outbox/Eight/100%25", "some Content");
    send("GET", "/nothing", "");
    const std::string first = std::string(pollPath) + ' ';
    EXPECT_EQ(found("gettopFILE"), first);
    EXPECT_EQ(found("seventeen"), first);
    EXPECT_EQ(found("EIGHT"), "/outbox/Eight/100%25 ");
    EXPECT_EQ(found("404"), "/nothing ");
    EXPECT_EQ(found("SOME+content"), "/outbox/Eight/100%25 ");
    EXPECT_EQ(found("%25"), "/outbox/Eight/100%25 ");
    EXPECT_EQ(found("%2525"), "/outbox/Eight/100%25 ") << "with a second percent sign, in the response as well";
    EXPECT_EQ(found("UnknownPath"), "/nothing ") << "a response";
    EXPECT_EQ(found("nowhere"), "");
    EXPECT_EQ(found(""), "/nothing /outbox/Eight/100%25 " + first);
}

TEST_F(ANotedRequest, IsPagedFromTheLatestOn) {
    for (const char* target : {"/a", "/b", "/c"})
        send("GET", target, "");
    const boost::json::value page = get("/api/requests?limit=2");
    EXPECT_EQ(page.at("requests").at(0).at("path").as_string(), "/c");
    EXPECT_EQ(page.at("requests").at(1).at("path").as_string(), "/b");
    EXPECT_EQ(page.at("next"), 2);
    const boost::json::value next = get("/api/requests?limit=2&after=2");
    ASSERT_EQ(next.at("requests").as_array().size(), 1U);
    EXPECT_EQ(next.at("requests").at(0).at("path").as_string(), "/a");
    EXPECT_TRUE(next.at("next").is_null());
    EXPECT_EQ(send("DELETE", "/api/requests", ""), 200);
    EXPECT_EQ(found(""), "");
    EXPECT_EQ(get("/api/requests/1").at("error").at("code").as_string(), "UnknownRequest");
}

TEST_F(ANotedRequest, KeepsTheBeginningOfALongBody) {
    send("PUT", "/outbox/7/a", std::string(65535, 'x') + "\xc3\xa4" + std::string(100'000, 'y'));
    const boost::json::value request = latest().at("request");
    EXPECT_EQ(request.at("bodySize"), 165'537);
    EXPECT_EQ(request.at("bodyKept"), 65'535) << "no half of a character is kept";
    EXPECT_EQ(request.at("body").as_string(), std::string(65'535, 'x'));
    EXPECT_TRUE(std::string_view(latest().at("curl").as_string()).find(" --data-binary @body # ") !=
                std::string_view::npos);
}

TEST_F(ANotedRequest, KeepsNoPartOfACharacterAtTheEndOfALongBody) {
    for (const std::string character : {"\u0800", "\U00010000"}) {
        for (std::size_t kept = 1; kept <= character.size(); ++kept) {
            const std::string begin(65'536 - kept, 'x');
            send("PUT", "/outbox/7/a", begin + character + "y");
            const std::string whole = kept == character.size() ? begin + character : begin;
            EXPECT_EQ(latest().at("request").at("bodyKept"), whole.size()) << kept;
        }
    }
}

TEST_F(ANotedRequest, ShowsABodyThatIsNoTextAsNone) {
    for (const std::string& body : {std::string("\xff"), std::string("a\0b", 3)}) {
        send("PUT", "/outbox/7/a", body);
        const boost::json::value request = latest().at("request");
        EXPECT_TRUE(request.at("body").is_null());
        EXPECT_EQ(request.at("bodySize"), body.size());
    }
    send("POST", "/QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream", R"({"ToComputerID":"7"})");
    const boost::json::value response = latest().at("response");
    EXPECT_TRUE(response.at("body").is_null()) << "the content of a file is not kept";
    EXPECT_EQ(response.at("bodySize"), 3);
    EXPECT_EQ(response.at("bodyKept"), 0);
}

TEST_F(ANotedRequest, ThatIsMalformedIsShownAsFarAsItWasUnderstood) {
    HttpClient client(served.port());
    client.send("GET /there HTTP/1.1\r\nHost : x\r\n\r\n");
    EXPECT_EQ(client.receive().status, 400);
    const boost::json::value shown = latest();
    EXPECT_EQ(shown.at("status"), 400);
    EXPECT_EQ(shown.at("path").as_string(), "/there");
}

TEST_F(ANotedRequest, IsMadeAgainByCurlByteForByte) {
    std::string allBytes;
    for (int byte = 0; byte < 256; ++byte)
        allBytes += static_cast<char>(byte);
    const std::vector<std::string> bodies = {
        "it's \"quoted\" $HOME `id` \\n $(id) !! %s %% \\0101",
        "@/etc/passwd",
        "line\nfeed\n",
        "\n",
        "'",
        "\xc3\xa4\xe2\x82\xac",
        "carriage\r\nreturn\tand\x1b[31mescape",
        allBytes + "\n",
        "",
    };
    const std::string path = served.folder.path("data/outbox/7/a").string();
    for (const std::string& body : bodies) {
        EXPECT_EQ(
            send("PUT", "/outbox/7/a", body, "X-Odd: a'b\"c $d `e` \xff\r\nX-Empty: \r\nContent-Type: text/x\r\n"),
            201);
        const boost::json::value first = latest();
        std::filesystem::remove(path);
        run(std::string(first.at("curl").as_string()));
        EXPECT_EQ(contentOf(path), body);
        const boost::json::value second = latest();
        EXPECT_GT(second.at("id").to_number<int>(), first.at("id").to_number<int>());
        EXPECT_EQ(second.at("status"), 201);
        const std::string headers = boost::json::serialize(second.at("request").at("headers"));
        for (const char* field : {R"(["X-Odd","a'b\"c $d `e` )"
                                  "\xc3\xbf"
                                  R"("])",
                                  R"(["X-Empty",""])", R"(["Content-Type","text/x"])"})
            EXPECT_NE(headers.find(field), std::string::npos) << headers;
        EXPECT_EQ(second.at("request").at("headers").as_array().size(),
                  first.at("request").at("headers").as_array().size())
            << headers;
    }
}

TEST_F(ANotedRequest, IsMadeAgainByCurlForTheSameTarget) {
    for (const char* target :
         {"/a/../b?x=1&y='z'", "/[1-3]{a,b}", "/a%20b;c", "/a#b", "/\"$HOME`\\", "*", "/\xc3\xa4"}) {
        for (const char* method : {"GET", "DELETE", "HEAD"}) {
            HttpClient client(served.port());
            client.send(std::string(method) + ' ' + target + " HTTP/1.1\r\nHost: " + host() +
                        "\r\nConnection: close\r\n\r\n");
            client.receiveToEnd();
            const boost::json::value first = latest();
            run(std::string(first.at("curl").as_string()) + " --silent");
            const boost::json::value second = latest();
            EXPECT_GT(second.at("id").to_number<int>(), first.at("id").to_number<int>());
            EXPECT_EQ(second.at("path").as_string(), target) << first.at("curl");
            EXPECT_EQ(second.at("method").as_string(), method) << first.at("curl");
        }
    }
}

TEST_F(ANotedRequest, OfAnOperationIsMadeAgainByTheTool) {
    send("POST", pollPath, R"({"ToComputerID":"7"})");
    EXPECT_EQ(latest().at("call").as_string(), "quenmark call GetTopFileUpload ToComputerID=7");
    send("POST", "/QuenmarkRestService/MAC/ErrorLog.svc/LogError",
         R"({"ErrorMessage":"it's $HOME `id` \\ %s\n--x","ErrorClass":"\u0007\t","ComputerID":""})");
    EXPECT_EQ(wordsOfCall(), "call|LogError|ErrorMessage=it's $HOME `id` \\ %s\n--x|ErrorClass=\a\t|ComputerID=|");
    send("POST", "/QuenmarkRestService/SyncFileChanges.svc/SyncFilesInTableAndCloud",
         R"([{"ComputerID":"2","FullPath":"it's\\n"},{}])");
    EXPECT_EQ(wordsOfCall(), R"(call|SyncFilesInTableAndCloud|--json|-|[{"ComputerID":"2","FullPath":"it's\\n"},{}])");
    send("POST", "/QuenmarkRestService/Registration.svc/VerifyAndRegisterUserFromTool", R"({"MailID":"a@b"})");
    EXPECT_EQ(latest().at("call").as_string(), "quenmark call UserRegistration MailID=a@b");
}

TEST_F(ANotedRequest, ThatTheToolWouldMakeInAnotherWayHasNoCommandOfIt) {
    for (const char* body :
         {"", "x", "[]", R"({"ToComputerID":null})", R"({"ToComputerID":7})", R"({"a=b":"c"})", R"({"-x":"c"})",
          R"({"":"c"})", R"({"a":"b\u0000c"})", R"({"a":"\u0007\n"})", R"({"a":{}})"}) {
        send("POST", pollPath, body);
        EXPECT_TRUE(latest().at("call").is_null()) << body;
    }
    send("GET", "/status", "");
    EXPECT_TRUE(latest().at("call").is_null());
    EXPECT_TRUE(latest().at("computer").is_null());
}

} // namespace webservice::test
