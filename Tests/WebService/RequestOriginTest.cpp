// Which requests come from another site's page in a browser.

#include "WebService/Http/RequestOrigin.h"

#include "Support/HttpClient.h"
#include "Support/ServiceProcess.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace webservice::test {

namespace {

using Fields = std::vector<std::pair<std::string, std::string>>;

bool isRefused(Fields fields, std::string_view listenHost = "127.0.0.1", std::string_view ownAddress = "127.0.0.1") {
    const Request request{.method = "GET", .target = "/", .headers = std::move(fields)};
    return originError(request, listenHost, ownAddress).has_value();
}

} // namespace

TEST(ARequest, WithoutHostAndOriginIsAProgram) {
    EXPECT_FALSE(isRefused({}));
    EXPECT_FALSE(isRefused({{"Accept", "*/*"}}));
}

TEST(ARequest, ForALoopbackHostAtAnyPortIsAccepted) {
    for (const char* host : {"localhost", "LocalHost:8080", "localhost.", "a.localhost:80", "127.0.0.1",
                             "127.8.9.1:8080", "[::1]", "[::1]:8080", "[::ffff:127.0.0.1]", "localhost:"})
        EXPECT_FALSE(isRefused({{"Host", host}}, "192.0.2.1", "192.0.2.1")) << host;
}

TEST(ARequest, ForTheAddressThatTheServerListensOnIsAccepted) {
    EXPECT_FALSE(isRefused({{"Host", "192.0.2.1:8080"}}, "192.0.2.1", "192.0.2.1"));
    EXPECT_FALSE(isRefused({{"Host", "192.0.2.7"}}, "0.0.0.0", "192.0.2.7"));
    EXPECT_FALSE(isRefused({{"Host", "Service.test:8080"}}, "service.test", "192.0.2.7"));
    EXPECT_FALSE(isRefused({{"Host", "[2001:DB8::1]:8080"}}, "2001:db8:0::1", "192.0.2.7"));
    // A client of a server that listens on "[::]" may come by IPv4.
    EXPECT_FALSE(isRefused({{"Host", "192.0.2.7:8080"}}, "::", "::ffff:192.0.2.7"));
    EXPECT_TRUE(isRefused({{"Host", "192.0.2.8:8080"}}, "::", "::ffff:192.0.2.7"));
}

TEST(ARequest, IsRefusedForAnyOtherHost) {
    for (const char* host : {"evil.test", "evil.test:8080", "192.0.2.2", "0.0.0.0", "127.0.0.1.evil.test", "127.1",
                             "localhost.evil.test", "evillocalhost", ".localhost", "", "[::2]", "[::ffff:192.0.2.2]",
                             "localhost:80x", "localhost:80@evil.test", "evil.test/localhost", "[::1", "[::1]x"})
        EXPECT_TRUE(isRefused({{"Host", host}})) << host;
    EXPECT_TRUE(isRefused({{"Host", "localhost"}, {"host", "localhost"}}));
    EXPECT_TRUE(isRefused({{"HOST", "evil.test"}}));
}

TEST(ARequest, IsRefusedForAnyOriginButItsOwnHost) {
    EXPECT_FALSE(isRefused({{"Host", "localhost:8080"}, {"Origin", "http://localhost:8080"}}));
    EXPECT_FALSE(isRefused({{"Host", "localhost:8080"}, {"origin", "http://LOCALHOST:8080"}}));
    for (const char* origin : {"null", "", "http://evil.test", "http://localhost", "http://localhost:3000",
                               "http://127.0.0.1:8080", "https://localhost:8080", "http://localhost:8080/",
                               "http://localhost:8080.evil.test", "http://localhost:8080 http://evil.test"}) {
        EXPECT_TRUE(isRefused({{"Host", "localhost:8080"}, {"Origin", origin}})) << origin;
    }
    EXPECT_TRUE(isRefused({{"Origin", "http://localhost:8080"}}));
    EXPECT_TRUE(isRefused({{"Host", "localhost"}, {"Origin", "http://localhost"}, {"Origin", "null"}}));
}

