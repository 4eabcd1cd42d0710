// The service's log is never in the way of the service: whatever becomes of its standard error, it polls and replies.

#include "EndToEnd/RealServiceFixture.h"
#include "Platform/Files/FileDescriptor.h"
#include "Support/Pattern.h"

#include <systemd/sd-bus.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <stdexcept>

namespace Quenmark {

using Platform::FileDescriptor;
using TestSupport::BusPeer;

class AServiceLog : public RealServiceFixture {
protected:
    /// Has the bus launch the service with standard error redirected as the shell is told. The bus itself ignores
    /// SIGPIPE, and so would what it starts.
    void deployWith(const std::string& redirection) {
        deploy(server.host());
        bus.reset();
        bus = std::make_unique<TestSupport::PrivateBus>(std::vector<TestSupport::PrivateBus::Service>{
            {busName, "/bin/sh -c \"env --default-signal=PIPE " QUENMARK_SERVICE " " + redirection + "\""}});
    }

    /// A named pipe that nobody reads, with no room left in it.
    FileDescriptor makeFullPipe(const std::string& path) {
        EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
        FileDescriptor pipe(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
        const std::string junk(4096, '\n');
        while (::write(pipe.get(), junk.data(), junk.size()) > 0) {
        }
        return pipe;
    }

    static void readInto(std::string& text, const FileDescriptor& pipe) {
        std::array<char, 4096> piece{};
        for (ssize_t got = 0; (got = ::read(pipe.get(), piece.data(), piece.size())) > 0;)
            text.append(piece.data(), static_cast<std::size_t>(got));
    }

    /// Whether the service polls on and replies on the bus.
    void expectService(BusPeer& peer) {
        const auto before = count(pollTarget);
        EXPECT_TRUE(pollUntil([&] { return count(pollTarget) >= before + 2; }));
        const auto reply =
            peer.call({busName, "/Velkarin/Quenmark/TopFileUploadXpcService", "org.freedesktop.DBus.Peer", "Ping"});
        ASSERT_TRUE(reply);
        EXPECT_EQ(reply->errorName, "");
    }
};

class ALogOfWhatPeersSay : public AServiceLog {};

TEST_P(AServiceLog, ThatNobodyReadsHoldsNothingUpAndTellsWhatIsMissing) {
    const std::string path = home.path("log");
    const auto pipe = makeFullPipe(path);
    deployWith("2<>" + path);
    BusPeer peer;
    askToStart(peer);
    expectService(peer);

    std::string text;
    readInto(text, pipe);
    // The service may have found room while the pipe was read: what it wrote then is whole lines as well.
    text.erase(0, std::min(text.find_first_not_of('\n'), text.size()));
    EXPECT_TRUE(text.empty() || std::isdigit(static_cast<unsigned char>(text.front())) != 0) << "a torn line: " << text;
    const TestSupport::Pattern missing(
        "^.*TopFileUploadXpcSe[a-z]*\\[[0-9]+\\] [1-9][0-9]* log entries could not be written\n");
    EXPECT_TRUE(pollUntil([&] {
        readInto(text, pipe);
        return missing.isFoundIn(text);
    })) << text;
}

TEST_P(AServiceLog, WhoseReaderHasGoneEndsNothing) {
    deployWith("2>&1 | true");
    BusPeer peer;
    askToStart(peer);
    ASSERT_TRUE(pollUntil([&] { return count(pollTarget) >= 1; }));
    const auto process = serviceProcess();
    ASSERT_TRUE(process);
    expectService(peer);
    EXPECT_EQ(serviceProcess(), process);
}

TEST_P(AServiceLog, ThatIsClosedGoesIntoNoFileAndNoConnection) {
    deployWith("2>&-");
    BusPeer peer;
    askToStart(peer);
    expectService(peer);
    const auto process = serviceProcess();
    ASSERT_TRUE(process);
    EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(*process) + "/fd/2"), "/dev/null");
}

TEST_P(ALogOfWhatPeersSay, HasNoEntryThatAPeerHasForged) {
    deploy(server.host());
    BusPeer peer;
    peer.send({busName, "/Velkarin/Quenmark/TopFileUploadXpcService", "Velkarin.Quenmark.XPC", "Message"},
              [](sd_bus_message* message) {
                  if (sd_bus_message_append(message, "v", "a{sv}", 1, "XPCDebugLog", "s",
                                            "a\nforged\rforged\u0085forged\u2028forged\u2029forged") < 0)
                      throw std::runtime_error("the message cannot be filled");
              });
    EXPECT_TRUE(
        bus->waitForLog("] LOG: a\n\tforged\\x0Dforged\\xC2\\x85forged\\xE2\\x80\\xA8forged\\xE2\\x80\\xA9forged\n"))
        << bus->log();
}

INSTANTIATE_TEST_SUITE_P(Variations, ALogOfWhatPeersSay, ::testing::Values(wrapper),
                         [](const auto& suite) { return suite.param.name; });
INSTANTIATE_TEST_SUITE_P(Variations, AServiceLog, ::testing::Values(modern, wrapper),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
