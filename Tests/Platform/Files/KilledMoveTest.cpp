// What a process leaves behind that is killed while it moves an item to another file system.

#include "Platform/Files/Files.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <functional>

namespace {

namespace Files = Platform::Files;
using TestSupport::TemporaryDirectory;
using Names = std::vector<std::string>;

constexpr std::size_t size = 5 << 20;

/// Runs `body` in a child process and gives how that ended (wait(2)).
int statusOfChild(const std::function<int()>& body) {
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(body());
    int status = -1;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

/// Lets the kernel kill this process when it writes beyond the first megabyte of a file (setrlimit(2)).
void dieAfterAMegabyte() {
    const rlimit noCore{0, 0};
    ::setrlimit(RLIMIT_CORE, &noCore);
    const rlimit megabyte{1 << 20, 1 << 20};
    ::setrlimit(RLIMIT_FSIZE, &megabyte);
    std::signal(SIGXFSZ, SIG_DFL);
}

/// Makes this process one on whose file systems no file is without a name (EOPNOTSUPP; seccomp(2)).
bool refuseUnnamedFiles() {
    constexpr std::uint32_t unnamed = O_TMPFILE & ~O_DIRECTORY;
    constexpr std::uint32_t flags = offsetof(seccomp_data, args) + 2 * sizeof(std::uint64_t);
    std::array<sock_filter, 6> filter{{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_openat, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, flags),
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, unnamed, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EOPNOTSUPP),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog program{filter.size(), filter.data()};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

class AMoveThatIsKilled : public testing::Test {
protected:
    Names names() const { return std::get<Names>(Files::contentsOfDirectory(memory.path())); }
    /// Moves an item in a child process of its own; `before` prepares that. Gives how the process ended.
    int move(const std::function<void()>& before) {
        return statusOfChild([&] {
            before();
            const auto error = Files::moveItem(disk.path("a"), memory.path("b"));
            return error ? error->code : 0;
        });
    }
    static void expectKilled(int status) { EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGXFSZ) << status; }

    TemporaryDirectory disk;
    TestSupport::ScopedEnvironment variable{{"TMPDIR", "/dev/shm"}};
    TemporaryDirectory memory;
};

TEST_F(AMoveThatIsKilled, LeavesNothingBesideTheTarget) {
    disk.write("a", std::string(size, 'x'));
    expectKilled(move(dieAfterAMegabyte));
    EXPECT_EQ(names(), Names{});
    EXPECT_EQ(disk.read("a"), std::string(size, 'x'));
    EXPECT_EQ(Files::moveItem(disk.path("a"), memory.path("b")), std::nullopt);
    EXPECT_EQ(memory.read("b"), std::string(size, 'x'));
    EXPECT_EQ(names(), Names{"b"});
}

TEST_F(AMoveThatIsKilled, IsClearedAwayByTheNextOneWhereAFileNeedsAName) {
    disk.write("a", std::string(size, 'x'));
    expectKilled(move([] {
        refuseUnnamedFiles();
        dieAfterAMegabyte();
    }));
    ASSERT_EQ(names().size(), 1U);
    EXPECT_EQ(names()[0].substr(0, 9), ".copying-");
    EXPECT_EQ(move(refuseUnnamedFiles), 0);
    EXPECT_EQ(memory.read("b"), std::string(size, 'x'));
    EXPECT_EQ(names(), Names{"b"});
}

TEST_F(AMoveThatIsKilled, IsClearedAwayByTheNextOneOfAFolder) {
    disk.write("a/small", "content");
    disk.write("a/z", std::string(size, 'x'));
    expectKilled(move(dieAfterAMegabyte));
    ASSERT_EQ(names().size(), 1U);
    EXPECT_EQ(Files::moveItem(disk.path("a"), memory.path("b")), std::nullopt);
    EXPECT_EQ(memory.read("b/small"), "content");
    EXPECT_EQ(memory.read("b/z"), std::string(size, 'x'));
    EXPECT_EQ(names(), Names{"b"});
}

TEST_F(AMoveThatIsKilled, IsToldFromOneThatALivingProcessMakes) {
    disk.write("a/z", std::string(size, 'x'));
    expectKilled(move(dieAfterAMegabyte));
    const Names left = names();
    ASSERT_EQ(left.size(), 1U);
    const int copy = ::open(memory.path(left[0]).c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(copy, LOCK_EX), 0);
    EXPECT_EQ(WEXITSTATUS(move([] {})), EBUSY);
    EXPECT_EQ(names(), left) << "what the other process makes stays";
    EXPECT_TRUE(Files::exists(memory.path(left[0]) + "/z"));
    ::close(copy);
    EXPECT_EQ(WEXITSTATUS(move([] {})), 0);
    EXPECT_EQ(names(), Names{"b"});
}

/// Lets no file of this process grow beyond a megabyte, as on a disk that is full.
void failAfterAMegabyte() {
    const rlimit megabyte{1 << 20, 1 << 20};
    ::setrlimit(RLIMIT_FSIZE, &megabyte);
    std::signal(SIGXFSZ, SIG_IGN);
}

class AMoveWithoutRoom : public AMoveThatIsKilled {};

TEST_F(AMoveWithoutRoom, LeavesTheItemAndNothingElseWhetherItsCopyHasANameOrNone) {
    disk.write("a", std::string(size, 'x'));
    for (const bool hasName : {true, false}) {
        const int status = move([hasName] {
            if (hasName)
                refuseUnnamedFiles();
            failAfterAMegabyte();
        });
        ASSERT_TRUE(WIFEXITED(status)) << status;
        EXPECT_EQ(WEXITSTATUS(status), EFBIG) << hasName;
        EXPECT_EQ(names(), Names{}) << hasName;
        EXPECT_EQ(disk.read("a").size(), size) << hasName;
    }
}

} // namespace
