#pragma once

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <system_error>

namespace webservice::test {

/// Lets a system call (<sys/syscall.h>) fail with a number of errno(3), for this thread and for every process that it
/// starts, from now on; where a second argument is given, only calls with that one (seccomp(2)).
inline void refuseCall(long call, int error, std::optional<int> secondArgument = std::nullopt) {
    constexpr std::uint32_t second = offsetof(seccomp_data, args) + sizeof(std::uint64_t);
    const auto wanted = static_cast<std::uint32_t>(secondArgument.value_or(0));
    const auto refusal = SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(error);
    std::array<sock_filter, 6> filter{{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, second),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, wanted, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, refusal),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    if (!secondArgument)
        filter[3] = BPF_STMT(BPF_RET | BPF_K, refusal);
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
        throw std::system_error(errno, std::generic_category(), "system calls cannot be filtered here");
}

} // namespace webservice::test
