// The disk of the state is full while several requests are worked on at once: each of them whose change is not stored
// gets an error, and none of what was answered with success is lost.

#include "Support/HttpClient.h"
#include "Support/ServiceProcess.h"
#include "Support/SmallDisk.h"
#include "Support/TemporaryFolder.h"

#include <boost/json.hpp>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace webservice::test {

namespace {

constexpr const char* stored = R"({"ReturnStatus":"0","error":null})";

/// Clients that report errors, which the service lists, all at the same time.
class Reporters {
public:
    void connect(std::uint16_t port) {
        clients_.clear();
        for (int i = 0; i < 6; ++i)
            clients_.push_back(std::make_unique<HttpClient>(port));
    }

    /// Each sends one report and gets its response; how many were refused.
    int report() {
        const int first = last_ + 1;
        for (const auto& client : clients_) {
            const std::string body = R"({"ErrorMessage":")" + std::to_string(++last_) + std::string(4000, ' ') + "\"}";
            client->send("POST /QuenmarkRestService/MAC/ErrorLog.svc/LogError HTTP/1.1\r\nContent-Length: " +
                         std::to_string(body.size()) + "\r\n\r\n" + body);
        }
        int refused = 0;
        for (std::size_t i = 0; i < clients_.size(); ++i) {
            const HttpResponse response = clients_[i]->receive();
            if (response.status == 200) {
                EXPECT_EQ(response.body, stored);
                stored_.insert(first + static_cast<int>(i));
                continue;
            }
            ++refused;
            EXPECT_EQ(response.status, 500);
            EXPECT_EQ(response.body.substr(0, 55), R"({"ReturnStatus":"1","error":{"code":"InternalError","me)");
            clients_[i] = std::make_unique<HttpClient>(port_);
        }
        return refused;
    }

    /// Compares what the service has with what it has said.
    void verify() const {
        std::set<int> listed;
        HttpClient client(port_);
        const boost::json::value page = boost::json::parse(client.exchange("GET", "/api/errors?limit=1000", "").body);
        for (const boost::json::value& error : page.at("errors").as_array())
            listed.insert(std::stoi(std::string(error.at("message").as_string())));
        EXPECT_EQ(listed, stored_);
    }

    void serveAt(std::uint16_t port) {
        port_ = port;
        connect(port);
    }

private:
    std::uint16_t port_ = 0;
    std::vector<std::unique_ptr<HttpClient>> clients_;
    std::set<int> stored_; // the reports that were answered with success
    int last_ = 0;
};

/// Runs in a process of its own, which has the small disk.
void reportOnASmallDisk(const std::string& data) {
    const SmallDisk disk(data, "2m");
    Reporters reporters;
    {
        ServiceProcess service(data);
        reporters.serveAt(service.port());
        EXPECT_EQ(reporters.report(), 0);
        disk.fill();
        int refused = 0;
        for (int round = 0; round < 200 && refused < 18; ++round)
            refused += reporters.report();
        EXPECT_GE(refused, 18) << "the disk is not full";
        EXPECT_NE(service.errors().find("database or disk is full"), std::string::npos) << service.errors();
        reporters.verify();
        disk.makeRoom();
        EXPECT_EQ(reporters.report(), 0) << service.errors();
        reporters.verify();
        service.signal(SIGKILL);
        EXPECT_EQ(service.exitStatus(), 128 + SIGKILL);
    }
    const ServiceProcess service(data);
    reporters.serveAt(service.port());
    reporters.verify();
    EXPECT_EQ(reporters.report(), 0);
}

} // namespace

TEST(AFullDisk, RefusesWhatIsNotStoredAndLosesNothingThatIs) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const TemporaryFolder folder;
    const auto run = [&folder] {
        folder.makeFolder("data");
        enterNamespaces();
        reportOnASmallDisk(folder.path("data").string());
        folder.remove("");
        std::fputs(::testing::Test::HasFailure() ? "failed\n" : "done\n", stderr);
        std::_Exit(0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "done\n$");
}

} // namespace webservice::test
