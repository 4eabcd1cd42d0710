// Servers that break off, and a service that is killed: the item continues where it stopped.

#include "EndToEnd/RealServiceFixture.h"
#include "Support/TlsServer.h"

#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

namespace Quenmark {

using TestSupport::HttpReply;
using TestSupport::HttpRequest;

class ABrokenTransfer : public RealServiceFixture {
protected:
    ABrokenTransfer() {
        wholeContent.reserve(size);
        for (std::size_t index = 0; index < size; ++index)
            wholeContent += static_cast<char>('a' + index * index % 26);
    }
    static constexpr std::size_t size = 3'000'000;
    std::string wholeContent;
};

TEST_P(ABrokenTransfer, ContinuesAfterTheServerCutTheBodyAnywhere) {
    data.write("outbox/7/a.bin", wholeContent);
    const ServiceProcess webService(data.path());
    const std::size_t header = downloadHeaderSize(webService);
    // Before the first byte, after it, in the middle of a piece, before the last byte: the bytes from where each
    // request begins.
    const std::vector<std::size_t> bodies = {0, 1, 1'234'566, size - 1 - 1'234'567};
    std::vector<std::string> faults;
    std::string expected;
    for (const std::size_t body : bodies) {
        faults.push_back(
            fault(streamOperation, R"({"kind":"close","afterBytes":)" + std::to_string(header + body) + "}"));
        expected += std::to_string(header + body) + ' ';
    }
    planFaults(webService, faults);
    deploy(webService.host());
    start();
    ASSERT_TRUE(pollUntil([&] { return pendingItems(webService) == 0; }));
    EXPECT_TRUE(contentOf(placed("a.bin")) == wholeContent);
    EXPECT_FALSE(exists(temporary("a.bin")));
    // The length of the last response, of one byte, has six digits less.
    EXPECT_EQ(sentBytes(webService, streamOperation),
              std::to_string(header + size) + ' ' + expected + std::to_string(header - 6 + 1) + ' ');
}

TEST_P(ABrokenTransfer, ContinuesAfterTheServiceWasKilled) {
    data.write("outbox/7/a.bin", wholeContent);
    const ServiceProcess webService(data.path());
    const std::size_t header = downloadHeaderSize(webService);
    planFaults(webService, {fault(streamOperation, R"({"kind":"stall","seconds":3600,"afterBytes":)" +
                                                       std::to_string(header + 2'000'000) + "}")});
    deploy(webService.host());
    start();
    ASSERT_TRUE(pollUntil([&] {
        std::error_code none;
        return std::filesystem::file_size(temporary("a.bin"), none) == 2'000'000 && !none;
    }));
    const auto process = serviceProcess();
    ASSERT_TRUE(process);
    ASSERT_EQ(::kill(*process, SIGKILL), 0);
    ASSERT_TRUE(pollUntil([&] { return !serviceProcess(); }));

    start();
    ASSERT_TRUE(pollUntil([&] { return pendingItems(webService) == 0; }));
    EXPECT_TRUE(contentOf(placed("a.bin")) == wholeContent);
    EXPECT_EQ(sentBytes(webService, streamOperation), std::to_string(header + size) + ' ' +
                                                          std::to_string(header + 2'000'000) + ' ' +
                                                          std::to_string(header + 1'000'000) + ' ');
}

TEST_P(ABrokenTransfer, IsAStreamErrorWhereAFileReachesTheLargestSize) {
    server.setHandler([&](const HttpRequest& request) {
        if (request.target == pollTarget)
            return HttpReply::json(count(streamTarget) == 0 ? item(R"(\\a.bin)") : nothing);
        return request.target == streamTarget ? HttpReply::ok(wholeContent, streamHeaders("\\a.bin"))
                                              : HttpReply::json(R"({"ReturnStatus":"0"})");
    });
    // What the bus launches has the limits of the bus.
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit million{1'000'000, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &million), 0);
    deploy(server.host());
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    start();
    ASSERT_TRUE(pollUntil([&] { return serviceProcess().has_value(); }));
    const auto process = serviceProcess();
    EXPECT_TRUE(
        bus->waitForLog("Stream error: Error Domain=POSIX Code=27 \"" + temporary("a.bin") + ": File too large\""));
    EXPECT_TRUE(pollUntil([&] { return count(pollTarget) >= 2; })) << "it goes on";
    EXPECT_EQ(serviceProcess(), process);
}

class AFaultyServer : public RealServiceFixture {};

/// As a captive portal does: the poll is sent on to a server that nobody trusts, and the next one gets a body that is
/// not in its coding.
TEST_P(AFaultyServer, ThatCannotBeTrustedOrDecodedIsPolledAgain) {
    const TestSupport::TlsServer portal;
    server.setHandler([&](const HttpRequest&) {
        switch (count(pollTarget)) {
        case 1:
            return HttpReply::status(302, "", {{"Location", portal.url("/login")}});
        case 2:
            return HttpReply::raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: gzip\r\n\r\nplease log in").thenClose();
        default:
            return HttpReply::json(nothing);
        }
    });
    deploy(server.host());
    start();
    EXPECT_TRUE(pollUntil([&] { return count(pollTarget) == 4; }));
}

TEST_P(AFaultyServer, WhoseFieldsAreNotUtf8GetsItsItemAcknowledgedAsText) {
    server.setHandler([&](const HttpRequest& request) {
        if (request.target == pollTarget)
            return HttpReply::json(count(acknowledgeTarget) == 0 ? item(R"(\\a.bin)") : nothing);
        if (request.target == streamTarget)
            return HttpReply::ok("content", streamHeaders("\\\xFC.txt"));
        return HttpReply::json(R"({"ReturnStatus":"0"})");
    });
    deploy(server.host());
    start();
    ASSERT_TRUE(pollUntil([&] { return count(acknowledgeTarget) == 1; }));
    const auto& requests = server.requests();
    const auto acknowledgement = std::find_if(requests.begin(), requests.end(), [](const HttpRequest& request) {
        return request.target == acknowledgeTarget;
    });
    EXPECT_NE(acknowledgement->body.find("\\\\\xC3\xBC.txt"), std::string::npos) << acknowledgement->body;
    // The gate is open again.
    EXPECT_TRUE(pollUntil([&] { return count(pollTarget) >= 2; }));
}

INSTANTIATE_TEST_SUITE_P(Variations, AFaultyServer, ::testing::Values(modern, between, wrapper),
                         [](const auto& suite) { return suite.param.name; });

INSTANTIATE_TEST_SUITE_P(Variations, ABrokenTransfer, ::testing::Values(modern, between, wrapper),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
