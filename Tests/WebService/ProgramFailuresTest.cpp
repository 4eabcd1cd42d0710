// What the program says and does where something around it does not work.

#include "Support/HttpClient.h"
#include "Support/RefusedCalls.h"
#include "Support/ServiceProcess.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestState.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace webservice::test {

namespace {

using namespace std::chrono_literals;

/// Waits until the log of the program has the text, for ten seconds at most.
bool logs(const Program& program, std::string_view text) {
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (program.errors().find(text) == std::string::npos) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        ::poll(nullptr, 0, 5);
    }
    return true;
}

std::size_t countOf(std::string_view text, std::string_view part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

class TheProgramInTrouble : public ::testing::Test {
protected:
    TemporaryFolder folder;
    std::string data = folder.path("data").string();
};

} // namespace

TEST_F(TheProgramInTrouble, ExplainsItsOptions) {
    Program program({"--help"});
    EXPECT_EQ(program.exitStatus(), 0);
    const std::string help = program.restOfOutput();
    EXPECT_TRUE(help.starts_with("The development web service: holds items for computers and serves the service's "
                                 "operations.\nUsage: "))
        << help;
    EXPECT_NE(help.find("/quenmark-webservice [OPTIONS]\n\n"
                        "Options:\n"
                        "  -h,--help                   Print this help message and exit\n"
                        "  --version                   Display program version information and exit\n"
                        "  --listen HOST:PORT=127.0.0.1:8080\n"
                        "                              Address and port; port 0 takes a free one\n"
                        "  --data DIR REQUIRED         Folder for the state and the files; made if missing\n"
                        "  --faults FILE               Plan of the faults to begin with\n"
                        "  --tls-certificate FILE      Certificate in PEM, for HTTPS\n"
                        "  --tls-key FILE              Its key in PEM, without a passphrase\n\n"
                        "Example:\n"),
              std::string::npos)
        << help;
    EXPECT_EQ(program.errors(), "");
}

TEST_F(TheProgramInTrouble, IgnoresTheSignalsThatWritingToAFullOrClosedFileRaises) {
    const ServiceProcess service(data);
    std::ifstream status("/proc/" + std::to_string(service.pid()) + "/status");
    unsigned long long ignored = 0;
    for (std::string word; status >> word;) {
        if (word == "SigIgn:")
            status >> std::hex >> ignored;
    }
    for (const int number : {SIGXFSZ, SIGIO, SIGPIPE})
        EXPECT_NE(ignored & (1ULL << (number - 1)), 0U) << number;
}

TEST_F(TheProgramInTrouble, EndsWithOneLineWhereDescriptorsAreMissing) {
    // The outbox needs one, and so do the loop and the listener.
    for (const auto& [call, expected] :
         std::vector<std::pair<long, int>>{{SYS_inotify_init1, 73}, {SYS_epoll_create1, 70}, {SYS_socket, 69}}) {
        std::optional<Program> program;
        std::thread([&, refused = call] {
            refuseCall(refused, EMFILE);
            program.emplace(std::vector<std::string>{"--listen", "127.0.0.1:0", "--data", data});
        }).join();
        EXPECT_EQ(program->exitStatus(), expected) << call;
        const std::string errors = program->errors();
        EXPECT_TRUE(errors.starts_with("quenmark-webservice: ")) << errors;
        EXPECT_NE(errors.find(": Too many open files"), std::string::npos) << errors;
        EXPECT_EQ(countOf(errors, "\n"), 1U) << errors;
    }
}

TEST_F(TheProgramInTrouble, EndsWith73WhereItsDatabaseIsAFolder) {
    folder.makeFolder("data/state.db");
    Program program({"--listen", "127.0.0.1:0", "--data", data});
    EXPECT_EQ(program.exitStatus(), 73);
    EXPECT_EQ(program.errors(), "quenmark-webservice: cannot open " + data + "/state.db: Is a directory\n");
}

