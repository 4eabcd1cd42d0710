// The service is killed again and again, at any moment, while several clients push, poll, acknowledge and register:
// whatever it has answered is still so when it runs again.

#include "Support/HttpClient.h"
#include "Support/ServiceProcess.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestState.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace webservice::test {

namespace {

using Random = std::mt19937;

int chosen(Random& random, int most) {
    return std::uniform_int_distribution<>(0, most)(random);
}

/// What a client knows of something that it has asked for.
enum class Known { No, Perhaps, Yes };

/// A client that sends one request after the other, and what the service has told it.
class Caller {
public:
    Caller() = default;
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;
    virtual ~Caller() = default;

    /// Compares what the service says now with all that it has said before.
    virtual void verify(HttpClient& service) = 0;

    void connect(std::uint16_t port) { client_.emplace(port); }
    bool hasResponse() const { return client_->hasReceived(); }
    virtual void sendNext(Random& random) = 0;
    void receive() { onResponse(client_->receive()); }

    /// Takes what the service has sent before it was killed.
    void receiveLast() {
        std::optional<HttpResponse> last;
        try {
            last = client_->receive();
        } catch (const std::runtime_error&) {
            return; // there is none, or not all of it
        }
        onResponse(*last);
    }

protected:
    void send(std::string_view method, const std::string& target, std::string_view body) {
        client_->send(std::string(method) + ' ' + target +
                      " HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + std::string(body));
    }
    void call(const std::string& operation, std::string_view json) {
        send("POST", "/QuenmarkRestService/" + operation, json);
    }

private:
    virtual void onResponse(const HttpResponse& response) = 0;

    std::optional<HttpClient> client_;
};

/// Pushes files for one computer, polls for them and acknowledges them.
class Computer : public Caller {
public:
    explicit Computer(std::string name) : name_(std::move(name)) {}

    void sendNext(Random& random) override {
        switch (last_ = static_cast<Request>(chosen(random, polled_ ? 2 : 1)); last_) {
        case Request::Push:
            items_.push_back({.isThere = Known::Perhaps});
            send("PUT", "/outbox/" + name_ + nameOf(items_.size() - 1), contentOf(items_.size() - 1));
            break;
        case Request::Poll:
            call("Uploads.svc/GetTopFileUpload", query());
            break;
        case Request::Acknowledge:
            items_[*polled_].isAcknowledged = Known::Perhaps;
            call("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":")" + items_[*polled_].id + "\"}");
            break;
        }
    }

    void verify(HttpClient& service) override {
        see(service.post("Uploads.svc/GetTopFileUpload", query()).body);
        if (!polled_)
            return;
        const std::string body = service.post("Uploads.svc/GetTopFileUploadWithStream", query()).body;
        EXPECT_EQ(body, contentOf(*polled_));
    }

    /// Takes everything that is still to be taken.
    void drain(HttpClient& service) {
        for (verify(service); polled_; verify(service)) {
            const std::string id = items_[*polled_].id;
            EXPECT_EQ(service.post("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":")" + id + "\"}").body,
                      R"({"ReturnStatus":"0","error":null})");
            items_[*polled_].isAcknowledged = Known::Yes;
        }
    }

private:
    enum class Request { Push, Poll, Acknowledge };
    struct Item {
        Known isThere = Known::No;
        Known isAcknowledged = Known::No;
        std::string id = {}; // once a poll has named it
    };

    static std::string nameOf(std::size_t index) { return "/" + std::to_string(index) + ".txt"; }
    std::string contentOf(std::size_t index) const { return name_ + nameOf(index); }
    std::string query() const { return R"({"ToComputerID":")" + name_ + "\"}"; }

    void onResponse(const HttpResponse& response) override {
        switch (last_) {
        case Request::Push:
            EXPECT_EQ(response.status, 201) << response.body;
            items_.back().isThere = Known::Yes;
            break;
        case Request::Poll:
            see(response.body);
            break;
        case Request::Acknowledge:
            EXPECT_EQ(response.body, R"({"ReturnStatus":"0","error":null})");
            items_[*polled_].isAcknowledged = Known::Yes;
            polled_.reset();
            break;
        }
    }

