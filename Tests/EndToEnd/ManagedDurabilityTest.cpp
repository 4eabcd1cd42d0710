// What managed mode acknowledges is on disk: the order of the service's system calls, and what becomes of an item where
// one of them fails.

#include "EndToEnd/ManagedServiceFixture.h"
#include "EndToEnd/SystemCalls.h"

#include <filesystem>

namespace Quenmark {

using TestSupport::HttpReply;
using TestSupport::HttpRequest;

class WhatManagedModeAcknowledges : public ManagedServiceFixture {
protected:
    static constexpr const char* acknowledgement = "POST /QuenmarkRestService/Uploads.svc/UpdateFileUpload ";

    void launchTraced(const std::string& options = "") {
        launch(server.host(), SystemCalls::launcher(traceFile, options));
    }
    /// Launches the service so that calls of those names which concern a path fail with EIO, those of that number.
    void launchWithFailures(const std::string& calls, const std::string& path, const std::string& which) {
        launch(server.host(), "/usr/bin/env ASAN_OPTIONS=detect_leaks=0 strace -f -o " + traceFile + " -P " + path +
                                  " -e trace=" + calls + " -e inject=" + calls + ":error=EIO:when=" + which + " ");
    }
    bool waitForAcknowledgement() {
        return pollUntil([&] { return confirmations == 1; });
    }
    /// Waits until the trace, which strace(1) writes on its own time, holds every acknowledgement.
    bool waitForTheTraceOfIt() {
        return pollUntil([&] {
            const SystemCalls calls(traceFile);
            const auto last = calls.last("sendto", {acknowledgement});
            return last && last->succeeded && calls.count("sendto", {acknowledgement}) == count(acknowledgeTarget);
        });
    }
    static std::string descriptor(const std::string& path) { return "<" + path + ">"; }
    static SystemCalls::Step sendsAcknowledgement() { return {"sendto", {acknowledgement}}; }
    std::size_t injected() const {
        const auto trace = contentOf(traceFile).value_or("");
        std::size_t count = 0;
        for (auto at = trace.find("(INJECTED)"); at != std::string::npos; at = trace.find("(INJECTED)", at + 1))
            ++count;
        return count;
    }

