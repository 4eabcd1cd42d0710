#pragma once

#include "WebService/Common/Descriptor.h"

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace webservice::test {

/// The program itself, run with arguments. Killed at the end of the test if it still runs.
class Program {
public:
    /// Where standard error goes.
    enum class Errors { Memory, UnreadPipe };

    explicit Program(const std::vector<std::string>& arguments, Errors errors = Errors::Memory);
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program();

    /// Reads standard output up to the end of a line; std::runtime_error when there is none within a minute.
    std::string line();

    /// Waits for the end and gives the exit status, 128 + signal for a signal; std::runtime_error after a minute.
    int exitStatus();
    void signal(int number) const;
    pid_t pid() const { return pid_; }

    /// Limits the number of files that it may have open from now on.
    void limitOpenFiles(std::size_t limit) const;

    /// The processor time that it has used up to now, in seconds.
    double processorTime() const;

    /// What it writes to standard output from the last line() to its end.
    std::string restOfOutput();

    /// Closes the reading end of standard error, if that is a pipe.
    void closeErrors() { unread_.close(); }

    /// What it has written to standard error up to now, if that goes to memory.
    std::string errors() const;

private:
    pid_t pid_ = -1;
    Descriptor process_;
    Descriptor output_;
    Descriptor errors_;
    Descriptor unread_;
};

/// The program serving a folder on `port`, or on a free one for 0.
class ServiceProcess : public Program {
public:
    explicit ServiceProcess(const std::string& data, std::uint16_t port = 0, Errors errors = Errors::Memory);
    /// With further options, such as those of a certificate.
    ServiceProcess(const std::string& data, std::uint16_t port, const std::vector<std::string>& options,
                   Errors errors = Errors::Memory);
    std::uint16_t port() const { return port_; }
    std::string host() const { return "127.0.0.1:" + std::to_string(port_); }

private:
    std::uint16_t port_;
};

} // namespace webservice::test
