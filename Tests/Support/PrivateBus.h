#pragma once

#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

namespace TestSupport {

/// A dbus-daemon of the test's own. While it lives it is the session bus of this process and of what this process
/// starts; what it launches gets the environment that this process had when the bus was made. Where that has
/// QUENMARK_BUS_LAUNCHER, a program's path, the bus runs that program, with the service's command line as arguments.
class PrivateBus {
public:
    /// A service that the bus launches when its name is called for.
    struct Service {
        std::string name;
        /// The program, by its whole path, and its arguments.
        std::string commandLine;
    };

    explicit PrivateBus(const std::vector<Service>& services = {});
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;
    /// Ends the daemon.
    ~PrivateBus();

    const std::string& address() const { return address_; }
    /// The file system path of the bus's socket.
    std::string socketPath() const { return folder_.path("bus"); }
    pid_t processId() const { return process_; }
    /// What the daemon, and the services that it launched, have written to standard error.
    std::string log() const { return folder_.read("bus.log"); }
    /// Runs the loop until `log` holds `text`; false where it does not come to that.
    bool waitForLog(std::string_view text) const;

    /// Ends the daemon at once, and with it all its connections.
    void kill();

private:
    TemporaryDirectory folder_;
    ScopedEnvironment environment_;
    std::string address_;
    pid_t process_ = -1;
};

} // namespace TestSupport
