#include "Platform/Files/FileDescriptor.h"
#include "Platform/Log.h"
#include "Support/Namespaces.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr const char* journalSocket = "/run/systemd/journal/socket";

/// A socket in the place of the journal's, in a mount namespace of its own.
class Journal {
public:
    Journal() : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
        EXPECT_EQ(::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
        EXPECT_EQ(::mount("run", "/run", "tmpfs", 0, nullptr), 0);
        std::filesystem::create_directories(std::filesystem::path(journalSocket).parent_path());
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::string(journalSocket).copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;
    ~Journal() { ::close(socket_); }

    /// What came, or an empty text where nothing has.
    std::string receive() const {
        std::vector<char> bytes(std::size_t{1} << 20);
        iovec piece{bytes.data(), bytes.size()};
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
        msghdr message{};
        message.msg_iov = &piece;
        message.msg_iovlen = 1;
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        const auto length = ::recvmsg(socket_, &message, MSG_CMSG_CLOEXEC);
        if (length == 0 && CMSG_FIRSTHDR(&message) != nullptr)
            return contentOfFile(CMSG_FIRSTHDR(&message));
        return length > 0 ? std::string(bytes.data(), static_cast<std::size_t>(length)) : std::string();
    }

private:
    /// The content of the file in memory that is sent in the place of a long datagram.
    static std::string contentOfFile(cmsghdr* header) {
        int number = -1;
        std::memcpy(&number, CMSG_DATA(header), sizeof number);
        const Platform::FileDescriptor file(number);
        EXPECT_EQ(::fcntl(number, F_GET_SEALS), F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL);
        std::string content(std::size_t{1} << 20, '\0');
        const auto length = ::pread(number, content.data(), content.size(), 0);
        content.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
        return content;
    }

    int socket_;
};

/// Says to programs that standard error is the journal (systemd.exec(5)).
void claimStandardErrorAsJournal() {
    struct stat status {};
    ASSERT_EQ(::fstat(STDERR_FILENO, &status), 0);
    const std::string stream = std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
    ASSERT_EQ(::setenv("JOURNAL_STREAM", stream.c_str(), 1), 0);
}

bool inTheJournalsPlace(const std::function<void(const Journal&)>& body) {
    return TestSupport::succeedsInNamespaces(CLONE_NEWNS, [&] {
        const Journal journal;
        claimStandardErrorAsJournal();
        body(journal);
        return !testing::Test::HasFailure();
    });
}

bool hasLine(const std::string& message, const std::string& line) {
    return ("\n" + message).find("\n" + line + "\n") != std::string::npos;
}

TEST(TheJournal, GetsEntriesAsFields) {
    EXPECT_TRUE(inTheJournalsPlace([](const Journal& journal) {
        Platform::Log::write("nework error.......x");
        const std::string message = journal.receive();
        EXPECT_TRUE(hasLine(message, "MESSAGE=nework error.......x")) << message;
        EXPECT_TRUE(hasLine(message, "PRIORITY=6")) << message;
        EXPECT_EQ(journal.receive(), "");
    }));
}

TEST(TheJournal, GetsThePriorityOfEachEntry) {
    EXPECT_TRUE(inTheJournalsPlace([](const Journal& journal) {
        using Platform::Log::Priority;
        for (const auto& [priority, line] :
             {std::pair(Priority::Error, "PRIORITY=3"), std::pair(Priority::Warning, "PRIORITY=4"),
              std::pair(Priority::Info, "PRIORITY=6"), std::pair(Priority::Debug, "PRIORITY=7")}) {
            Platform::Log::write("entry", priority);
            EXPECT_TRUE(hasLine(journal.receive(), line)) << line;
        }
    }));
}

TEST(TheJournal, GetsControlCharactersAsNumbers) {
    EXPECT_TRUE(inTheJournalsPlace([](const Journal& journal) {
        Platform::Log::write("a\x1B[0m\rPRIORITY=0");
        const std::string message = journal.receive();
        EXPECT_TRUE(hasLine(message, "MESSAGE=a\\x1B[0m\\x0DPRIORITY=0")) << message;
    }));
}

TEST(TheJournal, GetsSeveralLinesAsOneEntry) {
    EXPECT_TRUE(inTheJournalsPlace([](const Journal& journal) {
        Platform::Log::write("{\nPRIORITY=0\n}");
        const std::string message = journal.receive();
        // A value with line feeds follows its length in eight bytes, so that nothing in it is a field.
        EXPECT_NE(message.find(std::string("MESSAGE\n\x0E\0\0\0\0\0\0\0{\nPRIORITY=0\n}\n", 31)), std::string::npos);
        EXPECT_TRUE(hasLine(message, "PRIORITY=6"));
    }));
}

TEST(TheJournal, GetsTheLongestEntry) {
    EXPECT_TRUE(inTheJournalsPlace([](const Journal& journal) {
        Platform::Log::write(std::string(70'000, '\x01'));
        const std::string message = journal.receive();
        std::string numbers;
        for (int byte = 0; byte < 64 << 10; ++byte)
            numbers += "\\x01";
        EXPECT_TRUE(hasLine(message, "MESSAGE=" + numbers + " ... (4464 more bytes)")) << message.substr(0, 100);
        EXPECT_TRUE(hasLine(message, "PRIORITY=6"));
    }));
}

TEST(TheJournal, NamesTheProgramInEachEntry) {
    EXPECT_TRUE(inTheJournalsPlace([](const Journal& journal) {
        Platform::Log::write("entry");
        EXPECT_EQ(journal.receive(), "MESSAGE=entry\nPRIORITY=6\nSYSLOG_IDENTIFIER=PlatformTests\n");
    }));
}

TEST(TheJournal, ThatTakesNothingHoldsUpNobody) {
    EXPECT_TRUE(inTheJournalsPlace([](const Journal& journal) {
        ::alarm(10);
        for (int number = 0; number < 1000; ++number)
            Platform::Log::write("line " + std::to_string(number));
        int taken = 0;
        for (; hasLine(journal.receive(), "MESSAGE=line " + std::to_string(taken)); ++taken) {
        }
        EXPECT_GT(taken, 0);
        EXPECT_LT(taken, 1000);
        Platform::Log::write("line 1000");
        const std::string count = journal.receive();
        EXPECT_TRUE(hasLine(count, "MESSAGE=" + std::to_string(1000 - taken) + " log entries could not be written"))
            << count;
        EXPECT_TRUE(hasLine(count, "PRIORITY=4")) << count;
        EXPECT_TRUE(hasLine(journal.receive(), "MESSAGE=line 1000"));
        Platform::Log::write("line 1001");
        EXPECT_TRUE(hasLine(journal.receive(), "MESSAGE=line 1001"));
    }));
}

TEST(TheJournal, ThatIsNotThereLosesNothing) {
    EXPECT_TRUE(TestSupport::succeedsInNamespaces(CLONE_NEWNS, [] {
        { const Journal gone; }
        EXPECT_EQ(::unlink(journalSocket), 0);
        std::array<int, 2> ends{};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        const int before = ::dup(STDERR_FILENO);
        ::dup2(ends[1], STDERR_FILENO);
        claimStandardErrorAsJournal();
        Platform::Log::write("entry");
        ::dup2(before, STDERR_FILENO);
        std::array<char, 4096> text{};
        const auto length = ::read(ends[0], text.data(), text.size());
        const std::string_view line(text.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
        EXPECT_TRUE(line.ends_with("] entry\n")) << line;
        return !testing::Test::HasFailure();
    }));
}

} // namespace
