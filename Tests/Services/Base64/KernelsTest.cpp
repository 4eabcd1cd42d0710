// Which inner loops are used on this processor.

#include "Services/Base64/Kernels.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace Quenmark::Base64 {

namespace {

/// The instruction sets that the kernel reports (proc_cpuinfo(5)).
std::set<std::string> processorFlags() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);)
        if (line.starts_with("flags")) {
            std::istringstream words(line);
            return {std::istream_iterator<std::string>(words), {}};
        }
    return {};
}

} // namespace

TEST(TheKernels, AreThoseThatTheProcessorSupportsFromTheSlowestToTheFastest) {
    const auto flags = processorFlags();
    std::vector<std::string_view> expected{"portable"};
#if defined(__x86_64__)
    if (flags.contains("avx2"))
        expected.emplace_back("AVX2");
    if (flags.contains("avx512bw") && flags.contains("avx512vbmi"))
        expected.emplace_back("AVX-512 VBMI");
#endif
    std::vector<std::string_view> names;
    for (const auto* kernel : Kernels::available())
        names.push_back(kernel->name);
    EXPECT_EQ(names, expected);
    EXPECT_EQ(Kernels::fastest().name, expected.back());
}

} // namespace Quenmark::Base64