    std::string traceFile = data.path("trace");
};

TEST_P(WhatManagedModeAcknowledges, IsAFileWhoseBytesNameAndFoldersAreOnDisk) {
    offer(R"(\\A\\a.txt)", "\\A\\a.txt");
    launchTraced();
    ASSERT_TRUE(waitForAcknowledgement() && waitForTheTraceOfIt());
    const SystemCalls calls(traceFile);
    calls.expectOrder({{"write", {temporary(".records\\\\/"), R"(FileUploadID)"}},
                       {"write", {descriptor(temporary("A/a.txt")), wholeContent}},
                       {"write", {temporary(".records\\\\/"), R"(Modified)"}},
                       {"fdatasync", {descriptor(temporary("A/a.txt"))}},
                       {"renameat", {"\"" + placed("A/a.txt") + "\""}},
                       {"fsync", {descriptor(placed("A"))}},
                       sendsAcknowledgement()});
    calls.expectOrder({{"mkdir", {"\"" + placed("A") + "\""}},
                       {"fsync", {descriptor(home.path("Quenmark"))}},
                       {"renameat", {"\"" + placed("A/a.txt") + "\""}}});
    EXPECT_EQ(contentOf(placed("A/a.txt")), wholeContent);
}

TEST_P(WhatManagedModeAcknowledges, IsAFileWhoseAcknowledgementWasLostAndIsOnDiskAgain) {
    server.enqueue(acknowledgeTarget, HttpReply::raw("").thenReset());
    offer(R"(\\a.txt)", "\\a.txt");
    launchTraced();
    ASSERT_TRUE(waitForAcknowledgement() && waitForTheTraceOfIt());
    SystemCalls(traceFile).expectOrder({sendsAcknowledgement(),
                                        {"fdatasync", {descriptor(placed("a.txt"))}},
                                        {"fsync", {descriptor(home.path("Quenmark"))}},
                                        sendsAcknowledgement()});
    EXPECT_EQ(count(streamTarget), 1U);
}

TEST_P(WhatManagedModeAcknowledges, IsFetchedAgainWhereItsBytesCannotBeFlushed) {
    offer(R"(\\a.txt)", "\\a.txt");
    launchTraced("-e inject=fdatasync:error=EIO:when=1");
    ASSERT_TRUE(waitForAcknowledgement() && waitForTheTraceOfIt());
    EXPECT_TRUE(bus->waitForLog("not flushed (\\a.txt, HTTP 200); the next attempt follows in 2 s"));
    EXPECT_EQ(offsets(), (std::vector<std::size_t>{0, 0}));
    EXPECT_EQ(count(acknowledgeTarget), 1U);
    SystemCalls(traceFile).expectOrder(
        {{"fdatasync", {descriptor(temporary("a.txt")), "= 0"}}, sendsAcknowledgement()});
    EXPECT_EQ(contentOf(placed("a.txt")), wholeContent);
}

TEST_P(WhatManagedModeAcknowledges, IsFetchedAgainWhereItsFolderCannotBeFlushed) {
    std::filesystem::create_directories(placed("A"));
    offer(R"(\\A\\a.txt)", "\\A\\a.txt");
    launchTraced("-e inject=fsync:error=EIO:when=1");
    ASSERT_TRUE(waitForAcknowledgement() && waitForTheTraceOfIt());
    EXPECT_EQ(offsets(), (std::vector<std::size_t>{0, 0}));
    EXPECT_EQ(count(acknowledgeTarget), 1U);
    SystemCalls(traceFile).expectOrder({{"renameat", {"\"" + placed("A/a.txt") + "\""}},
                                        {"renameat", {"\"" + placed("A/a.txt") + "\""}},
                                        {"fsync", {descriptor(placed("A")), "= 0"}},
                                        sendsAcknowledgement()});
    EXPECT_EQ(contentOf(placed("A/a.txt")), wholeContent);
}

TEST_P(WhatManagedModeAcknowledges, IsFetchedAgainWhereANewFolderCannotBeFlushed) {
    offer(R"(\\A\\a.txt)", "\\A\\a.txt");
    launchTraced("-e inject=fsync:error=EIO:when=1");
    ASSERT_TRUE(waitForAcknowledgement() && waitForTheTraceOfIt());
    EXPECT_EQ(count(acknowledgeTarget), 1U);
    SystemCalls(traceFile).expectOrder({{"mkdir", {"\"" + placed("A") + "\""}},
                                        {"mkdir", {"\"" + placed("A") + "\""}},
                                        {"fsync", {descriptor(home.path("Quenmark")), "= 0"}},
                                        {"renameat", {"\"" + placed("A/a.txt") + "\""}},
                                        {"fsync", {descriptor(placed("A")), "= 0"}},
                                        sendsAcknowledgement()});
    EXPECT_EQ(contentOf(placed("A/a.txt")), wholeContent);
}

TEST_P(WhatManagedModeAcknowledges, IsNothingWhileNothingCanBeFlushed) {
    offer(R"(\\a.txt)", "\\a.txt");
    launchTraced("-e inject=fdatasync:error=EIO");
    ASSERT_TRUE(pollUntil([&] { return count(streamTarget) == 3; }));
    EXPECT_EQ(count(acknowledgeTarget), 0U);
    EXPECT_FALSE(exists(placed("a.txt")));
}

TEST_P(WhatManagedModeAcknowledges, ContinuesWhereAWriteFailed) {
    wholeContent.assign(3 << 20, 'x');
    offer(R"(\\a.txt)", "\\a.txt");
    launchWithFailures("write", temporary("a.txt"), "2");
    ASSERT_TRUE(waitForAcknowledgement());
    EXPECT_TRUE(bus->waitForLog("not writable: " + temporary("a.txt") +
                                " (\\a.txt, HTTP 200); the next attempt follows in 2 s"));
    EXPECT_EQ(injected(), 1U);
    ASSERT_EQ(offsets().size(), 2U);
    EXPECT_GT(offsets()[1], 0U) << "the first write is kept";
    EXPECT_EQ(count(acknowledgeTarget), 1U);
    EXPECT_TRUE(contentOf(placed("a.txt")) == wholeContent);
}

TEST_P(WhatManagedModeAcknowledges, IsKeptWhereItCannotBeRenamed) {
    offer(R"(\\a.txt)", "\\a.txt");
    launchWithFailures("rename,renameat,renameat2", placed("a.txt"), "1");
    ASSERT_TRUE(waitForAcknowledgement());
    EXPECT_TRUE(bus->waitForLog("not writable: " + home.path() +
                                "/Quenmark (\\a.txt, HTTP 200); the next attempt follows in 2 s"));
    EXPECT_EQ(injected(), 1U);
    EXPECT_EQ(count(streamTarget), 1U);
    EXPECT_EQ(count(acknowledgeTarget), 1U);
    EXPECT_EQ(contentOf(placed("a.txt")), wholeContent);
}

INSTANTIATE_TEST_SUITE_P(Variations, WhatManagedModeAcknowledges, ::testing::Values(managedModern, managedWrapper),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
