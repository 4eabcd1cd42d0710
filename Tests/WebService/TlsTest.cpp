// The service over TLS.

#include "WebService/Http/Tls.h"

#include "Support/Certificates.h"
#include "Support/HttpClient.h"
#include "Support/SentSegments.h"
#include "Support/ServiceProcess.h"
#include "Support/TemporaryFolder.h"
#include "WebService/Common/Descriptor.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <sysexits.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <system_error>

namespace webservice::test {

namespace {

/// The exit status of a shell's command line, and what it writes.
std::pair<int, std::string> run(const std::string& command) {
    std::FILE* pipe = ::popen(command.c_str(), "r");
    std::string output;
    std::array<char, 65536> piece{};
    for (std::size_t count = 1; count > 0;) {
        count = std::fread(piece.data(), 1, piece.size(), pipe);
        output.append(piece.data(), count);
    }
    return {WEXITSTATUS(::pclose(pipe)), output};
}

class ASecureService : public ::testing::Test {
protected:
    ASecureService() {
        service.emplace(folder.path("data").string(), 0,
                        std::vector<std::string>{"--tls-certificate", own.certificate, "--tls-key", own.key});
    }

    /// Runs curl with some arguments and a path of the service, and trusts its certificate.
    std::pair<int, std::string> curl(const std::string& arguments, const std::string& path) const {
        return run("curl -s -m 30 --noproxy '*' --cacert " + own.certificate + ' ' + arguments + " https://" +
                   service->host() + path);
    }
    void plan(const std::string& action) const {
        EXPECT_EQ(curl(R"(-X PUT -d '{"faults":[{"action":)" + action + "}]}'", "/faults").first, 0);
    }
    std::string fileOf(std::size_t size) {
        std::string content;
        for (std::size_t index = 0; index < size; ++index)
            content += static_cast<char>('a' + index * index % 26);
        folder.write("content", content);
        return content;
    }

