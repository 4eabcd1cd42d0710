#pragma once

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Loop/RunLoop.h"

#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ToolTest {

/// Starts the real program; `setStreams` is called in its process first.
pid_t startTool(const std::vector<std::string>& arguments, const std::function<void()>& setStreams);

/// The real program while it runs. What it writes is gathered by the run loop of this process.
class RunningTool {
public:
    enum class Errors {
        /// Standard error is a pipe.
        Piped,
        /// Standard error is a terminal (pty(7)).
        OnTerminal,
    };

    enum class Output {
        /// Standard output is a pipe.
        Piped,
        /// Standard output is a terminal, of 24 rows or of 10.
        OnTerminal,
        OnLowTerminal,
    };

    explicit RunningTool(const std::vector<std::string>& arguments, Errors errors = Errors::Piped,
                         Output output = Output::Piped);
    RunningTool(const RunningTool&) = delete;
    RunningTool& operator=(const RunningTool&) = delete;
    /// Kills the program where it still runs.
    ~RunningTool();

    const std::string& output() const { return output_.text; }
    const std::string& errors() const { return errors_.text; }
    /// Runs the loop until what was written holds `text`; false where it does not come to that.
    bool waitForOutput(std::string_view text);
    bool waitForErrors(std::string_view text);

    pid_t processId() const { return process_; }
    void signal(int number) const;
    /// Waits for the end; the exit status, or 128 and the number of the signal that ended it.
    int wait();

private:
    struct Stream {
        Platform::FileDescriptor descriptor;
        std::string text;
        std::unique_ptr<Platform::DescriptorWatch> watch;
    };

    static void follow(Stream& stream);

    Stream output_;
    Stream errors_;
    pid_t process_ = -1;
};

} // namespace ToolTest
