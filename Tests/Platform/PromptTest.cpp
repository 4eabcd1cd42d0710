// Questions to the person at the terminal. What is typed is there before it is asked for, so that nothing waits.

#include "Platform/Prompt.h"

#include "Platform/Files/FileDescriptor.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

namespace {

namespace Prompt = Platform::Prompt;
using Platform::FileDescriptor;
using Prompt::Echo;

class AQuestionOnATerminal : public testing::Test {
protected:
    AQuestionOnATerminal() {
        int ours = -1;
        int theirs = -1;
        if (::openpty(&ours, &theirs, nullptr, nullptr, nullptr) != 0)
            throw std::runtime_error("openpty");
        terminal = FileDescriptor(ours);
        ::dup2(theirs, STDIN_FILENO);
        ::dup2(theirs, STDERR_FILENO);
        ::close(theirs);
    }
    ~AQuestionOnATerminal() override {
        ::dup2(input.get(), STDIN_FILENO);
        ::dup2(errors.get(), STDERR_FILENO);
    }

    /// Types, and waits until the terminal has shown that.
    void type(std::string_view keys, std::string_view shown) {
        ASSERT_EQ(::write(terminal.get(), keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
        while (!screen.ends_with(shown))
            read();
    }
    /// The answer's text; nil where there is none.
    static std::optional<std::string> ask(const std::string& question, Echo echo = Echo::On) {
        const auto answer = Prompt::ask(question, echo);
        return answer ? std::optional(answer->text()) : std::nullopt;
    }
    /// Waits for more that the terminal shows.
    void read() {
        std::array<char, 4096> bytes{};
        const auto count = ::read(terminal.get(), bytes.data(), bytes.size());
        if (count <= 0)
            throw std::runtime_error("the terminal shows nothing more");
        screen.append(bytes.data(), static_cast<std::size_t>(count));
    }
    /// What the terminal has shown once it has shown `end`.
    std::string shownUpTo(std::string_view end) {
        while (!screen.ends_with(end))
            read();
        return screen;
    }
    static termios settings() {
        termios found{};
        EXPECT_EQ(::tcgetattr(STDIN_FILENO, &found), 0);
        return found;
    }

    FileDescriptor input{::dup(STDIN_FILENO)};
    FileDescriptor errors{::dup(STDERR_FILENO)};
    FileDescriptor terminal;
    std::string screen;
};

TEST_F(AQuestionOnATerminal, IsPossibleOnATerminalAlone) {
    EXPECT_TRUE(Prompt::isPossible());
    const FileDescriptor null(::open("/dev/null", O_RDWR | O_CLOEXEC));
    ::dup2(null.get(), STDERR_FILENO);
    EXPECT_FALSE(Prompt::isPossible());
    ::dup2(STDIN_FILENO, STDERR_FILENO);
    ::dup2(null.get(), STDIN_FILENO);
    EXPECT_FALSE(Prompt::isPossible());
}

TEST_F(AQuestionOnATerminal, TakesOneLineForItsAnswer) {
    type("one\n\n three \n", "one\r\n\r\n three \r\n");
    EXPECT_EQ(ask("1? "), "one");
    EXPECT_EQ(ask("2? "), "");
    EXPECT_EQ(ask("3? "), " three ");
    EXPECT_EQ(shownUpTo("3? "), "one\r\n\r\n three \r\n1? 2? 3? ");
}

TEST_F(AQuestionOnATerminal, HasNoAnswerWhereTheInputHasEnded) {
    type("\x04", "");
    EXPECT_EQ(ask("1? "), std::nullopt);
    type("half\x04\x04", "half");
    EXPECT_EQ(ask("2? "), std::nullopt);
    terminal.reset();
    EXPECT_EQ(ask("3? "), std::nullopt) << "the terminal is gone";
}

TEST_F(AQuestionOnATerminal, LeavesTheTerminalAsItWas) {
    const auto before = settings();
    type("secret\n\x04", "secret\r\n");
    EXPECT_EQ(ask("1? ", Echo::Off), "secret");
    EXPECT_EQ(settings().c_lflag, before.c_lflag);
    EXPECT_EQ(ask("2? ", Echo::Off), std::nullopt);
    EXPECT_EQ(settings().c_lflag, before.c_lflag);
    EXPECT_EQ(shownUpTo("2? \r\n"), "secret\r\n1? \r\n2? \r\n") << "typed before the question";
}

TEST_F(AQuestionOnATerminal, LeavesSignalsAloneThatItsCallerBlocks) {
    sigset_t held{};
    sigset_t before{};
    sigemptyset(&held);
    sigaddset(&held, SIGHUP);
    sigprocmask(SIG_BLOCK, &held, &before);
    std::raise(SIGHUP);
    type("yes\n", "yes\r\n");
    EXPECT_EQ(ask("1? ", Echo::Off), "yes");
    sigset_t pending{};
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGHUP), 1);
    const timespec none{};
    EXPECT_EQ(sigtimedwait(&held, nullptr, &none), SIGHUP);
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

} // namespace
