// The program itself: command line, sockets, signals, exit statuses.

#include "Support/HttpClient.h"
#include "Support/ServiceProcess.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestState.h"

#include <boost/json.hpp>

#include <csignal>

namespace webservice::test {

namespace {

class TheProgram : public ::testing::Test {
protected:
    TemporaryFolder folder;
    std::string data = folder.path("data").string();
};

constexpr const char* poll = R"({"ToComputerID":"7"})";
constexpr const char* streamFromStart = R"({"ToComputerID":"7","Length":"0"})";

} // namespace

TEST_F(TheProgram, ShowsAnExampleInItsHelp) {
    Program program({"--help"});
    EXPECT_EQ(program.exitStatus(), 0);
    EXPECT_NE(program.restOfOutput().find("quenmark-webservice --listen 127.0.0.1:8080 --data"), std::string::npos);
}

TEST_F(TheProgram, EndsWith64OnWrongUsage) {
    EXPECT_EQ(Program({}).exitStatus(), 64);
    EXPECT_EQ(Program({"--data", data, "--bogus"}).exitStatus(), 64);
    EXPECT_EQ(Program({"--data", data, "--listen", "nonsense"}).exitStatus(), 64);
    EXPECT_EQ(Program({"--data", data, "--listen", "127.0.0.1:65536"}).exitStatus(), 64);
}

TEST_F(TheProgram, EndsWith69WhereItCannotListenOrTheFolderIsInUse) {
    const ServiceProcess running(data);
    Program samePort({"--listen", "127.0.0.1:" + std::to_string(running.port()), "--data", folder.path("b").string()});
    EXPECT_EQ(samePort.exitStatus(), 69);
    EXPECT_EQ(samePort.errors(), "quenmark-webservice: cannot listen on 127.0.0.1:" + std::to_string(running.port()) +
                                     ": Address already in use\n");
    Program sameFolder({"--listen", "127.0.0.1:0", "--data", data});
    EXPECT_EQ(sameFolder.exitStatus(), 69);
    EXPECT_EQ(sameFolder.errors(), "quenmark-webservice: another process works on " + data + "\n");
}

TEST_F(TheProgram, EndsWith73Or74WhereTheFolderIsOfNoUse) {
    folder.write("file", "x");
    EXPECT_EQ(Program({"--listen", "127.0.0.1:0", "--data", folder.path("file").string()}).exitStatus(), 73);
    folder.write("broken/state.db", std::string(8192, 'x'));
    EXPECT_EQ(Program({"--listen", "127.0.0.1:0", "--data", folder.path("broken").string()}).exitStatus(), 74);
}

TEST_F(TheProgram, CarriesAnItemToItsComputerOnOneConnection) {
    ServiceProcess service(data);
    HttpClient client(service.port());
    const std::string content = std::string(5'000'000, 'x') + "end";
    EXPECT_EQ(client.post("Uploads.svc/GetTopFileUpload", poll).body, R"({"ReturnStatus":"1","error":null})");
    folder.write("data/outbox/7/Grüße.bin", content);
    EXPECT_EQ(field(client.post("Uploads.svc/GetTopFileUpload", poll).body, "FileName"), "\\Grüße.bin");
    const HttpAnswer answer = client.post("Uploads.svc/GetTopFileUploadWithStream", streamFromStart);
    EXPECT_EQ(answer.head, "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nReturnStatus: 0\r\n"
                           "FileName: \\Grüße.bin\r\nFileUploadID: 1\r\nIsFile: True\r\nServerPath: \\7\\Grüße.bin\r\n"
                           "ToComputerID: 7\r\nTransitUploadPath: \\Transit\\1\r\nUploadProcessed: False\r\n"
                           "Content-Length: 5000003\r\n\r\n");
    EXPECT_TRUE(answer.body == content);
    EXPECT_EQ(client.post("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":"1"})").head,
              "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 33\r\n\r\n");
    EXPECT_EQ(client.exchange("GET", "/status?computer=7", "").body, R"({"pending":0,"acknowledged":1,"withdrawn":0})");
}

TEST_F(TheProgram, LogsOneLineForEachRequest) {
    ServiceProcess service(data);
    HttpClient(service.port()).post("Uploads.svc/GetTopFileUpload", poll);
    service.signal(SIGTERM);
    EXPECT_EQ(service.exitStatus(), 0);
    const std::string log = service.errors();
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2) << log;
    EXPECT_NE(log.find(" POST /QuenmarkRestService/Uploads.svc/GetTopFileUpload 200 104 "), std::string::npos) << log;
    EXPECT_NE(log.find("ms\n"), std::string::npos) << log;
    EXPECT_TRUE(log.ends_with(" asked to end\n")) << log;
}

