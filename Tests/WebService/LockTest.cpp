// Another process works on the database of the service.

#include "Support/HttpClient.h"
#include "Support/LockedDatabase.h"
#include "Support/ServedState.h"
#include "WebService/Storage/Schema.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <fstream>
#include <string>
#include <thread>

namespace webservice::test {

namespace {

using namespace std::chrono_literals;

constexpr const char* nothing = R"({"ReturnStatus":"1","error":null})";

/// Whether the thread of this process sleeps in the kernel.
bool isAsleep(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(file, text);
    return text.find(") S") != std::string::npos;
}

} // namespace

TEST(ALockedDatabase, IsWaitedForWhileOthersAreServed) {
    const ServedState service(10min);
    HttpClient waiting(service.port());
    {
        const LockedDatabase locked(service.folder.path("data/state.db").string());
        waiting.send("POST /QuenmarkRestService/Uploads.svc/GetTopFileUpload HTTP/1.1\r\nHost: "
                     "localhost\r\nContent-Length: 20\r\n\r\n"
                     R"({"ToComputerID":"7"})");
        HttpClient other(service.port());
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(other.exchange("GET", "/nowhere", "").status, 404);
    }
    EXPECT_EQ(waiting.receive().body, nothing);
}

TEST(ALockedDatabase, IsAnErrorAfterTheBusyTimeout) {
    const ServedState service(20ms);
    const LockedDatabase locked(service.folder.path("data/state.db").string());
    for (const char* page : {"/status", "/mails", "/activate?code=x"})
        EXPECT_EQ(HttpClient(service.port()).exchange("GET", page, "").status, 500) << page;
    const HttpResponse response =
        HttpClient(service.port()).post("Uploads.svc/GetTopFileUpload", R"({"ToComputerID":"7"})");
    EXPECT_EQ(response.body, R"({"ReturnStatus":"1","error":{"code":"InternalError",)"
                             R"("message":"another process has the database locked"}})");
    EXPECT_EQ(HttpClient(service.port()).exchange("PUT", "/outbox/7/a", "x").status, 500);
}

TEST(ALockedDatabase, IsWaitedForAtTheStart) {
    const TemporaryFolder folder;
    const std::string path = folder.path("state.db").string();
    const pid_t main = ::gettid();
    auto locked = std::make_unique<Database>(path);
    locked->script("CREATE TABLE other (a INTEGER); BEGIN EXCLUSIVE");
    std::thread unlocking([&] {
        while (!isAsleep(main))
            std::this_thread::yield();
        locked->script("COMMIT");
    });
    const StateDatabase db(path, 10min);
    unlocking.join();
    EXPECT_EQ(db.busyTimeout(), 10min);
}

TEST(ALockedDatabase, EndsTheStartAfterTheBusyTimeout) {
    const TemporaryFolder folder;
    const std::string path = folder.path("state.db").string();
    const LockedDatabase locked(path);
    EXPECT_THROW(StateDatabase(path, 20ms), DatabaseBusy);
}

TEST(ATransaction, DoesNotFailBecauseAnotherProcessHasWrittenSinceItsBeginning) {
    const TemporaryFolder folder;
    Database first(folder.path("t.db").string(), 20ms);
    Database second(folder.path("t.db").string(), 20ms);
    first.script("CREATE TABLE t (a INTEGER)");
    Transaction transaction(first);
    EXPECT_FALSE(first.query("SELECT a FROM t").next());
    EXPECT_THROW(second.run("INSERT INTO t VALUES (1)"), DatabaseBusy);
    first.run("INSERT INTO t VALUES (2)");
    transaction.commit();
    EXPECT_EQ(second.run("INSERT INTO t VALUES (1)"), 1);
    EXPECT_TRUE(Transaction::ifUnlocked(first));
    const Transaction other(second);
    EXPECT_FALSE(Transaction::ifUnlocked(first));
}

} // namespace webservice::test
