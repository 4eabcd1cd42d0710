// What the doctor says of the web service: the steps of a request, up to the first that fails.

#include "DoctorText.h"
#include "Platform/Loop/RunLoop.h"
#include "Support/HttpServer.h"
#include "Tools/Doctor/HostChecks.h"

#include <gtest/gtest.h>

namespace ToolTest {

using namespace Tools;
using Platform::LoadStage;

namespace {

constexpr const char* plainRoot = "http://web.example/QuenmarkRestService/";
constexpr const char* secureRoot = "https://web.example/QuenmarkRestService/";
const std::string hostFound = "ok|host name|web.example is found|\n";
const std::string connected = hostFound + "ok|connection|made to web.example|\n";
const std::string secured = connected + "ok|TLS|the certificate is accepted|\n";

std::string ofError(int code, const char* root = secureRoot) {
    return textOf(
        hostChecks({.host = "web.example", .serviceRoot = root, .error = Platform::UrlError::make(code, "\x1b[2J")}));
}

std::string ofStage(LoadStage stage, const char* root = secureRoot) {
    return textOf(hostChecks({.host = "web.example", .serviceRoot = root, .stage = stage}));
}

std::string ofStatus(int status, const char* root = secureRoot) {
    return textOf(hostChecks({.host = "web.example", .serviceRoot = root, .status = status}));
}

class AHostQuestion : public testing::Test {
protected:
    std::string answer(const std::string& host) {
        std::optional<HostFindings> findings;
        HostProbe probe({.serviceHost = host}, [&](const HostFindings& given) { findings = given; });
        probe.start();
        EXPECT_TRUE(loop.runUntil([&] {
            if (isLate)
                clock.advance(HostProbe::limit);
            return findings.has_value();
        }));
        return findings ? textOf(hostChecks(*findings)) : "";
    }

    Platform::ManualClock clock;
    Platform::RunLoop loop{clock};
    TestSupport::HttpServer server;
    /// Whether the time of the probe is over once the server has its request.
    bool isLate = false;
};

} // namespace

TEST(TheChecksOfTheHost, AreFineWhereItResponds) {
    EXPECT_EQ(ofStatus(200, plainRoot),
              connected + "ok|HTTP|http://web.example/QuenmarkRestService/ responds with status 200|\n");
    EXPECT_EQ(ofStatus(404), secured + "ok|HTTP|https://web.example/QuenmarkRestService/ responds with status 404|\n");
    EXPECT_EQ(ofStatus(500), secured + "warning|HTTP|https://web.example/QuenmarkRestService/ responds with status "
                                       "500|Look into the log of the web service\n");
}

TEST(TheChecksOfTheHost, SayThatItIsNotFound) {
    const std::string advice = "|Check serviceHost in deployment.json, and the name servers of this machine\n";
    EXPECT_EQ(ofError(-1003), "failure|host name|web.example: The host name was not found: \\x1B[2J" + advice);
    EXPECT_EQ(ofError(-1000),
              "failure|host name|web.example: The request has no usable URL or headers: \\x1B[2J" + advice);
    EXPECT_EQ(ofStage(LoadStage::Waiting), "failure|host name|web.example: takes longer than 10 s" + advice);
}

TEST(TheChecksOfTheHost, SayThatNoConnectionCanBeMade) {
    const std::string advice = "|Check that the web service runs there, and that no firewall is in between\n";
    EXPECT_EQ(ofError(-1004),
              hostFound + "failure|connection|web.example: Could not connect to the host: \\x1B[2J" + advice);
    EXPECT_EQ(ofStage(LoadStage::HostFound),
              hostFound + "failure|connection|web.example: takes longer than 10 s" + advice);
}

TEST(TheChecksOfTheHost, SayThatItIsNotTrusted) {
    const std::string advice =
        "|Check the certificate of the web service, and certificateAuthorities in deployment.json\n";
    EXPECT_EQ(ofError(-1202), connected +
                                  "failure|TLS|web.example: The certificate of the server was not accepted: "
                                  "\\x1B[2J" +
                                  advice);
    EXPECT_EQ(ofError(-1200),
              connected + "failure|TLS|web.example: No secure connection could be made: \\x1B[2J" + advice);
    EXPECT_EQ(ofStage(LoadStage::Connected), connected + "failure|TLS|web.example: takes longer than 10 s" + advice);
}

TEST(TheChecksOfTheHost, SayThatItDoesNotRespond) {
    const std::string advice = "|Check that this is the address of the web service\n";
    const std::string root = "failure|HTTP|https://web.example/QuenmarkRestService/: ";
    EXPECT_EQ(ofError(-1005), secured + root + "The network connection was lost: \\x1B[2J" + advice);
    EXPECT_EQ(ofError(-1011), secured + root + "The response is not HTTP: \\x1B[2J" + advice);
    EXPECT_EQ(ofStage(LoadStage::Secured), secured + root + "takes longer than 10 s" + advice);
    EXPECT_EQ(ofStage(LoadStage::Connected, plainRoot),
              connected + "failure|HTTP|http://web.example/QuenmarkRestService/: takes longer than 10 s" + advice);
}

TEST(TheChecksOfTheHost, KnowAnAddress) {
    for (const char* host : {"127.0.0.1", "127.0.0.1:80", "[::1]:80"})
        EXPECT_EQ(textOf({hostChecks({.host = host, .serviceRoot = plainRoot, .status = 200}).front()}),
                  std::string("ok|host name|") + host + " is an address|\n");
    EXPECT_EQ(textOf({hostChecks({.host = "a1.b:80", .serviceRoot = plainRoot, .status = 200}).front()}),
              "ok|host name|a1.b:80 is found|\n");
}

TEST_F(AHostQuestion, AsksForTheServiceRoot) {
    server.enqueue(TestSupport::HttpReply::status(404, "no such operation"));
    const std::string host = server.host();
    EXPECT_EQ(answer(host), "ok|host name|" + host + " is an address|\nok|connection|made to " + host +
                                "|\nok|HTTP|http://" + host + "/QuenmarkRestService/ responds with status 404|\n");
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].method, "GET");
    EXPECT_EQ(server.requests()[0].target, "/QuenmarkRestService/");
}

TEST_F(AHostQuestion, EndsInTimeWhereNothingResponds) {
    server.setHandler([this](const auto&) {
        isLate = true;
        return TestSupport::HttpReply::silence();
    });
    const auto text = answer(server.host());
    EXPECT_NE(text.find("\nfailure|HTTP|http://" + server.host() + "/QuenmarkRestService/: takes longer than 10 s|"),
              std::string::npos)
        << text;
}

TEST_F(AHostQuestion, IsAnsweredByARefusedConnection) {
    server.stopListening();
    const auto text = answer(server.host());
    EXPECT_NE(text.find("\nfailure|connection|" + server.host() + ": Could not connect to the host"), std::string::npos)
        << text;
}

TEST_F(AHostQuestion, IsAnsweredByAServerThatSpeaksNoHttp) {
    server.enqueue(TestSupport::HttpReply::raw("SSH-2.0-x\r\n").thenClose());
    const auto text = answer(server.host());
    EXPECT_NE(text.find("\nfailure|HTTP|"), std::string::npos) << text;
}

TEST_F(AHostQuestion, IsAnsweredWhereThereIsNoHost) {
    const auto text = answer("");
    EXPECT_TRUE(text.starts_with("failure|host name|: ")) << text;
}

} // namespace ToolTest
