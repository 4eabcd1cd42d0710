// What the terminals at the standard streams understand, and how large they are.

#include "Platform/Terminal.h"

#include "Platform/Files/FileDescriptor.h"
#include "Support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

namespace Terminal = Platform::Terminal;
using Platform::FileDescriptor;

/// A terminal in the place of a standard stream, while it lives.
class TerminalAt {
public:
    TerminalAt(int stream, struct winsize size) : stream_(stream), before_(::dup(stream)) {
        int ours = -1;
        int theirs = -1;
        if (::openpty(&ours, &theirs, nullptr, nullptr, &size) != 0)
            throw std::runtime_error("openpty");
        ours_ = FileDescriptor(ours);
        ::dup2(theirs, stream);
        ::close(theirs);
    }
    TerminalAt(const TerminalAt&) = delete;
    TerminalAt& operator=(const TerminalAt&) = delete;
    ~TerminalAt() { ::dup2(before_.get(), stream_); }

private:
    int stream_;
    FileDescriptor before_;
    FileDescriptor ours_;
};

/// What standard output and standard error take.
struct Terminals {
    bool outputEscapes = Terminal::outputTakesEscapes();
    bool errorEscapes = Terminal::errorTakesEscapes();
    bool colours = Terminal::outputTakesColours();
    Terminal::Size size = Terminal::outputSize();
};

class ATerminal : public testing::Test {
protected:
    TestSupport::ScopedEnvironment environment{{"TERM", "xterm"}, {"NO_COLOR", std::nullopt}};
};

Terminals terminalsAt(int stream, struct winsize size = {}) {
    const FileDescriptor null(::open("/dev/null", O_RDWR | O_CLOEXEC));
    const int other = stream == STDOUT_FILENO ? STDERR_FILENO : STDOUT_FILENO;
    const FileDescriptor before(::dup(other));
    ::dup2(null.get(), other);
    const Terminals found = [&] {
        const TerminalAt terminal(stream, size);
        return Terminals();
    }();
    ::dup2(before.get(), other);
    return found;
}

TEST_F(ATerminal, TakesEscapesAndColours) {
    const auto atOutput = terminalsAt(STDOUT_FILENO);
    EXPECT_TRUE(atOutput.outputEscapes);
    EXPECT_FALSE(atOutput.errorEscapes);
    EXPECT_TRUE(atOutput.colours);
    const auto atError = terminalsAt(STDERR_FILENO);
    EXPECT_FALSE(atError.outputEscapes);
    EXPECT_TRUE(atError.errorEscapes);
    EXPECT_FALSE(atError.colours);
}

TEST_F(ATerminal, TakesNeitherWhereItIsDumb) {
    environment.set("TERM", "dumb");
    EXPECT_FALSE(terminalsAt(STDOUT_FILENO).outputEscapes);
    EXPECT_FALSE(terminalsAt(STDOUT_FILENO).colours);
    EXPECT_FALSE(terminalsAt(STDERR_FILENO).errorEscapes);
}

TEST_F(ATerminal, TakesEscapesWhereItsKindIsNotKnown) {
    environment.set("TERM", std::nullopt);
    EXPECT_TRUE(terminalsAt(STDOUT_FILENO).outputEscapes);
}

TEST_F(ATerminal, TakesNoColoursWhereTheUserWantsNone) {
    environment.set("NO_COLOR", "1");
    EXPECT_TRUE(terminalsAt(STDOUT_FILENO).outputEscapes);
    EXPECT_FALSE(terminalsAt(STDOUT_FILENO).colours);
    environment.set("NO_COLOR", "");
    EXPECT_TRUE(terminalsAt(STDOUT_FILENO).colours);
}

TEST_F(ATerminal, HasTheSizeThatItSays) {
    EXPECT_EQ(terminalsAt(STDOUT_FILENO, {30, 100, 0, 0}).size, (Terminal::Size{30, 100}));
    EXPECT_EQ(terminalsAt(STDOUT_FILENO, {1, 1, 0, 0}).size, (Terminal::Size{1, 1}));
}

TEST_F(ATerminal, HasTheUsualSizeWhereItSaysNone) {
    EXPECT_EQ(terminalsAt(STDOUT_FILENO).size, (Terminal::Size{24, 80}));
    EXPECT_EQ(terminalsAt(STDERR_FILENO, {30, 100, 0, 0}).size, (Terminal::Size{24, 80}))
        << "the output is no terminal";
}

} // namespace
