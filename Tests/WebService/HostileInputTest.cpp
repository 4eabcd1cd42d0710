// What broken and hostile clients send.

#include "Support/HttpClient.h"
#include "Support/ServiceProcess.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestState.h"

#include <boost/json.hpp>

#include <csignal>

namespace webservice::test {

namespace {

class AHostileClient : public ::testing::Test {
protected:
    /// The service must still response, and end well.
    void TearDown() override {
        EXPECT_EQ(HttpClient(service.port()).post("Uploads.svc/GetTopFileUpload", R"({"ToComputerID":"7"})").body,
                  R"({"ReturnStatus":"1","error":null})");
        service.signal(SIGTERM);
        EXPECT_EQ(service.exitStatus(), 0) << service.errors();
    }

    TemporaryFolder folder;
    ServiceProcess service{folder.path("data").string()};
};

std::string errorCode(const std::string& body) {
    const std::string mark = R"({"ReturnStatus":"1","error":{"code":")";
    return body.starts_with(mark) ? body.substr(mark.size(), body.find('"', mark.size()) - mark.size()) : body;
}

} // namespace

TEST_F(AHostileClient, GetsAnErrorForABodyThatIsNoRecord) {
    HttpClient client(service.port());
    for (const auto& [body, status, code] :
         {std::tuple("", 400, "NotJson"), std::tuple("x", 400, "NotJson"), std::tuple("{\"a\":", 400, "NotJson"),
          std::tuple("[]", 400, "NotAnObject"), std::tuple("null", 400, "NotAnObject"),
          std::tuple("{}", 200, "MissingKey"), std::tuple(R"({"ToComputerID":[1]})", 200, "WrongType"),
          std::tuple(R"({"ToComputerID":""})", 200, "MissingKey")}) {
        const HttpResponse response = client.post("Uploads.svc/GetTopFileUpload", body);
        EXPECT_EQ(response.status, status) << body;
        EXPECT_EQ(errorCode(response.body), code) << body;
        EXPECT_EQ(response.headers.at("Content-Type"), "application/json");
    }
    EXPECT_EQ(errorCode(client.post("Uploads.svc/GetTopFileUpload", std::string(1'000'000, '[')).body), "NotJson");
}

TEST_F(AHostileClient, GetsAnErrorForAnUnknownPath) {
    HttpClient client(service.port());
    EXPECT_EQ(errorCode(client.post("Uploads.svc/Bogus", "{}").body), "UnknownOperation");
    EXPECT_EQ(client.post("Uploads.svc/Bogus", "{}").status, 404);
    EXPECT_EQ(client.post("uploads.svc/GetTopFileUpload", "{}").status, 404);
    EXPECT_EQ(client.exchange("GET", "/unknown", "").status, 404);
    EXPECT_EQ(client.exchange("GET", "/%zz", "").status, 404);
    const HttpResponse response = client.exchange("GET", "/QuenmarkRestService/Uploads.svc/GetTopFileUpload", "");
    EXPECT_EQ(response.status, 405);
    EXPECT_EQ(response.headers.at("Allow"), "POST");
    EXPECT_EQ(errorCode(response.body), "WrongMethod");
    EXPECT_EQ(client.exchange("POST", "/status", "x").status, 405);
    EXPECT_EQ(client.exchange("GET", "/outbox/7/a", "").status, 405);
}

TEST_F(AHostileClient, GetsAnErrorForABodyThatIsTooLong) {
    HttpClient client(service.port());
    client.send(
        "POST /QuenmarkRestService/Uploads.svc/GetTopFileUpload HTTP/1.1\r\nContent-Length: 999999999999\r\n\r\n");
    const std::string part(1 << 20, ' ');
    for (int i = 0; i < 17; ++i)
        client.send(part);
    const HttpResponse response = client.receive();
    EXPECT_EQ(response.status, 413);
    EXPECT_EQ(response.headers.at("Connection"), "close");
    EXPECT_EQ(errorCode(response.body), "TooLong");
    EXPECT_TRUE(client.isClosedByPeer());
}

TEST_F(AHostileClient, GetsAnErrorForABodyWithoutAnEnd) {
    HttpClient client(service.port());
    client.send(
        "POST /QuenmarkRestService/Uploads.svc/GetTopFileUpload HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n");
    const std::string chunk = "10000\r\n" + std::string(0x10000, ' ') + "\r\n";
    int sent = 0;
    for (; sent < 1000 && !client.hasReceived(); ++sent)
        client.send(chunk);
    EXPECT_LT(sent, 1000);
    const HttpResponse response = client.receive();
    EXPECT_EQ(response.status, 413);
    EXPECT_EQ(errorCode(response.body), "TooLong");
}

