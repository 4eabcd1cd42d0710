#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Quenmark {

/// A system call of a traced process, by the lines of the trace at which it began and ended.
struct SystemCall {
    /// The name and all arguments, with the path of each descriptor behind its number.
    std::string text;
    std::size_t begin = 0;
    std::size_t end = 0;
    bool succeeded = false;
};

/// The system calls of all threads of a process, as strace(1) writes them to a file.
class SystemCalls {
public:
    /// The command that runs a program and traces those calls to a file; further options may be given.
    static std::string launcher(const std::string& file, const std::string& options = "");

    explicit SystemCalls(const std::string& file);

    /// The first or last call whose text begins with `name` and holds all of `parts`, after line `from`; nil where
    /// there is none.
    std::optional<SystemCall> first(std::string_view name, const std::vector<std::string>& parts,
                                    std::size_t from = 0) const;
    std::optional<SystemCall> last(std::string_view name, const std::vector<std::string>& parts) const;
    std::size_t count(std::string_view name, const std::vector<std::string>& parts) const;

    /// The name of a call, and parts of its text.
    using Step = std::pair<std::string, std::vector<std::string>>;
    /// Asserts that there are such calls, that each began after the one before had ended, and that they succeeded.
    void expectOrder(const std::vector<Step>& steps) const;

private:
    std::vector<std::string> lines() const;

    std::vector<SystemCall> calls_;
};

} // namespace Quenmark