TEST_F(TheProgramInTrouble, KeepsItsStateToItsUser) {
    const ServiceProcess service(data);
    for (const char* file : {"data/lock", "data/state.db"}) {
        struct stat status {};
        ASSERT_EQ(::stat(folder.path(file).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0600U) << file;
    }
}

TEST_F(TheProgramInTrouble, ProcessesTheOutboxWithoutAnyRequest) {
    folder.makeFolder("data/outbox/7");
    folder.makeFolder("elsewhere");
    folder.write("elsewhere/empty", "");
    const ServiceProcess service(data);
    folder.write("data/outbox/stray", "x");
    EXPECT_TRUE(logs(service, "ignored in the outbox: stray: it is in no computer's folder\n"));
    // The empty file in it is finished once it was checked twice, a second apart.
    folder.move("elsewhere", "data/outbox/7/folder");
    HttpClient client(service.port());
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    std::string status;
    while (status != R"({"pending":2,"acknowledged":0,"withdrawn":0})" && std::chrono::steady_clock::now() < deadline) {
        status = client.exchange("GET", "/status", "").body;
        ::poll(nullptr, 0, 20);
    }
    EXPECT_EQ(status, R"({"pending":2,"acknowledged":0,"withdrawn":0})");
}

TEST_F(TheProgramInTrouble, ProcessesTheOutboxAtOnce) {
    const ServiceProcess service(data);
    const auto start = std::chrono::steady_clock::now();
    for (const char* name : {"one", "two", "three", "four", "five", "six"}) {
        folder.write("data/outbox/" + std::string(name), "x");
        EXPECT_TRUE(logs(service, "ignored in the outbox: " + std::string(name) + ':'));
    }
    // Where they waited for the look that comes every second, five seconds would have passed.
    EXPECT_LT(std::chrono::steady_clock::now() - start, 4s);
}

TEST_F(TheProgramInTrouble, LogsThatTheOutboxCannotBeReadAndTriesAgainNowAndThen) {
    const ServiceProcess service(data);
    folder.move("data/outbox", "elsewhere");
    folder.write("data/outbox", "a file");
    const std::string reason = "cannot open " + data + "/outbox: Not a directory\n";
    EXPECT_EQ(HttpClient(service.port()).exchange("GET", "/status", "").status, 200);
    EXPECT_TRUE(logs(service, "Z the outbox cannot be read: " + reason));
    EXPECT_TRUE(logs(service, "Z an event could not be handled: " + reason)) << service.errors();
    // A loop that went on at once would have tried a thousand times by now.
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(HttpClient(service.port()).exchange("GET", "/nothing", "").status, 404);
    EXPECT_LT(countOf(service.errors(), "an event could not be handled"), 10U);
    folder.remove("data/outbox");
    EXPECT_TRUE(logs(service, "Z the outbox was removed or renamed; using a new one\n"));
}

TEST_F(TheProgramInTrouble, LogsWhatStaysOutOfAnOutbox) {
    const ServiceProcess service(data);
    HttpClient client(service.port());
    client.post("Registration.svc/VerifyAndRegisterUserFromTool", R"({"MailID":"a@b","Password":"x"})");
    client.post("Registration.svc/RegisterComputer", R"({"UserID":"1","QuenmarkPath":"x"})");
    client.post("Registration.svc/RegisterComputer", R"({"UserID":"1","QuenmarkPath":"y"})");
    folder.write("data/outbox/3/Docs", "a file in place of the folder");
    int requests = 0;
    for (const char* path : {"..\\a", "Docs\\a"}) {
        std::string json = path;
        json.insert(json.find('\\'), "\\");
        client.post("SyncFileChanges.svc/SyncFilesInTableAndCloud",
                    R"([{"ComputerID":"2","ChangeType":"Created","FullPath":")" + json + R"("}])");
        client.exchange("POST", "/QuenmarkRestService/Downloads.svc/UpdateFileRequestWithStream", "x",
                        "FilePath: " + std::string(path) + "\r\nFileRequestID: " + std::to_string(++requests) + "\r\n");
    }
    client.post("MAC/ErrorLog.svc/LogError", "{}");
    const std::string log = service.errors();
    EXPECT_NE(log.find("Z client error: computer -, user -, -, -: -\n"), std::string::npos) << log;
    EXPECT_NE(log.find("Z ..\\a stays in the cloud: its name cannot be expressed on the wire\n"), std::string::npos)
        << log;
    EXPECT_NE(log.find("Z cannot put \\Docs\\a into an outbox: cannot make the folders of " + data +
                       "/outbox/3/Docs/a: Not a directory\n"),
              std::string::npos)
        << log;
}

TEST_F(TheProgramInTrouble, ClosesADownloadWhoseFileGetsShorter) {
    folder.write("data/outbox/7/big", std::string(20'000'000, 'x'));
    const ServiceProcess service(data);
    HttpClient client(service.port());
    client.send("POST /QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream HTTP/1.1\r\n"
                "Content-Length: 20\r\n\r\n{\"ToComputerID\":\"7\"}");
    EXPECT_FALSE(client.receiveSome(1000).empty());
    std::filesystem::resize_file(folder.path("data/outbox/7/big"), 1000);
    std::size_t received = 0;
    for (std::string some = "x"; !some.empty(); received += some.size())
        some = client.receiveSome(1 << 20);
    EXPECT_LT(received, 20'000'000U);
}

} // namespace webservice::test