TEST_F(AHostileClient, GetsAnErrorForWhatIsNotHttp) {
    for (const auto& [bytes, status] :
         {std::pair("\x16\x03\x01\x02\r\n\r\n", "400"), std::pair("GET / HTTP/3.0\r\n\r\n", "505"),
          std::pair("\r\n\r\nGET / HTTP/1.1\r\n\r\n", "400"), std::pair("GET / HTTP/1.1\nHost: localhost\n\n", "400"),
          std::pair("GET / http/1.1\r\n\r\n", "400"), std::pair("GET / HTTP/1.1 HTTP/1.1\r\n\r\n", "400"),
          std::pair("GET / HTTP/1.11\r\n\r\n", "400"), std::pair("GET / HTTP/1.9\r\n\r\n", "505"),
          std::pair("POST / HTTP/1.1\r\nTransfer-Encoding: gzip\r\n\r\n", "501"),
          std::pair("POST /QuenmarkRestService/Uploads.svc/GetTopFileUpload HTTP/1.1\r\nTransfer-Encoding: "
                    "chunked\r\n\r\nzz\r\n",
                    "400")}) {
        HttpClient client(service.port());
        client.send(bytes);
        const HttpResponse response = client.receive();
        EXPECT_EQ(response.status, std::stoi(status)) << bytes;
        EXPECT_EQ(errorCode(response.body), "BadRequest");
        EXPECT_TRUE(client.isClosedByPeer());
    }
}

/// Framing that two servers in a row could read in two ways (RFC 9112, section 11.2).
TEST_F(AHostileClient, GetsAnErrorForABodyWhoseEndIsNotClear) {
    const std::string body = "14\r\n{\"ToComputerID\":\"7\"}\r\n0\r\n\r\n";
    for (const auto& [fields, status] :
         {std::pair("Content-Length: 5\r\nTransfer-Encoding: chunked", 400),
          std::pair("Transfer-Encoding: chunked\r\nContent-Length: 5", 400),
          std::pair("Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked", 400),
          std::pair("Transfer-Encoding: chunked, identity", 501), std::pair("Transfer-Encoding: xchunked", 501),
          std::pair("Transfer-Encoding:\x0b"
                    "chunked",
                    400),
          std::pair("Content-Length: 3\r\nContent-Length: 20", 400), std::pair("Content-Length: 3, 20", 400),
          std::pair("Content-Length: +20", 400), std::pair("Content-Length: 0x14", 400),
          std::pair("Content-Length: 99999999999999999999", 400), std::pair("Content-Length : 20", 400),
          std::pair("Content-Length\x01: 20", 400), std::pair("A: b\nC: d", 400), std::pair("A: b\rC: d", 400)}) {
        HttpClient client(service.port());
        client.send("POST /QuenmarkRestService/Uploads.svc/GetTopFileUpload HTTP/1.1\r\n" + std::string(fields) +
                    "\r\n\r\n" + body);
        const HttpResponse response = client.receive();
        EXPECT_EQ(response.status, status) << fields;
        EXPECT_EQ(errorCode(response.body), "BadRequest") << fields;
        EXPECT_TRUE(client.isClosedByPeer()) << fields;
    }
}

TEST_F(AHostileClient, GetsAnErrorForABodyThatDoesNotEndWhereNoneIsNeeded) {
    for (const char* target : {"/status", "/mails", "/openapi.json", "/", "/api/computers"}) {
        HttpClient client(service.port());
        client.send("GET " + std::string(target) + " HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n10001\r\n" +
                    std::string(0x10001, 'x'));
        const HttpResponse response = client.receive();
        EXPECT_EQ(response.status, 413) << target;
        EXPECT_EQ(errorCode(response.body), "TooLong") << target;
        EXPECT_TRUE(client.isClosedByPeer()) << target;
    }
}