    TemporaryFolder folder;
    const Certificate own = makeCertificate(folder.path("").string(), "own", "IP:127.0.0.1");
    std::optional<ServiceProcess> service;
    const std::string poll = R"(-X POST -d '{"ToComputerID":"7"}')";
};

/// A client that receives what it is sent over TLS, openssl-s_client(1), and the other end of its connection.
class TlsClient {
public:
    TlsClient() {
        const Descriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* const name = reinterpret_cast<sockaddr*>(&address);
        if (::bind(listener.get(), name, length) != 0 || ::listen(listener.get(), 1) != 0 ||
            ::getsockname(listener.get(), name, &length) != 0)
            throw std::system_error(errno, std::generic_category(), "a listening socket");
        const std::string port = std::to_string(::ntohs(address.sin_port));
        process_ = ::popen(("openssl s_client -quiet -connect 127.0.0.1:" + port + " > /dev/null 2>&1").c_str(), "w");
        end_ = Descriptor(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    }
    TlsClient(const TlsClient&) = delete;
    TlsClient& operator=(const TlsClient&) = delete;
    ~TlsClient() {
        end_ = Descriptor();
        ::pclose(process_);
    }

    int end() const { return end_.get(); }

private:
    std::FILE* process_ = nullptr;
    Descriptor end_;
};

} // namespace

TEST(ATlsSession, SendsTheRecordsOfOneCallTogether) {
    TemporaryFolder folder;
    const Certificate own = makeCertificate(folder.path("").string(), "own", "IP:127.0.0.1");
    const TlsIdentity identity(own.certificate, own.key);
    const TlsClient client;
    const int noDelay = 1;
    ASSERT_EQ(::setsockopt(client.end(), IPPROTO_TCP, TCP_NODELAY, &noDelay, sizeof noDelay), 0);
    const auto session = identity.session(client.end());
    TlsSession::State state{};
    while ((state = session->handshake().state) == TlsSession::State::NeedsInput) {
        pollfd input{client.end(), POLLIN, 0};
        ASSERT_EQ(::poll(&input, 1, 30'000), 1);
    }
    ASSERT_EQ(state, TlsSession::State::Done) << session->failure();
    // On loopback two records fit into one segment. What is short does not wait for more.
    for (const std::size_t size : {20000U, 1U}) {
        const auto before = sentSegments(client.end());
        EXPECT_EQ(session->send(std::string(size, 'x')).count, size);
        EXPECT_EQ(sentSegments(client.end()), before + 1) << size;
    }
}

TEST_F(ASecureService, ServesSeveralRequestsOnOneConnection) {
    const std::string second = " https://" + service->host() + "/status?computer=7";
    const auto [status, output] = curl("-w '%{num_connects}\\n' " + second, "/status");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(output, R"({"pending":0,"acknowledged":0,"withdrawn":0}1
{"pending":0,"acknowledged":0,"withdrawn":0}0
)");
}

TEST_F(ASecureService, TakesAndGivesLongContents) {
    const std::string content = fileOf(3'000'000);
    EXPECT_EQ(curl("-T " + folder.path("content").string(), "/outbox/7/a.bin").first, 0);
    const auto [status, output] = curl(poll, "/QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream");
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(output == content);
}

TEST_F(ASecureService, KeepsContentsApartThatAreSentAtTheSameTime) {
    std::string commands;
    for (const std::string computer : {"1", "2", "3", "4"}) {
        folder.write("data/outbox/" + computer + "/a.bin", std::string(4'000'000, computer[0]));
        commands += "curl -s -m 30 --limit-rate 4M --noproxy '*' --cacert " + own.certificate +
                    " -d '{\"ToComputerID\":\"" + computer + "\"}' https://" + service->host() +
                    "/QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream | tr -d " + computer + " & ";
    }
    // What is left of a content without its one letter is what belongs to another one.
    EXPECT_EQ(run("{ " + commands + "wait; } | wc -c").second, "0\n");
    std::size_t sent = 0;
    const std::string log = service->errors();
    for (std::size_t at = log.find(" 200 4000"); at != std::string::npos; at = log.find(" 200 4000", at + 1))
        ++sent;
    EXPECT_EQ(sent, 4U) << log;
}

TEST_F(ASecureService, CutsResponsesOnOrder) {
    const std::string whole = fileOf(3'000'000);
    EXPECT_EQ(curl("-T " + folder.path("content").string(), "/outbox/7/a.bin").first, 0);
    // The statuses of curl(1): 56 for a connection that failed, 18 for a body that is too short.
    for (const auto& [kind, expected] : {std::pair("reset", 56), std::pair("close", 18)}) {
        plan(R"({"kind":")" + std::string(kind) + R"(","afterBytes":1000000})");
        const auto [status, output] = curl("-i " + poll, "/QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream");
        EXPECT_TRUE(status == expected || status == 56) << kind << ' ' << status;
        EXPECT_EQ(output.size(), 1'000'000U) << kind;
        const std::string body = output.substr(output.find("\r\n\r\n") + 4);
        EXPECT_TRUE(body == whole.substr(0, body.size())) << kind;
    }
    plan(R"({"kind":"delay","seconds":0.01})");
    EXPECT_EQ(curl(poll, "/QuenmarkRestService/Uploads.svc/GetTopFileUpload").first, 0);
    plan(R"({"kind":"stall","afterBytes":10,"seconds":0.01})");
    EXPECT_NE(curl(poll, "/QuenmarkRestService/Uploads.svc/GetTopFileUpload").first, 0);
}

TEST_F(ASecureService, RefusesWhatIsNotTls12OrLater) {
    // The status of curl(1) for a failed handshake.
    EXPECT_EQ(run("curl -s -m 30 -k --tls-max 1.1 --ciphers DEFAULT@SECLEVEL=0 https://" + service->host() + "/").first,
              35);
    HttpClient plain(service->port());
    plain.send("GET /status HTTP/1.1\r\n\r\n");
    EXPECT_TRUE(plain.isClosedByPeer());
    HttpClient silent(service->port());
    silent.endInput();
    EXPECT_TRUE(silent.isClosedByPeer());
    EXPECT_EQ(curl("", "/status").first, 0);
    const std::string log = service->errors();
    for (const char* reason :
         {" no TLS: unsupported protocol\n", " no TLS: http request\n", " no TLS: the client has disconnected\n"})
        EXPECT_NE(log.find(reason), std::string::npos) << log;
    EXPECT_EQ(log.find("GET /status 400"), std::string::npos) << log;
}

TEST_F(ASecureService, RefusesTheRequestsOfOtherSites) {
    EXPECT_EQ(curl("-o /dev/null -w '%{http_code}' -H 'Origin: https://" + service->host() + "'", "/status").second,
              "200");
    EXPECT_EQ(curl("-o /dev/null -w '%{http_code}' -H 'Origin: http://" + service->host() + "'", "/status").second,
              "403");
    EXPECT_EQ(curl("-o /dev/null -w '%{http_code}' -H 'Host: evil.test'", "/api/events").second, "403");
}

TEST(AProgram, DoesNotBeginWithACertificateOrKeyThatCannotBeUsed) {
    TemporaryFolder folder;
    const std::string data = folder.path("data").string();
    const Certificate own = makeCertificate(folder.path("").string(), "own", "IP:127.0.0.1");
    const Certificate other = makeCertificate(folder.path("").string(), "other", "IP:127.0.0.1");
    folder.write("no.pem", "no");
    const std::string no = folder.path("no.pem").string();
    const std::string locked = folder.path("locked.key").string();
    ASSERT_EQ(run("openssl ec -aes128 -passout pass:secret -in " + own.key + " -out " + locked + " 2>&1").first, 0);
    const auto expectFailure = [&](const std::vector<std::string>& options, int status, const std::string& error) {
        std::vector<std::string> arguments = {"--listen", "0", "--data", data};
        arguments.insert(arguments.end(), options.begin(), options.end());
        Program program(arguments);
        EXPECT_EQ(program.exitStatus(), status) << error;
        EXPECT_EQ(program.errors().substr(0, program.errors().find(" (")), "quenmark-webservice: " + error);
    };
    const auto expectRefusal = [&](const std::string& certificate, const std::string& key, int status,
                                   const std::string& error) {
        expectFailure({"--tls-certificate", certificate, "--tls-key", key}, status, error);
    };
    const std::string noKey = ": no key in PEM that has no passphrase and belongs to the certificate";
    expectRefusal(no + ".no", own.key, EX_NOINPUT, no + ".no: No such file or directory\n");
    expectRefusal(own.certificate, no + ".no", EX_NOINPUT, no + ".no: No such file or directory\n");
    expectRefusal(no, own.key, EX_DATAERR, no + ": no certificate in PEM");
    expectRefusal(own.certificate, no, EX_DATAERR, no + noKey);
    expectRefusal(own.certificate, locked, EX_DATAERR, locked + noKey);
    expectRefusal(own.certificate, other.key, EX_DATAERR, other.key + noKey);
    expectFailure({"--tls-certificate", own.certificate}, EX_USAGE, "--tls-certificate and --tls-key go together\n");
    expectFailure({"--tls-key", own.key}, EX_USAGE, "--tls-certificate and --tls-key go together\n");
    EXPECT_FALSE(std::filesystem::exists(data));
}

} // namespace webservice::test
