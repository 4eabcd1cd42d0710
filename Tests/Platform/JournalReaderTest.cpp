// Reading the journal: of a systemd-journald(8) in namespaces of its own, and where there is none.

#include "Platform/JournalReader.h"

#include "Support/Namespaces.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <iostream>

namespace Platform {

namespace {

using Entries = std::vector<Journal::Entry>;

/// A journal of this mount namespace's own, in memory.
class RunningJournal {
public:
    RunningJournal() {
        if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount("run", "/run", "tmpfs", 0, nullptr) != 0)
            throw std::system_error(errno, std::generic_category(), "mount");
        std::filesystem::create_directories("/run/systemd/journal");
        process_ = ::fork();
        if (process_ == 0) {
            const int nowhere = ::open("/dev/null", O_RDWR);
            ::dup2(nowhere, STDERR_FILENO);
            ::execl("/usr/lib/systemd/systemd-journald", "systemd-journald", nullptr);
            ::_exit(127);
        }
    }
    RunningJournal(const RunningJournal&) = delete;
    RunningJournal& operator=(const RunningJournal&) = delete;
    ~RunningJournal() {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }

    /// Sends an entry by the journal's native protocol, as soon as it listens.
    static bool send(const std::string& fields) {
        const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::string("/run/systemd/journal/socket").copy(address.sun_path, sizeof address.sun_path - 1);
        const bool isSent = eventually([&] {
            return ::sendto(socket, fields.data(), fields.size(), 0, reinterpret_cast<const sockaddr*>(&address),
                            sizeof address) > 0;
        });
        ::close(socket);
        return isSent;
    }

    /// Whether the condition comes to hold within ten seconds.
    template <class Condition>
    static bool eventually(const Condition& condition) {
        for (int look = 0; look < 1000; ++look) {
            if (condition())
                return true;
            ::usleep(10'000);
        }
        return false;
    }

private:
    pid_t process_ = -1;
};

std::string fieldsOf(const std::string& message, const std::string& program = "a-program") {
    return "MESSAGE=" + message + "\nPRIORITY=4\nSYSLOG_IDENTIFIER=" + program + "\n";
}

/// The messages of the last entries; an error's text where they cannot be read.
std::vector<std::string> lastMessages(std::size_t count) {
    const auto read = Journal::lastEntries("a-program", count);
    if (const auto* error = std::get_if<Error>(&read))
        return {error->localizedDescription};
    std::vector<std::string> messages;
    for (const auto& entry : std::get<Entries>(read))
        messages.push_back(entry.message);
    return messages;
}

bool readsBackWhatIsWritten() {
    const RunningJournal journal;
    for (const auto& fields :
         {fieldsOf("first"), fieldsOf("another's", "another"), fieldsOf("second=x\x1b"), fieldsOf("third")}) {
        if (!RunningJournal::send(fields))
            return false;
    }
    const std::vector<std::string> all{"first", "second=x\x1b", "third"};
    if (!RunningJournal::eventually([&] { return lastMessages(10) == all; })) {
        for (const auto& message : lastMessages(10))
            std::cerr << message << std::endl;
        return false;
    }
    const auto read = Journal::lastEntries("a-program", 1);
    const auto& last = std::get<Entries>(read).at(0);
    return lastMessages(2) == std::vector<std::string>{all[1], all[2]} && last.message == "third" &&
           last.priority == "4" && last.time > 1'700'000'000'000'000;
}

} // namespace

TEST(TheJournal, GivesTheLastEntriesOfAProgram) {
    EXPECT_TRUE(TestSupport::succeedsInNamespaces(CLONE_NEWNS, readsBackWhatIsWritten));
}

TEST(TheJournal, IsMissedWhereThereIsNone) {
    EXPECT_TRUE(TestSupport::succeedsInNamespaces(CLONE_NEWNS, [] {
        for (const char* folder : {"/run", "/var/log"}) {
            if (::mount("none", folder, "tmpfs", 0, nullptr) != 0)
                return false;
        }
        return lastMessages(10) == std::vector<std::string>{"the journal: No such file or directory"};
    }));
}

TEST(TheJournal, HasNoEntriesInAnEmptyFolder) {
    const TestSupport::TemporaryDirectory folder;
    const auto empty = Journal::lastEntries("a-program", 10, folder.path());
    ASSERT_TRUE(std::holds_alternative<Entries>(empty));
    EXPECT_EQ(std::get<Entries>(empty), Entries());
    const auto missing = Journal::lastEntries("a-program", 10, folder.path("none"));
    ASSERT_TRUE(std::holds_alternative<Error>(missing));
    EXPECT_EQ(std::get<Error>(missing), (Error{"POSIX", ENOENT, "the journal: No such file or directory"}));
}

} // namespace Platform