/// As a program sends it that takes the service for its proxy (RFC 9112, section 3.2.2).
TEST_F(AHostileClient, MaySendATargetInAbsoluteForm) {
    const auto get = [&](const std::string& target, const std::string& host) {
        HttpClient client(service.port());
        client.send("GET " + target + " HTTP/1.1\r\nHost: " + host + "\r\n\r\n");
        return client.receive();
    };
    const std::string own = "http://" + service.host();
    EXPECT_EQ(get(own + "/status?computer=7", "evil.test").body, R"({"pending":0,"acknowledged":0,"withdrawn":0})");
    EXPECT_EQ(get("HTTPS://localhost/status", "localhost").status, 200);
    EXPECT_EQ(get(own, "localhost").headers.at("Content-Type"), "text/html; charset=utf-8");
    EXPECT_EQ(get(own + "?x=1", "localhost").headers.at("Content-Type"), "text/html; charset=utf-8");
    for (const char* target : {"http://evil.test/status", "http://evil.test@127.0.0.1/status", "http:///status"})
        EXPECT_EQ(get(target, service.host()).status, 403) << target;
    EXPECT_EQ(get("ftp://127.0.0.1/status", service.host()).status, 404);
}

TEST_F(AHostileClient, GetsAnErrorForHeadersThatAreTooLong) {
    HttpClient client(service.port());
    client.send("GET / HTTP/1.1\r\nA: " + std::string(70'000, 'a'));
    EXPECT_EQ(client.receive().status, 431);
    EXPECT_TRUE(client.isClosedByPeer());
}

TEST_F(AHostileClient, MayDisconnectAtAnyPoint) {
    folder.write("data/outbox/8/big", std::string(20'000'000, 'x'));
    const std::string request = "POST /QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream HTTP/1.1\r\n"
                                "Content-Length: 33\r\n\r\n{\"ToComputerID\":\"8\",\"Length\":\"0\"}";
    for (std::size_t length = 0; length <= request.size(); length += 7) {
        HttpClient client(service.port());
        client.send(std::string_view(request).substr(0, length));
        client.reset();
    }
    HttpClient reader(service.port());
    reader.send(request);
    reader.receiveSome(100);
    reader.reset();
    HttpClient pusher(service.port());
    pusher.send("PUT /outbox/8/half HTTP/1.1\r\nContent-Length: 1000\r\n\r\nhalf");
    pusher.reset();
    HttpClient other(service.port());
    EXPECT_EQ(other.exchange("GET", "/status?computer=8", "").body, R"({"pending":1,"acknowledged":0,"withdrawn":0})");
}

TEST_F(AHostileClient, MaySendOneByteAtATimeOrManyRequestsAtOnce) {
    const std::string request = "\r\nPOST /QuenmarkRestService/Uploads.svc/GetTopFileUpload HTTP/1.1\r\n"
                                "Transfer-Encoding: chunked\r\n\r\n14\r\n{\"ToComputerID\":\"7\"}\r\n0\r\n\r\n";
    HttpClient slow(service.port());
    for (const char byte : request)
        slow.send(std::string_view(&byte, 1));
    EXPECT_EQ(slow.receive().body, R"({"ReturnStatus":"1","error":null})");
    std::string many;
    for (int i = 0; i < 500; ++i)
        many += request;
    HttpClient eager(service.port());
    eager.send(many);
    for (int i = 0; i < 500; ++i)
        EXPECT_EQ(eager.receive().body, R"({"ReturnStatus":"1","error":null})");
}

TEST_F(AHostileClient, CannotForgeLinesOfTheLogOrHeader) {
    HttpClient client(service.port());
    client.post("MAC/ErrorLog.svc/LogError", R"({"ErrorMessage":"x\n2020-01-01 forged\u001b[31m"})");
    EXPECT_NE(service.errors().find(R"(x\x0a2020-01-01 forged\x1b[31m)"), std::string::npos) << service.errors();
}

TEST_F(AHostileClient, GetsAMessageThatNamesTheError) {
    const std::string get = "GET / HTTP/1.1\r\n";
    const std::string unknown = "POST /unknown HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n1;";
    const std::vector<std::pair<std::string, std::string>> responses = {
        {get + "Expect: miracles\r\n\r\n", "417 the only expectation met here is 100-continue"},
        {get + "Transfer-Encoding: gzip\r\n\r\n", "501 the only Transfer-Encoding known here is chunked"},
        {get + "no colon\r\n\r\n", "400 bad field"},
        {"GET / HTTP/3.0\r\n\r\n", "505 bad version"},
        {get + "A: " + std::string(70'000, 'a'), "431 header limit exceeded"},
        {unknown + std::string(70'000, 'a'), "404 there is nothing at this path"}};
    for (const auto& [bytes, expected] : responses) {
        HttpClient client(service.port());
        client.send(bytes);
        const HttpResponse response = client.receive();
        const boost::json::value body = boost::json::parse(response.body);
        EXPECT_EQ(std::to_string(response.status) + ' ' + std::string(body.at("error").at("message").as_string()),
                  expected);
    }
}

} // namespace webservice::test
