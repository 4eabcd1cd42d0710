#pragma once

#include <functional>
#include <string>

namespace TestSupport {

/// Runs `body` in a child process that has new namespaces of its own (CLONE_NEWNET, CLONE_NEWNS; namespaces(7)), in
/// which it is root, and says whether `body` returned true. Where the machine refuses the namespaces, or `body` throws,
/// that is a failure too; standard error tells why.
bool succeedsInNamespaces(int namespaces, const std::function<bool()>& body);

/// Lets no netlink socket be opened by this process from now on (EPERM; seccomp(2)).
void refuseNetlinkSockets();

/// Runs a command line of ip(8), without the leading "ip". Throws std::runtime_error where it fails.
void ip(const std::string& arguments);
/// Runs many, one a line, in one process.
void ipBatch(const std::string& lines);

} // namespace TestSupport
