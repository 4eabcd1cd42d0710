// A web service over TLS: whom the library, the tool and the service trust, and what becomes of a request where they do
// not.

#include "EndToEnd/RealServiceFixture.h"
#include "EndToEnd/StatusReader.h"
#include "Support/Certificates.h"
#include "Support/HttpClient.h"
#include "Support/ServedApplication.h"
#include "Support/TlsServer.h"

#include <algorithm>
#include <sstream>

namespace Quenmark {

using TestSupport::runCommand;
using webservice::test::Certificate;
using webservice::test::makeCertificate;

namespace {

constexpr const char* local = "IP:127.0.0.1";

std::vector<std::string> optionsOf(const Certificate& certificate) {
    return {"--tls-certificate", certificate.certificate, "--tls-key", certificate.key};
}

/// Each request, however incomplete, has a line of the log; a handshake that fails has another one, and a client that
/// disconnects after the handshake has none.
void expectNoRequest(const ServiceProcess& service) {
    webservice::test::HttpClient plain(service.port());
    plain.send("GET / HTTP/1.1\r\n\r\n");
    EXPECT_TRUE(plain.isClosedByPeer());
    const std::string log = service.errors();
    EXPECT_NE(log.find(" no TLS: http request\n"), std::string::npos) << "what came before is in the log as well";
    std::istringstream lines(log);
    for (std::string time, peer, rest; lines >> time >> peer && std::getline(lines, rest);)
        EXPECT_TRUE(rest.starts_with(" no TLS: ")) << peer << rest;
}

} // namespace

class ASecureCall : public ::testing::Test {
protected:
    /// Trusts an authority alone. The release chooses the transport.
    void trust(const std::string& host, const std::string& authorities, double release = release10_10) {
        home.setDeployment(R"({"serviceHost":")" + host + R"(","serviceScheme":"https","certificateAuthorities":")" +
                           authorities + R"(","appKitVersionNumber":)" + std::to_string(release) + "}");
    }
    static TestSupport::CommandResult poll() {
        return runCommand({QUENMARK_TOOL, "call", "GetTopFileUpload", "ToComputerID=7"});
    }
    /// An upload, which one of the transports alone makes.
    TestSupport::CommandResult upload() {
        return runCommand({QUENMARK_TOOL, "call", "UpdateFileRequestWithStream", "FileRequestID=1",
                           "TransitDownloadPath=t", "--file", good.certificate});
    }
    /// Over both transports.
    void expectFailure(const std::string& host, const std::string& authorities, const std::string& code) {
        for (const double release : {release10_10, release10_8}) {
            trust(host, authorities, release);
            const auto result = poll();
            EXPECT_EQ(result.status, 74) << code;
            EXPECT_NE(result.errors.find('(' + code + ')'), std::string::npos) << result.errors;
        }
    }

    Platform::RunLoop loop;
    TestSupport::TemporaryHome home;
    const Certificate authority = makeCertificate(home.path(), "authority", "DNS:authority.example");
    const Certificate good = makeCertificate(home.path(), "good", local, &authority);
};

TEST_F(ASecureCall, GoesToAServerWhoseCertificateATrustedAuthorityHasSigned) {
    const ServiceProcess service(home.path("data"), 0, optionsOf(good));
    for (const double release : {release10_10, release10_8}) {
        trust(service.host(), authority.certificate, release);
        const auto result = poll();
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_NE(result.output.find(R"("returnStatus" : "1")"), std::string::npos) << result.output;
    }
}

TEST_F(ASecureCall, SendsNothingToAServerWhoseCertificateIsNotAccepted) {
    const Certificate stranger = makeCertificate(home.path(), "stranger", "DNS:stranger.example");
    for (const Certificate& certificate : {makeCertificate(home.path(), "self-signed", local),
                                           makeCertificate(home.path(), "expired", local, &authority, true),
                                           makeCertificate(home.path(), "wrong-name", "DNS:localhost", &authority),
                                           makeCertificate(home.path(), "unknown-authority", local, &stranger)}) {
        const ServiceProcess service(home.path("data"), 0, optionsOf(certificate));
        SCOPED_TRACE(certificate.certificate);
        expectFailure(service.host(), authority.certificate, "-1202");
        trust(service.host(), authority.certificate);
        const auto uploaded = upload();
        EXPECT_EQ(uploaded.status, 74);
        EXPECT_NE(uploaded.errors.find("(-1202)"), std::string::npos) << uploaded.errors;
        expectNoRequest(service);
    }
}

TEST_F(ASecureCall, FailsWhereTheFileOfTheAuthoritiesCannotBeUsed) {
    const ServiceProcess service(home.path("data"), 0, optionsOf(good));
    expectFailure(service.host(), home.path("absent.pem"), "-1200");
    expectFailure(service.host(), home.write("empty.pem", ""), "-1200");
    expectNoRequest(service);
}

