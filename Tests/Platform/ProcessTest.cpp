// Processes, by their identifiers.

#include "Platform/Process.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace Platform::Process {

TEST(AProcess, KnowsItsOwnIdentifier) {
    EXPECT_EQ(ownIdentifier(), static_cast<std::uint64_t>(::getpid()));
}

TEST(AProcess, IsAskedToEnd) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::pause();
        ::_exit(1);
    }
    EXPECT_FALSE(terminate(static_cast<std::uint64_t>(child)));
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGTERM);
    const auto gone = terminate(static_cast<std::uint64_t>(child));
    ASSERT_TRUE(gone);
    EXPECT_EQ(gone->localizedDescription, "process " + std::to_string(child) + ": No such process");
    EXPECT_EQ(gone->code, ESRCH);
}

TEST(AProcess, IsNeverAGroupOfProcesses) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // A group of its own, so that nothing else ends where this fails.
        ::setpgid(0, 0);
        const bool areRefused = terminate(0) && terminate(0xFFFFFFFF) && terminate(UINT64_MAX) && terminate(1ULL << 32);
        ::_exit(areRefused ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    const auto error = terminate(std::uint64_t{0x80000000});
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, EINVAL);
    EXPECT_EQ(error->localizedDescription, "process 2147483648: Invalid argument");
    const auto greatest = terminate(0x7FFFFFFF);
    ASSERT_TRUE(greatest);
    EXPECT_EQ(greatest->code, ESRCH) << "it is one process that does not exist";
}

} // namespace Platform::Process
