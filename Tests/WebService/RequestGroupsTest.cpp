// Requests of one turn of the loop, whose changes are stored together before any of them is answered.

#include "Support/FileSizeLimit.h"
#include "Support/HttpClient.h"
#include "Support/ServedApplication.h"
#include "Support/TestState.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <future>
#include <memory>
#include <stdexcept>
#include <vector>

namespace webservice::test {

namespace {

using Strings = std::vector<std::string>;

/// An application that records its groups and the steps in them. A request for /first keeps the loop until the others
/// have been sent, which it then finds ready in one turn.
class GroupingApplication : public ServedApplication {
public:
    GroupingApplication() {
        on("/first", [this] {
            begun_.set_value();
            sent_.get_future().wait();
            return textResponse("first");
        });
        on("/hello", [] { return textResponse("hello"); });
        for (std::size_t index = 0; index < paths.size(); ++index) {
            on(paths[index], [this, index]() -> Response {
                events.push_back(paths[index]);
                group_.push_back(index);
                if (paths[index] == failing)
                    throw std::runtime_error("the step fails");
                return textResponse(paths[index]);
            });
        }
    }

    void beginGroup() override { group_.clear(); }
    void endGroup() override {
        if (group_.empty())
            return; // that of another request
        events.emplace_back("end");
        for (const std::size_t index : group_)
            EXPECT_FALSE(clients[index]->hasReceived());
        if (!storeError.empty())
            throw std::runtime_error(storeError);
    }

    /// The statuses of the responses to /a, /b and /c, which are ready in one turn, in this order. The events are those
    /// of that turn.
    std::vector<int> statuses() {
        const std::uint16_t port = serve();
        const auto requestFor = [](const std::string& path) { return "GET " + path + " HTTP/1.1\r\n\r\n"; };
        while (clients.size() < paths.size()) {
            clients.push_back(std::make_unique<HttpClient>(port));
            clients.back()->exchange("GET", "/hello", "");
        }
        HttpClient first(port);
        first.send(requestFor("/first"));
        begun_.get_future().wait();
        for (std::size_t index = 0; index < paths.size(); ++index)
            clients[index]->send(requestFor(paths[index]));
        sent_.set_value();
        first.receive();
        std::vector<int> all;
        for (const auto& client : clients)
            all.push_back(client->receive().status);
        return all;
    }

    const Strings paths = {"/a", "/b", "/c"};
    Strings events;
    std::string failing;
    std::string storeError;
    std::vector<std::unique_ptr<HttpClient>> clients;

private:
    std::vector<std::size_t> group_; // the requests of the present group
    std::promise<void> begun_;
    std::promise<void> sent_;
};

} // namespace

TEST(ARequestGroup, IsStoredOnceBeforeAnyOfItsResponsesIsSent) {
    GroupingApplication application;
    EXPECT_EQ(application.statuses(), (std::vector{200, 200, 200}));
    EXPECT_EQ(application.events, (Strings{"/a", "/b", "/c", "end"}));
}

TEST(ARequestGroup, ThatCannotBeStoredIsAnErrorOfEachOfItsRequests) {
    GroupingApplication application;
    application.storeError = "the disk is full";
    EXPECT_EQ(application.statuses(), (std::vector{500, 500, 500}));
}

TEST(ARequestGroup, EndsWithARequestThatFails) {
    GroupingApplication application;
    application.failing = "/b";
    EXPECT_EQ(application.statuses(), (std::vector{200, 500, 200}));
    EXPECT_EQ(application.events, (Strings{"/a", "/b", "end", "/c", "end"}));
}

class EndedRequest : public RequestProgress {
public:
    std::uint64_t sent() const override { return 0; }
    std::chrono::duration<double, std::milli> time() const override { return {}; }
};

class AGroupOfChanges : public WithState {
protected:
    AGroupOfChanges() { application.beginGroup(); }

