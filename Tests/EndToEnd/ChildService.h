#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace Quenmark {

/// The real service as a child of the test, which no bus has launched, so that its end can be waited for.
class ChildService {
public:
    /// Standard error is appended to the file `log`. The service becomes an argument of `tracer`, a command that runs
    /// it in its own process, where that is given.
    explicit ChildService(const std::string& log, const std::vector<std::string>& tracer = {});
    ChildService(const ChildService&) = delete;
    ChildService& operator=(const ChildService&) = delete;
    /// Ends it at once.
    ~ChildService();

    /// Whether it has ended.
    bool hasEnded();
    /// The signal that ended it; nil where it runs, or has ended by itself.
    std::optional<int> endSignal() const;

private:
    pid_t process_ = -1;
    std::optional<int> status_;
};

} // namespace Quenmark
