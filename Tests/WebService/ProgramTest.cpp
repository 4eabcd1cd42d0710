// The program itself: command line, sockets, signals, exit statuses.

#include "Support/HttpClient.h"
#include "Support/LockedDatabase.h"
#include "Support/ServiceProcess.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestState.h"

#include <boost/json.hpp>

#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <sstream>

namespace webservice::test {

namespace {

class TheProgram : public ::testing::Test {
protected:
    static void expectEnd(const std::vector<std::string>& arguments, int status, const std::string& message) {
        Program program(arguments);
        EXPECT_EQ(program.exitStatus(), status) << message;
        EXPECT_EQ(program.errors(), message);
        EXPECT_EQ(program.restOfOutput(), "");
    }

    TemporaryFolder folder;
    std::string data = folder.path("data").string();
};

constexpr const char* poll = R"({"ToComputerID":"7"})";
constexpr const char* streamFromStart = R"({"ToComputerID":"7","Length":"0"})";

} // namespace

TEST_F(TheProgram, ShowsAnExampleInItsHelp) {
    Program program({"--help"});
    EXPECT_EQ(program.exitStatus(), 0);
    EXPECT_NE(program.restOfOutput().find(
                  "Example:\n"
                  "  quenmark-webservice --listen 127.0.0.1:8080 --data ~/quenmark-data\n"
                  "  cp -r Documents ~/quenmark-data/outbox/7/      # items for computer 7\n\n"
                  "Prints \"listening on HOST:PORT\" when it is ready, logs one line a request on standard error, and\n"
                  "ends with 0 on SIGTERM or SIGINT. Other exit statuses: 64 usage, 65 the plan, the certificate or "
                  "the key is\n"
                  "not valid, 66 one of these cannot be read, 69 cannot listen or the folder is in use, 70 internal "
                  "error, 73\n"
                  "the folder cannot be made, 74 the state cannot be read or written.\n"),
              std::string::npos);
}

TEST_F(TheProgram, NamesItsVersion) {
    Program program({"--version"});
    EXPECT_EQ(program.exitStatus(), 0);
    EXPECT_TRUE(program.restOfOutput().starts_with("quenmark-webservice " QUENMARK_VERSION));
    EXPECT_EQ(program.errors(), "");
}

TEST_F(TheProgram, EndsWith64OnWrongUsage) {
    const std::string help = "Run with --help for more information.\n";
    expectEnd({}, 64, "--data is required\n" + help);
    expectEnd({"--data"}, 64, "--data: 1 required DIR missing\n" + help);
    expectEnd({"--data", data, "--bogus"}, 64, "The following argument was not expected: --bogus\n" + help);
    expectEnd({"--data", ""}, 64, "quenmark-webservice: --data is empty\n");
    expectEnd({"--data", data, "--listen", "nonsense"}, 64,
              "quenmark-webservice: --listen nonsense: a port from 0 to 65535 is missing\n");
    expectEnd({"--data", data, "--listen", "127.0.0.1:65536"}, 64,
              "quenmark-webservice: --listen 127.0.0.1:65536: a port from 0 to 65535 is missing\n");
    expectEnd({"--data", data, "--listen", "::1:80"}, 64,
              "quenmark-webservice: --listen ::1:80: the host is malformed\n");
    EXPECT_FALSE(std::filesystem::exists(data));
}

TEST_F(TheProgram, EndsWith69WhereItCannotListenOrTheFolderIsInUse) {
    const ServiceProcess running(data);
    const std::string other = folder.path("other").string();
    expectEnd({"--listen", running.host(), "--data", other}, 69,
              "quenmark-webservice: cannot listen on " + running.host() + ": Address already in use\n");
    expectEnd({"--listen", "192.0.2.1:80", "--data", other}, 69,
              "quenmark-webservice: cannot listen on 192.0.2.1:80: Cannot assign requested address\n");
    expectEnd({"--listen", "127.0.0.1:0", "--data", data}, 69,
              "quenmark-webservice: another process works on " + data + "\n");
    EXPECT_EQ(HttpClient(running.port()).exchange("GET", "/status", "").status, 200);
}

TEST_F(TheProgram, EndsWith73Or74WhereTheFolderCannotBeUsed) {
    const auto start = [&](const std::string& path) {
        return std::vector<std::string>{"--listen", "127.0.0.1:0", "--data", path};
    };
    const std::string file = folder.path("file").string();
    folder.write("file", "x");
    expectEnd(start(file), 73,
              "quenmark-webservice: filesystem error: cannot create directories: Not a directory [" + file + "]\n");
    // Nobody can make a folder there.
    expectEnd(start("/proc/nothing"), 73,
              "quenmark-webservice: filesystem error: cannot create directories: No such file or directory "
              "[/proc/nothing]\n");
    folder.makeFolder("locked/lock");
    expectEnd(start(folder.path("locked").string()), 73,
              "quenmark-webservice: cannot open " + folder.path("locked/lock").string() + ": Is a directory\n");
    folder.write("broken/state.db", std::string(8192, 'x'));
    Program broken(start(folder.path("broken").string()));
    EXPECT_EQ(broken.exitStatus(), 74);
    EXPECT_TRUE(broken.errors().starts_with("quenmark-webservice: ")) << broken.errors();
    EXPECT_TRUE(broken.errors().ends_with(": file is not a database\n")) << broken.errors();
    EXPECT_EQ(std::ranges::count(broken.errors(), '\n'), 1);
}

TEST_F(TheProgram, SendsAnItemToItsComputerOnOneConnection) {
    ServiceProcess service(data);
    HttpClient client(service.port());
    const std::string content = std::string(5'000'000, 'x') + "end";
    EXPECT_EQ(client.post("Uploads.svc/GetTopFileUpload", poll).body, R"({"ReturnStatus":"1","error":null})");
    folder.write("data/outbox/7/Grüße.bin", content);
    EXPECT_EQ(field(client.post("Uploads.svc/GetTopFileUpload", poll).body, "FileName"), "\\Grüße.bin");
    const HttpResponse response = client.post("Uploads.svc/GetTopFileUploadWithStream", streamFromStart);
    EXPECT_EQ(response.headerText,
              "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nReturnStatus: 0\r\n"
              "FileName: \\Grüße.bin\r\nFileUploadID: 1\r\nIsFile: True\r\nServerPath: \\7\\Grüße.bin\r\n"
              "ToComputerID: 7\r\nTransitUploadPath: \\Transit\\1\r\nUploadProcessed: False\r\n"
              "Content-Length: 5000003\r\n\r\n");
    EXPECT_TRUE(response.body == content);
    EXPECT_EQ(client.post("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":"1"})").headerText,
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
    EXPECT_TRUE(log.ends_with(" ended by a signal\n")) << log;
}

TEST_F(TheProgram, KeepsServingWhenItsLogIsNotRead) {
    // Far more than a pipe holds.
    ServiceProcess service(data, 0, ServiceProcess::Errors::UnreadPipe);
    HttpClient client(service.port());
    const std::string report = R"({"ErrorMessage":")" + std::string(10'000, 'x') + R"("})";
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(client.post("MAC/ErrorLog.svc/LogError", report).body, R"({"ReturnStatus":"0","error":null})");
    service.signal(SIGTERM);
    EXPECT_EQ(service.exitStatus(), 0);
}

TEST_F(TheProgram, UsesNoProcessorTimeWhileTheDatabaseIsLocked) {
    ServiceProcess service(data);
    folder.makeFolder("data/outbox/7");
    HttpClient client(service.port());
    EXPECT_EQ(client.exchange("GET", "/status", "").status, 200);
    const LockedDatabase lock(data + "/state.db");
    folder.write("data/outbox/7/a.txt", "x");
    // A request waits for five seconds, and so does what has happened in the outbox.
    const double before = service.processorTime();
    EXPECT_EQ(client.exchange("GET", "/status", "").status, 500);
    EXPECT_LT(service.processorTime() - before, 0.8);
    const std::string log = service.errors();
    EXPECT_LT(std::ranges::count(log, '\n'), 20) << log;
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
        EXPECT_NE(service.errors().find(" incomplete\n"), std::string::npos);
    }
}

