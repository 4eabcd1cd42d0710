// What becomes of a request where descriptors, watches or memory run out: an error of that request, and nothing else.

#include "Platform/Files/FileDescriptor.h"
#include "Support/Command.h"
#include "UrlLoadingFixture.h"
#include "WatchLimit.h"

#include <climits>

#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

int watchesLeft = INT_MAX;

// The C library's, for every library of this program.
extern "C" int epoll_ctl(int epoll, int operation, int descriptor, epoll_event* event) noexcept {
    if (operation == EPOLL_CTL_ADD && watchesLeft-- <= 0) {
        errno = ENOSPC;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_epoll_ctl, epoll, operation, descriptor, event));
}

namespace Platform {
namespace {

using TestSupport::HttpReply;

class Scarcity : public UrlLoadingTest {
protected:
    void SetUp() override {
        server.setHandler([](const auto& request) {
            const std::size_t length = request.target == "/" ? 100 : request.target == "/long" ? 600'000 : 5'000'000;
            return HttpReply::ok(std::string(length, 'x'));
        });
    }
    void TearDown() override { watchesLeft = INT_MAX; }
};

TEST_F(Scarcity, OfWatchesEndsTheRequestWithAnError) {
    for (const auto* target : {"/", "/long"}) {
        std::size_t failures = 0;
        for (int left = 0; left < 12; ++left) {
            server.closeAll();
            settle();
            LoadResult result;
            watchesLeft = left;
            start(*makeSession(), post(target, "{}"), result);
            loop.runUntil([&] { return result.done; }, std::chrono::seconds(2));
            watchesLeft = INT_MAX;
            // The server's own connections need watches as well.
            ASSERT_TRUE(result.done || left == 1) << left;
            if (result.done && result.error) {
                EXPECT_TRUE(result.code() == -1004 || result.code() == -1005) << left << ": " << result.code();
                ++failures;
            }
            advance(std::chrono::seconds(60));
            EXPECT_TRUE(result.done) << left;
            EXPECT_EQ(load(get(target)).code(), 0) << left;
        }
        EXPECT_GE(failures, 1U);
    }
}

TEST_F(Scarcity, OfDescriptorsEndsTheRequestWithAnError) {
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &usual), 0);
    const FileDescriptor next(::dup(0));
    std::size_t failures = 0;
    for (rlim_t more = 0; more < 12; ++more) {
        server.closeAll();
        settle();
        const rlimit scarce{static_cast<rlim_t>(next.get()) + more, usual.rlim_max};
        LoadResult result;
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &scarce), 0);
        start(*makeSession(), post("/long", "{}"), result);
        loop.runUntil([&] { return result.done; }, std::chrono::seconds(2));
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &usual), 0);
        advance(std::chrono::seconds(60));
        ASSERT_TRUE(result.done);
        if (result.error && result.code() != -1001) {
            EXPECT_EQ(result.code(), -1004) << more;
            ++failures;
        }
        EXPECT_EQ(load(get("/long")).code(), 0) << more;
    }
    EXPECT_GE(failures, 1U);
}

TEST_F(Scarcity, OfMemoryEndsARequestWithAnErrorAndNeverTheProgram) {
    std::size_t failures = 0;
    std::size_t successes = 0;
    std::size_t bytes = 0;
    // From no byte to more than enough, in small steps where the request is made and large ones where the body grows.
    for (int step = 0; step < 48; ++step) {
        const auto result = TestSupport::runCommand({LOADING_CLIENT, server.host(), std::to_string(bytes)});
        ASSERT_EQ(result.status, 0) << bytes << "\n" << result.output << result.errors;
        for (const auto* error : {" -1004\n", " -1005\n", " -1103\n"})
            failures += result.output.find(error) != std::string::npos;
        successes += result.output.find("/longer 0\n") != std::string::npos;
        bytes += bytes < 60'000 ? 2'000 : 700'000;
    }
    EXPECT_GE(failures, 24U);
    EXPECT_GE(successes, 1U);
}

} // namespace
} // namespace Platform
