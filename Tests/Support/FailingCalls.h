#pragma once

#include <functional>
#include <vector>

namespace TestSupport {

/// Runs `body` on a thread of its own, for which each of those system calls (<sys/syscall.h>) fails with a number of
/// errno(3). Where such a filter cannot be set (seccomp(2)), false is returned and nothing runs.
bool runWithFailingCalls(const std::vector<long>& calls, int number, const std::function<void()>& body);

} // namespace TestSupport
