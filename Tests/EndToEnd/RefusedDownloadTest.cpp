// An error of the web service never becomes a file of the user.

#include "EndToEnd/RealServiceFixture.h"
#include "Support/HttpClient.h"

#include <sys/resource.h>

namespace Quenmark {

using webservice::test::HttpClient;

class ARefusedDownload : public RealServiceFixture {
protected:
    /// A web service whose files cannot become longer than this.
    void startWebService(rlim_t bytes) {
        rlimit before{};
        ::getrlimit(RLIMIT_FSIZE, &before);
        const rlimit limited{bytes, before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limited);
        service = std::make_unique<ServiceProcess>(data.path());
        ::setrlimit(RLIMIT_FSIZE, &before);
    }

    /// Lets the web service write until there is no more room, as on a full disk.
    void fillDisk() {
        for (const std::size_t length : {60'000U, 1U}) {
            const std::string report = R"({"ErrorMessage":")" + std::string(length, 'x') + "\"}";
            while (HttpClient(service->port()).post("MAC/ErrorLog.svc/LogError", report).status == 200) {
            }
        }
    }

    /// How many downloads the web service has refused with an internal error.
    std::size_t refusals() const {
        const std::string log = service->errors();
        const std::string mark = "GetTopFileUploadWithStream 500 ";
        std::size_t count = 0;
        for (auto at = log.find(mark); at != std::string::npos; at = log.find(mark, at + 1))
            ++count;
        return count;
    }

    std::unique_ptr<ServiceProcess> service;
};

TEST_P(ARefusedDownload, IsNeitherPlacedNorAcknowledgedAndIsTriedAgain) {
    data.write("outbox/7/a.txt", "hello");
    startWebService(1 << 20);
    // The item is offered before the disk is full, so that later polls have nothing to write.
    HttpClient(service->port()).post("Uploads.svc/GetTopFileUpload", R"({"ToComputerID":"7"})");
    fillDisk();
    deploy(service->host());
    start();
    ASSERT_TRUE(pollUntil([&] { return refusals() >= 2; })) << service->errors();
    EXPECT_EQ(pendingItems(*service), 1);
    EXPECT_FALSE(exists(placed("a.txt")));
    EXPECT_FALSE(exists(temporary("a.txt")));
}

INSTANTIATE_TEST_SUITE_P(Variations, ARefusedDownload, ::testing::Values(modern, between),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