TEST_F(TheProgram, ClosesADownloadWhoseFileChanges) {
    folder.write("data/outbox/7/big", std::string(50'000'000, 'x'));
    ServiceProcess service(data);
    HttpClient client(service.port());
    client.send("POST /QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream HTTP/1.1\r\n"
                "Content-Length: 33\r\n\r\n" +
                std::string(streamFromStart));
    client.receiveSome(1000);
    folder.write("data/outbox/7/big", std::string(50'000'000, 'y'));
    std::size_t received = 1000;
    for (std::string some = "x"; !some.empty(); received += some.size())
        some = client.receiveSome(1 << 20);
    EXPECT_LT(received, 50'000'000U);
}

TEST_F(TheProgram, ReceivesAPushInChunksWithAnExpectation) {
    ServiceProcess service(data);
    HttpClient client(service.port());
    client.send("PUT /outbox/7/Docs/big.bin HTTP/1.1\r\nTransfer-Encoding: chunked\r\nExpect: 100-continue\r\n\r\n");
    EXPECT_EQ(client.receive().headerText, "HTTP/1.1 100 Continue\r\n\r\n");
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
    for (int i = 0; i < 200; ++i)
        clients.push_back(std::make_unique<HttpClient>(service.port()));
    for (const auto& client : clients)
        EXPECT_EQ(client->post("Uploads.svc/GetTopFileUploadWithStream", streamFromStart).body, "hello");
}

