#include "Support/FailingCalls.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <system_error>
#include <thread>

namespace TestSupport {

namespace {

/// 0, or the number of an error.
int letFail(const std::vector<long>& calls, int number) {
    std::vector<sock_filter> filter{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const long call : calls) {
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(number)));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    const bool isSet =
        ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
    return isSet ? 0 : errno;
}

} // namespace

void runWithFailingCalls(const std::vector<long>& calls, int number, const std::function<void()>& body) {
    int error = 0;
    std::thread([&] {
        error = letFail(calls, number);
        if (error == 0)
            body();
    }).join();
    if (error != 0)
        throw std::system_error(error, std::generic_category(), "system calls cannot be filtered here");
}

} // namespace TestSupport
