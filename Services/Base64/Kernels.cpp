#include "Services/Base64/Kernels.h"

#include <array>

namespace Quenmark::Base64::Kernels {

namespace {

struct Selection {
    std::array<const Kernel*, 3> kernels{};
    std::size_t count = 0;

    void add(const Kernel& kernel) { kernels[count++] = &kernel; }
};

Selection select() {
    Selection selection;
    selection.add(portable);
#if defined(__x86_64__)
    // The compiler's run-time support also asks whether the operating system saves the wide registers.
    if (__builtin_cpu_supports("avx2")) {
        selection.add(avx2);
    }
    if (__builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi")) {
        selection.add(avx512);
    }
#endif
    return selection;
}

} // namespace

std::span<const Kernel* const> available() {
    static const Selection selection = select();
    return std::span(selection.kernels).first(selection.count);
}

const Kernel& fastest() {
    return *available().back();
}

} // namespace Quenmark::Base64::Kernels
