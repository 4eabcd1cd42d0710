// Exchanges that work on the state in slices, beside others.

#include "Support/LockedDatabase.h"
#include "Support/TwoUsers.h"

#include <chrono>

namespace webservice::test {

namespace {

using namespace std::chrono_literals;

class ASlicedExchange : public WithTwoUsers {
protected:
    /// A request that takes many slices.
    std::unique_ptr<Exchange> longRequest() {
        std::string lines;
        for (int i = 0; i < 5000; ++i)
            lines += "folder\\\\" + std::to_string(i) + "\\n";
        return begin("Registration.svc/OneTimeSyncFiles", R"({"ComputerID":"2","AllFiles":")" + lines + "\"}");
    }

    std::string databasePath() { return folder.path("data/state.db").string(); }

    /// Opens the state anew, with another busy timeout.
    void restartWith(std::chrono::milliseconds busyTimeout) {
        state.reset();
        state.emplace(folder.path("data").string(), busyTimeout);
    }

    static void waitUntil(std::chrono::steady_clock::time_point time) {
        while (std::chrono::steady_clock::now() < time) {
        }
    }
};

} // namespace

TEST_F(ASlicedExchange, HasTheBusyTimeoutForEachTimeThatTheDatabaseIsLocked) {
    restartWith(300ms);
    const auto exchange = longRequest();
    ASSERT_FALSE(exchange->step());
    const auto start = std::chrono::steady_clock::now();
    {
        const LockedDatabase locked(databasePath());
        EXPECT_FALSE(exchange->step());
    }
    waitUntil(start + 50ms); // the database is not tried again at once
    ASSERT_FALSE(exchange->step());
    waitUntil(start + 320ms);
    {
        const LockedDatabase locked(databasePath());
        EXPECT_FALSE(exchange->step());
    }
    waitUntil(start + 370ms);
    EXPECT_EQ(exchange->finish().body, accepted);
}

TEST_F(ASlicedExchange, FailsWhereTheDatabaseStaysLocked) {
    restartWith(30ms);
    const LockedDatabase locked(databasePath());
    const auto exchange = begin("Uploads.svc/GetTopFileUpload", R"({"ToComputerID":"7"})");
    const auto start = std::chrono::steady_clock::now();
    try {
        exchange->finish();
        FAIL();
    } catch (const DatabaseBusy& error) {
        EXPECT_STREQ(error.what(), "another process has the database locked");
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, 30ms);
}

TEST_F(ASlicedExchange, KeepsWhatItHasDoneInASliceWhenItIsAbandoned) {
    {
        const auto exchange = longRequest();
        while (true) {
            ASSERT_FALSE(exchange->step());
            Query row = state->db.query("SELECT count(*) FROM files");
            row.next();
            if (row.integer(0) > 0)
                break;
        }
    }
    EXPECT_EQ(field(call("Downloads.svc/GetTopFileRequest", R"({"FromComputerID":"2"})"), "FilePath"), "folder\\0");
}

TEST_F(ASlicedExchange, KeepsNothingOfASliceThatFails) {
    sync(R"({"ComputerID":"2","ChangeType":"Created","FullPath":"a"})");
    // The path is changed before the error is raised.
    expectRefusal("Registration.svc/OneTimeSyncFiles", R"({"ComputerID":"2","QuenmarkPath":"new","AllFiles":"[7]"})",
                  "WrongType", "an entry of \"AllFiles\" is neither a path nor an object");
    Query row = state->db.query("SELECT quenmark_path FROM computers WHERE id = 2");
    ASSERT_TRUE(row.next());
    EXPECT_EQ(row.text(0), "Users\\ann");
}

TEST_F(ASlicedExchange, RecordsWhatHasHappenedInTheOutboxThoughItFails) {
    folder.write("data/outbox/7/a", "x");
    expectRefusal("Downloads.svc/GetTopFileRequest", R"({"FromComputerID":"9"})", "UnknownComputer",
                  "there is no computer 9");
    EXPECT_EQ(state->ledger.count("pending", "7"), 1);
}

TEST_F(ASlicedExchange, WorksWithAllThatHasHappenedInTheOutboxBefore) {
    for (int i = 0; i < 600; ++i)
        folder.write("elsewhere/" + std::to_string(i), "x");
    folder.makeFolder("data/outbox/7");
    EXPECT_EQ(next("7"), "");
    folder.move("elsewhere", "data/outbox/7/folder");
    EXPECT_EQ(field(request("GET", "/status?computer=7").body, "pending"), "601");
}

TEST_F(ASlicedExchange, ReportsTheMemoryOfItsBody) {
    const auto exchange = begin("MAC/ErrorLog.svc/LogError", R"({"ErrorMessage":")");
    const std::size_t before = exchange->memory();
    exchange->receive(std::string(500'000, 'x'));
    EXPECT_GE(exchange->memory(), before + 500'000);
    Request head;
    head.method = "PUT";
    head.target = "/outbox/7/a";
    const auto push = WebApplication(*state).begin(head);
    push->receive(std::string(500'000, 'x'));
    EXPECT_EQ(push->memory(), 0U);
}

TEST_F(ASlicedExchange, TakesTheNameOfTheDownloadInAnyCase) {
    for (const char* target : {"/QuenmarkRestService/Uploads.svc/GETTOPFILEUPLOADWITHSTREAM",
                               "/gettopfileuploadwithstream", "/x/outbox/GetTopFileUploadWithStream"}) {
        const Response response = request("POST", target);
        EXPECT_EQ(header(response, "ReturnStatus"), "1") << target;
        EXPECT_EQ(response.body, "") << target;
    }
    EXPECT_EQ(header(request("POST", "/x"), "ReturnStatus"), "(none)");
}

} // namespace webservice::test