    /// A poll names the first item that is there and not acknowledged, always by the same identifier.
    void see(const std::string& response) {
        polled_.reset();
        const bool isNothing = field(response, "ReturnStatus") == "1";
        const std::string name = isNothing ? "" : field(response, "FileName");
        for (std::size_t index = 0; index < items_.size(); ++index) {
            Item& item = items_[index];
            if (!isNothing && name == "\\" + nameOf(index).substr(1)) {
                EXPECT_NE(item.isAcknowledged, Known::Yes) << response;
                EXPECT_TRUE(item.id.empty() || item.id == field(response, "FileUploadID")) << item.id << response;
                item = {.isThere = Known::Yes, .isAcknowledged = Known::No, .id = field(response, "FileUploadID")};
                polled_ = index;
                return;
            }
            const bool isPending = item.isThere == Known::Yes && item.isAcknowledged == Known::No;
            EXPECT_FALSE(isPending) << name_ << nameOf(index) << " is missing before " << response;
            item.isAcknowledged = Known::Yes; // or never there
        }
        EXPECT_TRUE(isNothing) << response;
    }

    std::string name_;
    std::vector<Item> items_;
    std::optional<std::size_t> polled_;
    Request last_ = Request::Poll;
};

/// Registers users.
class Registrar : public Caller {
public:
    void sendNext(Random&) override {
        users_.emplace_back();
        call("Registration.svc/VerifyAndRegisterUserFromTool", user(users_.size() - 1));
    }

    void verify(HttpClient& service) override {
        for (; verified_ < users_.size(); ++verified_) {
            const std::string body =
                service.post("Registration.svc/VerifyAndRegisterUserFromTool", user(verified_)).body;
            if (users_[verified_].empty())
                continue;
            EXPECT_EQ(field(body, "ReturnVal"), "Verified");
            EXPECT_EQ(field(body, "UserID"), users_[verified_]);
        }
    }

private:
    static std::string user(std::size_t number) {
        return R"({"MailID":"user)" + std::to_string(number) + R"(@example.com","Password":"secret"})";
    }
    void onResponse(const HttpResponse& response) override {
        EXPECT_EQ(field(response.body, "ReturnVal"), "Registered");
        users_.back() = field(response.body, "UserID");
    }

    std::vector<std::string> users_; // their identifiers, where they were answered
    std::size_t verified_ = 0;
};

class AWebServiceThatIsKilled : public ::testing::Test {
protected:
    AWebServiceThatIsKilled() {
        for (const char* name : {"a", "b", "c", "d", "e", "f"})
            computers.push_back(std::make_unique<Computer>(name));
    }

    std::vector<Caller*> callers() {
        std::vector<Caller*> all = {&registrar};
        for (const auto& computer : computers)
            all.push_back(computer.get());
        return all;
    }

    /// Lets the service answer some requests, and kills it while it works on others. They are sent all at once, so that
    /// it has several of them in one turn of its loop.
    void workAndKill(ServiceProcess& service) {
        for (Caller* caller : callers()) {
            caller->connect(service.port());
            caller->sendNext(random);
        }
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        for (int left = chosen(random, 60); left > 0;) {
            ASSERT_LT(std::chrono::steady_clock::now(), end) << "the service does not respond";
            for (Caller* caller : callers()) {
                if (left > 0 && caller->hasResponse()) {
                    caller->receive();
                    caller->sendNext(random);
                    --left;
                }
            }
        }
        for (int turns = chosen(random, 30); turns > 0; --turns)
            std::this_thread::yield();
        service.signal(SIGKILL);
        EXPECT_EQ(service.exitStatus(), 128 + SIGKILL);
        for (Caller* caller : callers())
            caller->receiveLast();
    }

    TemporaryFolder folder;
    Registrar registrar;
    std::vector<std::unique_ptr<Computer>> computers;
    Random random;
};

} // namespace

TEST_F(AWebServiceThatIsKilled, StillKnowsAllThatItHasAnswered) {
    const char* kills = std::getenv("QUENMARK_KILLS");
    const char* given = std::getenv("QUENMARK_KILLS_SEED");
    const unsigned seed = given != nullptr ? static_cast<unsigned>(std::stoul(given)) : 1;
    SCOPED_TRACE("QUENMARK_KILLS_SEED=" + std::to_string(seed));
    random.seed(seed);
    for (int kill = kills != nullptr && std::string_view(kills) == "all" ? 100 : 6; kill > 0; --kill) {
        ServiceProcess service(folder.path("data").string());
        HttpClient client(service.port());
        for (Caller* caller : callers())
            caller->verify(client);
        workAndKill(service);
        if (HasFailure())
            return;
    }
    const ServiceProcess service(folder.path("data").string());
    HttpClient client(service.port());
    for (const auto& computer : computers)
        computer->drain(client);
}

} // namespace webservice::test
