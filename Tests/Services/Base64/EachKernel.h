#pragma once

#include "Services/Base64/Base64.h"
#include "Services/Base64/Codec.h"
#include "Services/Base64/Kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <ostream>
#include <random>
#include <string>
#include <string_view>

namespace Quenmark::Base64::Kernels {

inline void PrintTo(const Kernel& kernel, std::ostream* out) {
    *out << kernel.name;
}

} // namespace Quenmark::Base64::Kernels

namespace Quenmark::Base64 {

/// Runs a test with every set of inner loops that this processor has: the portable one and the wide ones.
class EachKernel : public testing::TestWithParam<Kernels::Kernel> {
protected:
    static const Kernels::Kernel& kernel() { return GetParam(); }
};

inline std::vector<Kernels::Kernel> everyKernel() {
    std::vector<Kernels::Kernel> kernels;
    for (const Kernels::Kernel* const kernel : Kernels::available()) {
        kernels.push_back(*kernel);
    }
    return kernels;
}

inline std::string kernelName(const testing::TestParamInfo<Kernels::Kernel>& info) {
    std::string name(info.param.name);
    std::erase_if(name, [](unsigned char character) { return std::isalnum(character) == 0; });
    return name;
}

inline Bytes bytesOf(std::string_view text) {
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

/// The same bytes at every run.
inline Bytes randomBytes(std::size_t size, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    Bytes bytes(size);
    std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<std::byte>(random() >> 56); });
    return bytes;
}

} // namespace Quenmark::Base64
