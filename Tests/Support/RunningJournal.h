#pragma once

#include <sys/types.h>

#include <string>

namespace TestSupport {

/// A systemd-journald(8) of this mount namespace's own, in memory; to be made in a process of `succeedsInNamespaces`
/// that has a run loop. Throws std::system_error where /run cannot be mounted.
class RunningJournal {
public:
    RunningJournal();
    RunningJournal(const RunningJournal&) = delete;
    RunningJournal& operator=(const RunningJournal&) = delete;
    ~RunningJournal();

    /// Writes an entry of a program, with the priority of warnings, by the journal's native protocol; waits until the
    /// journal listens, and says whether it came to that.
    bool write(const std::string& program, const std::string& message) const;

private:
    pid_t process_ = -1;
};

} // namespace TestSupport