TEST(ARequest, IsRefusedWhereTheBrowserSaysThatItComesFromAnotherSite) {
    const auto isRefusedFor = [](const std::string& method, const std::string& target, Fields fields) {
        fields.insert(fields.begin(), {"Host", "localhost:8080"});
        const Request request{.method = method, .target = target, .headers = std::move(fields)};
        return originError(request, "127.0.0.1", "127.0.0.1").has_value();
    };
    for (const char* target : {"/", "/api/events", "/password?code=1", "/activate?code=1", "/outbox/7/a"}) {
        for (const char* site : {"same-origin", "none", "None"})
            EXPECT_FALSE(isRefusedFor("GET", target, {{"Sec-Fetch-Site", site}})) << target << site;
        for (const char* site : {"cross-site", "same-site", "Cross-Site", "", "x"})
            EXPECT_TRUE(isRefusedFor("GET", target, {{"Sec-Fetch-Site", site}, {"Sec-Fetch-Mode", "no-cors"}}))
                << target;
        EXPECT_TRUE(isRefusedFor("GET", target, {{"Sec-Fetch-Site", "none"}, {"sec-fetch-site", "cross-site"}}));
    }
    const Fields navigation{{"Sec-Fetch-Site", "cross-site"}, {"Sec-Fetch-Mode", "navigate"}};
    EXPECT_FALSE(isRefusedFor("GET", "/", navigation)) << "a link to the console";
    EXPECT_TRUE(isRefusedFor("POST", "/", navigation));
    EXPECT_TRUE(isRefusedFor("GET", "/password?code=1", navigation));
    EXPECT_TRUE(isRefusedFor("GET", "/?x", navigation));
}

TEST(ARequest, OfAnotherSiteIsRefusedWith403AndDoesNothing) {
    TemporaryFolder folder;
    const ServiceProcess service(folder.path("data").string());
    HttpClient client(service.port());
    const auto put = [&](const std::string& fields) {
        client.send("PUT /outbox/7/a.txt HTTP/1.1\r\n" + fields + "Content-Length: 5\r\n\r\nhello");
        return client.receive();
    };
    for (const std::string& fields :
         {std::string("Host: evil.test\r\n"), "Host: " + service.host() + "\r\nOrigin: http://evil.test\r\n",
          "Host: " + service.host() + "\r\nOrigin: null\r\n",
          "Host: " + service.host() + "\r\nSec-Fetch-Site: cross-site\r\n"}) {
        const HttpResponse response = put(fields);
        EXPECT_EQ(response.status, 403) << fields;
        EXPECT_EQ(response.body.substr(0, 54), R"({"ReturnStatus":"1","error":{"code":"WrongOrigin","mes)");
    }
    for (const std::string request :
         {"GET /", "GET /console/0/main.js", "GET /api/computers", "GET /api/events", "POST /api/reset", "GET /faults",
          "PUT /faults", "DELETE /faults", "GET /status", "GET /mails", "GET /password?code=1", "GET /openapi.json",
          "OPTIONS /status", "HEAD /", "GET /nothing", "POST /QuenmarkRestService/Uploads.svc/GetTopFileUpload",
          "POST /QuenmarkRestService/Downloads.svc/UpdateFileRequestWithStream"}) {
        for (const std::string fields :
             {"Host: evil.test\r\n", "Host: localhost\r\nOrigin: http://evil.test\r\n",
              "Host: localhost\r\nSec-Fetch-Site: same-site\r\n", "Host: localhost\r\nHost: localhost\r\n"}) {
            HttpClient other(service.port());
            other.send(request + " HTTP/1.1\r\n" + fields + "Connection: close\r\nContent-Length: 0\r\n\r\n");
            EXPECT_TRUE(other.receiveToEnd().first.starts_with("HTTP/1.1 403 ")) << request << fields;
        }
    }
    EXPECT_FALSE(std::filesystem::exists(folder.path("data/outbox/7")));
    EXPECT_EQ(put("Host: " + service.host() + "\r\nOrigin: http://" + service.host() + "\r\n").status, 201);
    EXPECT_EQ(put("").status, 201);
}

} // namespace webservice::test
