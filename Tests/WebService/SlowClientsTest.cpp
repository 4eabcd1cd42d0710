// Thousands of clients that are slow on purpose, and one that is not.

#include "Support/SlowClients.h"

#include "Support/HttpClient.h"
#include "Support/ServedApplication.h"
#include "Support/ServiceProcess.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>

namespace webservice::test {

namespace {

using namespace std::chrono_literals;

constexpr int many = 2000;
constexpr const char* stream = "POST /QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream HTTP/1.1\r\n"
                               "Content-Length: 33\r\n\r\n{\"ToComputerID\":\"8\",\"Length\":\"0\"}";

class ManySlowClients : public ::testing::Test {
protected:
    /// The service raises its own limit.
    ManySlowClients() {
        allowOpenFiles(1024);
        service.emplace(folder.path("data").string());
        allowOpenFiles();
    }

    /// Another client's requests on new and on kept connections get their responses within a second, also while the
    /// clients send `drop` now and then; and the service ends within two.
    void expectNoDelay(const SlowClients& clients, std::string_view drop) {
        HttpClient kept(service->port());
        for (int i = 0; i < 10; ++i) {
            clients.send(drop);
            const auto start = std::chrono::steady_clock::now();
            EXPECT_EQ(HttpClient(service->port()).exchange("GET", "/status?computer=7", "").body, nothing);
            EXPECT_EQ(kept.exchange("GET", "/status?computer=7", "").body, nothing);
            EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
        }
        EXPECT_EQ(clients.closed(), 0);
        const auto start = std::chrono::steady_clock::now();
        service->signal(SIGTERM);
        EXPECT_EQ(service->exitStatus(), 0);
        EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
    }

    TemporaryFolder folder;
    std::optional<ServiceProcess> service;
    const std::string nothing = R"({"pending":0,"acknowledged":0,"withdrawn":0})";
};

} // namespace

TEST_F(ManySlowClients, ThatSendNothingDelayNoOther) {
    expectNoDelay(SlowClients(service->port(), many, ""), "");
}

TEST_F(ManySlowClients, ThatSendHeadersByteByByteDelayNoOther) {
    expectNoDelay(SlowClients(service->port(), many, "GET /status HTTP/1.1\r\nA: "), "a");
}

TEST_F(ManySlowClients, ThatSendABodyByteByByteDelayNoOther) {
    const SlowClients clients(service->port(), many,
                              "PUT /outbox/8/slow HTTP/1.1\r\nContent-Length: 1000\r\nExpect: 100-continue\r\n\r\n");
    clients.waitForResponses();
    expectNoDelay(clients, "a");
}

TEST_F(ManySlowClients, ThatDoNotReadTheirResponseDelayNoOther) {
    folder.write("data/outbox/8/big", std::string(5'000'000, 'x'));
    const SlowClients clients(service->port(), many, stream);
    clients.waitForResponses();
    expectNoDelay(clients, "");
}

namespace {

class AServerWithThreeSlots : public ::testing::Test {
protected:
    AServerWithThreeSlots() {
        application.on("/hello", [] { return textResponse("hello"); });
        application.on("/long", [] { return textResponse(std::string(50'000'000, 'x')); });
        port = application.serve({.maxConnections = 3});
    }