TEST_F(TheProgram, LogsOnceWhatItIgnoresInTheOutbox) {
    folder.write("data/outbox/stray.txt", "x");
    folder.write("data/outbox/7/back\\slash", "x");
    folder.write("data/outbox/7/bad\\folder/a.txt", "x");
    ASSERT_EQ(::mkfifo(folder.path("data/outbox/7/fifo").c_str(), 0644), 0);
    ServiceProcess service(folder.path("data").string());
    HttpClient client(service.port());
    ASSERT_EQ(client.exchange("GET", "/status", "").status, 200);
    ASSERT_EQ(::chmod(folder.path("data/outbox/7/fifo").c_str(), 0600), 0);
    ASSERT_EQ(client.exchange("GET", "/status", "").status, 200);
    std::vector<std::string> ignored;
    std::istringstream log(service.errors());
    for (std::string line; std::getline(log, line);) {
        if (const auto text = line.find("ignored in the outbox: "); text != std::string::npos)
            ignored.push_back(line.substr(text + std::string_view("ignored in the outbox: ").size()));
    }
    std::ranges::sort(ignored);
    EXPECT_EQ(ignored, (std::vector<std::string>{"7/back\\slash: its name cannot be expressed on the wire",
                                                 "7/bad\\folder: its name cannot be expressed on the wire",
                                                 "7/fifo: it is neither a file nor a folder",
                                                 "stray.txt: it is in no computer's folder"}));
}

TEST_F(TheProgram, LogsWhatGoesWrong) {
    folder.write("data/outbox/7/a", "hello");
    ServiceProcess service(folder.path("data").string());
    HttpClient client(service.port());
    const auto post = [&](std::string_view operation, std::string_view json) {
        client.post(std::string(operation), json);
    };
    post("Registration.svc/CheckUserMailActivationStatus", R"({"UserID":"9"})");
    post("MAC/ErrorLog.svc/LogError",
         R"({"ErrorClass":"C","ErrorMethod":"M","ErrorMessage":"broken","ComputerID":"7"})");
    post("SyncFileChanges.svc/SyncFilesInTableAndCloud", R"([{"ComputerID":"9"}])");
    post("Uploads.svc/GetTopFileUpload", poll);
    post("Uploads.svc/GetTopFileUploadWithStream", R"({"ToComputerID":"7","Length":"9"})");
    post("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":"1","FileName":"\\b"})");
    client.exchange("POST", "/QuenmarkRestService/Downloads.svc/UpdateFileRequestWithStream", "x",
                    "FilePath: x\r\nFileRequestID: 9\r\n");
    folder.move("data/outbox", "elsewhere");
    client.exchange("GET", "/status", "");
    const std::string log = service.errors();
    for (const char* line :
         {"Z Registration.svc/CheckUserMailActivationStatus refused: UnknownUser: there is no user 9\n",
          "Z client error: computer 7, user -, C, M: broken\n",
          "Z a change of a file has failed: there is no computer 9\n",
          "Z upload 1 of computer 7 cannot go on at byte 9, beyond its end; it goes behind the others. Remove \\a from "
          "the "
          "computer's temporary area.\n",
          "Z upload 1 is \\a, but acknowledged as \\b\n", "Z no request for x; the content is kept\n",
          "Z the outbox was removed or renamed; using a new one\n"})
        EXPECT_NE(log.find(line), std::string::npos) << line << log;
}

} // namespace webservice::test