TEST_F(TheProgram, GoesOnWhenNobodyReadsItsLog) {
    // Far more than a pipe holds.
    ServiceProcess service(data, 0, ServiceProcess::Errors::UnreadPipe);
    HttpClient client(service.port());
    const std::string report = R"({"ErrorMessage":")" + std::string(10'000, 'x') + R"("})";
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(client.post("MAC/ErrorLog.svc/LogError", report).body, R"({"ReturnStatus":"0","error":null})");
    }
    service.signal(SIGTERM);
    EXPECT_EQ(service.exitStatus(), 0);
}

TEST_F(TheProgram, RemembersAcknowledgementsAfterBeingKilled) {
    folder.write("data/outbox/7/a.txt", "a");
    folder.write("data/outbox/7/b.txt", "b");
    {
        ServiceProcess service(data);
        HttpClient client(service.port());
        client.post("Uploads.svc/GetTopFileUpload", poll);
        client.post("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":"1"})");
        service.signal(SIGKILL);
        EXPECT_EQ(service.exitStatus(), 128 + SIGKILL);
    }
    ServiceProcess service(data);
    EXPECT_EQ(field(HttpClient(service.port()).post("Uploads.svc/GetTopFileUpload", poll).body, "FileUploadID"), "2");
}

TEST_F(TheProgram, EndsWith0OnASignalInTheMiddleOfADownload) {
    folder.write("data/outbox/7/big", std::string(50'000'000, 'x'));
    for (const int number : {SIGTERM, SIGINT}) {
        ServiceProcess service(data);
        HttpClient client(service.port());
        client.send("POST /QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream HTTP/1.1\r\n"
                    "Content-Length: 33\r\n\r\n" +
                    std::string(streamFromStart));
        EXPECT_TRUE(client.receiveSome(15).starts_with("HTTP/1.1 200 OK"));
        service.signal(number);
        EXPECT_EQ(service.exitStatus(), 0);
        EXPECT_NE(service.errors().find("GetTopFileUploadWithStream 200 "), std::string::npos);
        EXPECT_NE(service.errors().find(" cut short\n"), std::string::npos);
    }
}

TEST_F(TheProgram, CutsADownloadWhoseFileChangesMeanwhile) {
    folder.write("data/outbox/7/big", std::string(50'000'000, 'x'));
    ServiceProcess service(data);
    HttpClient client(service.port());
    client.send("POST /QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream HTTP/1.1\r\n"
                "Content-Length: 33\r\n\r\n" +
                std::string(streamFromStart));
    client.receiveSome(1000);
    folder.write("data/outbox/7/big", std::string(50'000'000, 'y'));
    std::size_t received = 1000;
    for (std::string some = "x"; !some.empty(); received += some.size()) {
        some = client.receiveSome(1 << 20);
    }
    EXPECT_LT(received, 50'000'000U);
}

TEST_F(TheProgram, TakesAPushInChunksWithAnExpectation) {
    ServiceProcess service(data);
    HttpClient client(service.port());
    client.send("PUT /outbox/7/Docs/big.bin HTTP/1.1\r\nTransfer-Encoding: chunked\r\nExpect: 100-continue\r\n\r\n");
    EXPECT_EQ(client.receive().head, "HTTP/1.1 100 Continue\r\n\r\n");
    std::string content;
    for (int i = 0; i < 100; ++i) {
        const std::string chunk(0x10000, static_cast<char>('a' + i % 26));
        client.send("10000\r\n" + chunk + "\r\n");
        content += chunk;
    }
    client.send("0\r\n\r\n");
    EXPECT_EQ(client.receive().status, 201);
    EXPECT_TRUE(contentOf(folder.path("data/outbox/7/Docs/big.bin")) == content);
    EXPECT_EQ(client.exchange("GET", "/status", "").body, R"({"pending":2,"acknowledged":0,"withdrawn":0})");
}

TEST_F(TheProgram, ServesManyConnectionsAtOnce) {
    folder.write("data/outbox/7/a.txt", "hello");
    ServiceProcess service(data);
    std::vector<std::unique_ptr<HttpClient>> clients;
    for (int i = 0; i < 200; ++i) {
        clients.push_back(std::make_unique<HttpClient>(service.port()));
    }
    for (const auto& client : clients) {
        EXPECT_EQ(client->post("Uploads.svc/GetTopFileUploadWithStream", streamFromStart).body, "hello");
    }
}

} // namespace webservice::test