    ServedApplication application;
    std::uint16_t port = 0;
};

} // namespace

TEST_F(AServerWithThreeSlots, DisconnectsTheClientThatWasIdleForLongestForAFourthOne) {
    HttpClient first(port);
    HttpClient second(port);
    HttpClient third(port);
    for (HttpClient* client : {&second, &first, &third})
        EXPECT_EQ(client->exchange("GET", "/hello", "").body, "hello");
    EXPECT_EQ(HttpClient(port).exchange("GET", "/hello", "").body, "hello");
    EXPECT_TRUE(second.isClosedByPeer());
    EXPECT_EQ(first.exchange("GET", "/hello", "").body, "hello");
    EXPECT_EQ(third.exchange("GET", "/hello", "").body, "hello");
}

TEST_F(AServerWithThreeSlots, DisconnectsOneThatReadsNothingOrSendsABodySlowlyForAFourthOne) {
    const SlowClients clients(port, 2, "GET /long HTTP/1.1\r\n\r\n");
    const SlowClients sender(port, 1, "GET /hello HTTP/1.1\r\nContent-Length: 100\r\n\r\n");
    for (int i = 0; i < 3; ++i) {
        HttpClient client(port);
        EXPECT_EQ(client.exchange("GET", "/hello", "").body, "hello");
        sender.send("x");
    }
    EXPECT_EQ(clients.closed() + sender.closed(), 1);
}

TEST(AServerWithLittleTime, SendsA408WhereHeadersDoNotArriveInTime) {
    ServedApplication application;
    application.on("/hello", [] { return textResponse("hello"); });
    const std::uint16_t port = application.serve({.headerTimeout = 100ms});
    HttpClient slow(port);
    slow.send("GET /hello HTTP/1.1\r\n");
    const HttpResponse response = slow.receive();
    EXPECT_EQ(response.headerText,
              "HTTP/1.1 408 Request Timeout\r\nContent-Type: application/json\r\nContent-Length: 114\r\n"
              "Connection: close\r\n\r\n");
    EXPECT_EQ(response.body, R"({"ReturnStatus":"1","error":{"code":"BadRequest",)"
                             R"("message":"the request line and headers did not arrive in time"}})");
    EXPECT_TRUE(slow.isClosedByPeer());
    HttpClient kept(port);
    EXPECT_EQ(kept.exchange("GET", "/hello", "").body, "hello");
    EXPECT_EQ(kept.exchange("GET", "/hello", "").body, "hello");
}

TEST(AServerWithLittleTime, ClosesConnectionsWithoutRequestsOrProgressWithoutAWord) {
    ServedApplication application;
    application.on("/hello", [] { return textResponse("hello"); });
    const std::uint16_t port = application.serve({.keepAliveTimeout = 100ms, .idleTimeout = 100ms});
    HttpClient idle(port);
    EXPECT_EQ(idle.exchange("GET", "/hello", "").body, "hello");
    HttpClient silent(port);
    HttpClient afterEmptyLine(port);
    afterEmptyLine.send("\r\n");
    HttpClient still(port);
    still.send("POST /hello HTTP/1.1\r\nContent-Length: 10\r\n\r\nabc");
    for (HttpClient* client : {&idle, &silent, &afterEmptyLine, &still})
        EXPECT_TRUE(client->isClosedByPeer());
}

TEST(AServerWithLittleTime, DoesNotLingerForAClientThatSendsOnAndOn) {
    ServedApplication application;
    const std::uint16_t port = application.serve({.lingerTimeout = 100ms});
    HttpClient client(port);
    client.send("POST /nothing HTTP/1.1\r\nContent-Length: 999999999\r\n\r\n");
    EXPECT_EQ(client.receive().status, 404);
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    bool isCut = false;
    while (!isCut && std::chrono::steady_clock::now() < deadline) {
        try {
            client.send("x");
        } catch (const std::system_error&) {
            isCut = true;
        }
    }
    EXPECT_TRUE(isCut);
}

TEST(AServer, KeepsServingWhereDescriptorsRunOut) {
    TemporaryFolder folder;
    const ServiceProcess service(folder.path("data").string());
    EXPECT_EQ(HttpClient(service.port()).exchange("GET", "/status", "").status, 200);
    service.limitOpenFiles(100);
    const SlowClients clients(service.port(), 300, "GET / HTTP/1.1\r\n");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(HttpClient(service.port()).exchange("GET", "/status", "").status, 200);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
    EXPECT_GT(clients.closed(), 200);
    // It waits where no client can be dropped, and does not try again and again.
    const std::string log = service.errors();
    EXPECT_LT(std::ranges::count(log, '\n'), 400) << log;
}

} // namespace webservice::test
