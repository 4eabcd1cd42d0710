#pragma once

#include <functional>
#include <vector>

namespace TestSupport {

/// Runs `body` on a thread of its own, for which each of those system calls (<sys/syscall.h>) fails with a number of
/// errno(3). Throws std::system_error where such a filter cannot be set (seccomp(2)): nothing has run then.
void runWithFailingCalls(const std::vector<long>& calls, int number, const std::function<void()>& body);

} // namespace TestSupport
