#pragma once

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Loop/RunLoop.h"

#include <sys/types.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ToolTest {

/// The real program in a terminal of its own (pty(7)), which is all of its standard streams and sends it the signals
/// of the keys that are typed.
class TerminalSession {
public:
    explicit TerminalSession(const std::vector<std::string>& arguments);
    TerminalSession(const TerminalSession&) = delete;
    TerminalSession& operator=(const TerminalSession&) = delete;
    /// Kills the program where it still runs.
    ~TerminalSession();

    /// All that the terminal has shown.
    const std::string& screen() const { return screen_; }
    /// Runs the loop until the terminal has shown `text`, `times` times; false where it does not come to that.
    bool waitFor(std::string_view text, int times = 1);
    void type(std::string_view keys) const;
    /// Whether it shows what is typed.
    bool echoes() const;
    void signal(int number) const;
    /// Waits for the end; the exit status, or 128 and the number of the signal that ended it.
    int wait();

private:
    Platform::FileDescriptor terminal_;
    /// Keeps the terminal's settings when the program has ended.
    Platform::FileDescriptor line_;
    std::string screen_;
    std::unique_ptr<Platform::DescriptorWatch> watch_;
    pid_t process_ = -1;
};

} // namespace ToolTest