    /// What another process sees of the outbox.
    std::int64_t visibleItems() const {
        Database other(folder.path("data/state.db").string());
        Query row = other.query("SELECT count(*) FROM uploads");
        row.next();
        return row.integer(0);
    }

    /// The body of the response, of this application.
    std::string ask(std::string_view method, std::string_view target, std::string_view body = "") {
        Request head;
        head.method = method;
        head.target = target;
        const auto exchange = application.begin(head);
        exchange->receive(body);
        return exchange->finish().body;
    }

    /// A reader of the console's events, who has the first one.
    std::shared_ptr<EventSource> readEvents() {
        Request head;
        head.method = "GET";
        head.target = "/api/events";
        auto events = application.begin(head)->finish().events;
        EXPECT_EQ(events->take(EventSource::Clock::now()), "event: hello\ndata: {\"version\":\"\"}\n\n");
        return events;
    }

    /// The response to a request was sent.
    void acknowledgementEnds(const std::string& item) {
        Request head;
        head.method = "POST";
        head.target = "/QuenmarkRestService/Uploads.svc/UpdateFileUpload";
        const auto record = application.record(head, "127.0.0.1:1");
        record->received(R"({"FileUploadID":")" + item + "\"}");
        record->ended(EndedRequest());
    }

    void pushItem() { EXPECT_EQ(request("PUT", "/outbox/7/a.txt", "x").status, 201); }

    WebApplication application{*state};
    const std::filesystem::path content = folder.path("data/outbox/7/a.txt");
};

TEST_F(AGroupOfChanges, IsOneTransaction) {
    pushItem();
    EXPECT_EQ(visibleItems(), 0);
    application.endGroup();
    EXPECT_EQ(visibleItems(), 1);
    application.endGroup(); // there is none
}

TEST_F(AGroupOfChanges, KeepsThoseOfTheOthersWhereARequestFails) {
    pushItem();
    EXPECT_EQ(call("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":"9"})"),
              R"({"ReturnStatus":"1","error":{"code":"UnknownUpload","message":"there is no upload 9"}})");
    application.endGroup();
    EXPECT_EQ(visibleItems(), 1);
}

TEST_F(AGroupOfChanges, ThatCannotBeStoredDestroysNothingForAReset) {
    pushItem();
    application.endGroup();
    ask("PUT", "/faults", R"({"faults":[{"action":{"kind":"status","code":500,"body":""}}]})");
    application.beginGroup();
    EXPECT_EQ(request("PUT", "/outbox/7/b.txt", "x").status, 201);
    {
        std::signal(SIGXFSZ, SIG_IGN);
        const FileSizeLimit full(0);
        EXPECT_THROW(ask("POST", "/api/reset"), DatabaseError);
        EXPECT_THROW(application.endGroup(), DatabaseError) << "the push is not stored";
    }
    EXPECT_EQ(visibleItems(), 1);
    EXPECT_TRUE(std::filesystem::exists(content));
    EXPECT_NE(ask("GET", "/faults"), R"({"faults":[]})");
    EXPECT_EQ(acknowledgeAll("7"), (Strings{"\\a.txt", "\\b.txt"}));
}

TEST_F(AGroupOfChanges, IsStoredByAResetAtOnce) {
    pushItem();
    EXPECT_EQ(ask("POST", "/api/reset"), "{}");
    EXPECT_FALSE(std::filesystem::exists(content));
    EXPECT_EQ(request("PUT", "/outbox/7/b.txt", "x").status, 201);
    EXPECT_EQ(visibleItems(), 1) << "there is nothing that could undo it";
    application.endGroup();
    EXPECT_EQ(acknowledgeAll("7"), Strings({"\\b.txt"}));
}