TEST_F(ASecureCall, FailsWhereTheServerSpeaksAnOldTls) {
    const TestSupport::TlsServer old({"-tls1_1", "-cipher", "DEFAULT@SECLEVEL=0"});
    expectFailure(old.host(), old.certificate(), "-1200");
}

TEST_F(ASecureCall, DoesNotFollowARedirectToAnAddressThatIsNotSecure) {
    TestSupport::HttpServer plain;
    webservice::test::ServedApplication redirecting;
    redirecting.on("/QuenmarkRestService/Uploads.svc/GetTopFileUpload", [&] {
        return webservice::Response{
            .status = 307, .headers = {{"Location", plain.url("/")}}, .body = {}, .file = std::nullopt};
    });
    const auto port =
        redirecting.serve({}, std::make_shared<const webservice::TlsIdentity>(good.certificate, good.key));
    expectFailure("127.0.0.1:" + std::to_string(port), authority.certificate, "-1002");
    EXPECT_EQ(plain.acceptedConnections(), 0U);
}

/// Releases with the older transport upload nothing.
TEST_F(ASecureCall, MayUploadAFile) {
    const ServiceProcess service(home.path("data"), 0, optionsOf(good));
    std::string content;
    for (std::size_t index = 0; index < 1'000'000; ++index)
        content += static_cast<char>('a' + index * index % 26);
    const auto file = home.write("file", content);
    trust(service.host(), authority.certificate);
    const auto sent = runCommand({QUENMARK_TOOL, "call", "UpdateFileRequestWithStream", "FileRequestID=1",
                                  "TransitDownloadPath=t", "--file", file});
    EXPECT_EQ(sent.status, 0) << sent.errors;
    EXPECT_TRUE(home.read("data/cloud/1") == content);
    const auto pushed = runCommand({QUENMARK_TOOL, "push", file, "--to", "7"});
    EXPECT_EQ(pushed.status, 0) << pushed.errors;
    EXPECT_TRUE(home.read("data/outbox/7/file") == content);
}

class ASecureWebService : public RealServiceFixture {
protected:
    void trust(const std::string& host) {
        home.setDeployment(R"({"serviceHost":")" + host + R"(","serviceScheme":"https","certificateAuthorities":")" +
                           authority.certificate + R"(","appKitVersionNumber":)" + std::to_string(GetParam().release) +
                           R"(,"mode":")" + GetParam().mode + "\"}");
        bus = std::make_unique<TestSupport::PrivateBus>(
            std::vector<TestSupport::PrivateBus::Service>{{busName, QUENMARK_SERVICE}});
    }
    /// The clients' addresses in the log of a web service, of the requests for an operation.
    static std::vector<std::string> peers(const ServiceProcess& service, const std::string& operation) {
        std::vector<std::string> found;
        std::istringstream lines(service.errors());
        for (std::string time, peer, rest; lines >> time >> peer && std::getline(lines, rest);) {
            if (rest.find(operation + " 200") != std::string::npos)
                found.push_back(peer);
        }
        return found;
    }

    const Certificate authority = makeCertificate(home.path(), "authority", "DNS:authority.example");
    const Certificate good = makeCertificate(home.path(), "good", local, &authority);
};

TEST_P(ASecureWebService, BringsItemsOverAConnectionThatIsKept) {
    const std::string content(3'000'000, 'x');
    data.write("outbox/7/a.bin", content);
    const ServiceProcess service(data.path(), 0, optionsOf(good));
    trust(service.host());
    start();
    ASSERT_TRUE(pollUntil([&] { return contentOf(placed("a.bin")) == content; }));
    // On a busy machine a pass may come so late that its connection is a new one.
    EXPECT_TRUE(pollUntil([&] {
        const auto polls = peers(service, "/GetTopFileUpload");
        return std::ranges::adjacent_find(polls) != polls.end();
    })) << service.errors();
}

TEST_P(ASecureWebService, WhoseCertificateIsReplacedByOneThatIsNotAcceptedGetsNoRequest) {
    const Certificate other = makeCertificate(home.path(), "other", local);
    auto service = std::make_unique<ServiceProcess>(data.path(), 0, optionsOf(good));
    const auto port = service->port();
    trust(service->host());
    start();
    ASSERT_TRUE(pollUntil([&] { return !peers(*service, "/GetTopFileUpload").empty(); }));
    service.reset();
    service = std::make_unique<ServiceProcess>(data.path(), port, optionsOf(other));
    const StatusReader::Members refused{{"State", isManaged() ? "retrying" : "offline"}, {"Reason", "transport -1202"}};
    ASSERT_TRUE(pollUntil([&] { return StatusReader::members(refused) == refused; }));
    expectNoRequest(*service);
    service.reset();
    service = std::make_unique<ServiceProcess>(data.path(), port, optionsOf(good));
    EXPECT_TRUE(pollUntil([&] { return !peers(*service, "/GetTopFileUpload").empty(); }));
}

INSTANTIATE_TEST_SUITE_P(Variations, ASecureWebService, ::testing::Values(modern, between, managedModern),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