TEST_F(AGroupOfChanges, ThatCannotBeStoredDestroysNoFileOfAnItemThatIsWithdrawn) {
    pushItem();
    application.endGroup();
    for (const char* target : {"/api/items/1/withdraw", "/api/computers/7/clear"}) {
        application.beginGroup();
        {
            std::signal(SIGXFSZ, SIG_IGN);
            const FileSizeLimit full(0);
            EXPECT_THROW(ask("POST", target), DatabaseError) << target;
            EXPECT_THROW(application.endGroup(), DatabaseError);
        }
        EXPECT_TRUE(std::filesystem::exists(content)) << target;
        EXPECT_EQ(next("7"), "\\a.txt") << target;
    }
    EXPECT_EQ(ask("POST", "/api/items/1/withdraw"), "{}");
    EXPECT_FALSE(std::filesystem::exists(content));
}

TEST_F(AGroupOfChanges, RemovesAContentOnceThatIsStored) {
    call("Registration.svc/VerifyAndRegisterUserFromTool", R"({"MailID":"ann@example.org","Password":"a"})");
    call("Registration.svc/RegisterComputer", R"({"UserID":"1","QuenmarkPath":"home"})");
    const auto change = [this](const char* type) {
        return call("SyncFileChanges.svc/SyncFilesInTableAndCloud",
                    R"([{"ComputerID":"2","FullPath":"a","ChangeType":")" + std::string(type) + "\"}]");
    };
    change("Created");
    request("POST", "/QuenmarkRestService/Downloads.svc/UpdateFileRequestWithStream", "content",
            {{"FilePath", "a"}, {"FileRequestID", "1"}, {"TransitDownloadPath", "x"}});
    application.endGroup();
    for (const bool isStored : {false, true}) {
        EXPECT_EQ(contentOf(folder.path("data/cloud/1")), "content");
        application.beginGroup();
        EXPECT_EQ(change("Deleted"), R"([{"FileID":"1","ReturnStatus":"0","BaseSystemFileID":null}])");
        if (!isStored) {
            state->db.run("ROLLBACK");
            EXPECT_THROW(application.endGroup(), DatabaseError);
        }
    }
    EXPECT_EQ(contentOf(folder.path("data/cloud/1")), "content");
    application.endGroup();
    EXPECT_FALSE(std::filesystem::exists(folder.path("data/cloud/1")));
}

TEST_F(AGroupOfChanges, IsShownByTheConsoleOnceItIsStored) {
    application.endGroup();
    for (const bool isStored : {false, true}) {
        const auto reader = readEvents();
        application.beginGroup();
        pushItem();
        acknowledgementEnds("1");
        EXPECT_EQ(reader->take(EventSource::Clock::now()), "");
        ask("GET", "/api/requests");
        if (!isStored)
            state->db.run("ROLLBACK");
        if (isStored)
            application.endGroup();
        else
            EXPECT_THROW(application.endGroup(), DatabaseError);
        const std::string shown = isStored ? R"("computer":"7")" : R"("computer":null)";
        const std::string events = reader->take(EventSource::Clock::now());
        EXPECT_TRUE(events.starts_with("event: request\n")) << events;
        EXPECT_NE(events.find(shown), std::string::npos) << events;
        EXPECT_NE(ask("GET", "/api/requests?limit=1").find(shown), std::string::npos);
        acknowledgementEnds("9");
        EXPECT_TRUE(reader->take(EventSource::Clock::now()).starts_with("event: request\n")) << "it waits for nothing";
    }
}

TEST_F(AGroupOfChanges, IsAnErrorWhereSomethingHasUndoneThem) {
    pushItem();
    EXPECT_EQ(next("7"), "\\a.txt"); // and the events of the item have been read
    state->db.run("ROLLBACK");       // as SQLite does by itself after some errors
    try {
        application.endGroup();
        FAIL() << "nothing was thrown";
    } catch (const DatabaseError& error) {
        EXPECT_STREQ(error.what(), "an earlier error has undone the changes");
    }
    EXPECT_EQ(visibleItems(), 0);
    EXPECT_EQ(next("7"), "\\a.txt") << "the item is lost with its record";
}

} // namespace webservice::test
