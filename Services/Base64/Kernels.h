#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

/// The inner loops of the coding, one set for each kind of processor. All sets give the same results; they differ in
/// speed alone. Internal to the library: callers use Base64.h.
namespace Quenmark::Base64::Kernels {

/// How far a decoding loop came.
struct Progress {
    const char* text;
    std::byte* data;
};

/// A decoding loop may overwrite this many bytes after the last one that it reports.
inline constexpr std::size_t decodeSlack = 64;

/// Asks for what a wide loop will read half a page later. The processor's own prefetching stops at the end of each
/// page, which costs a fifth of the speed over large inputs. The address may lie beyond the input: it is not read.
inline void prefetchAfter(const void* input) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): an address that may lie outside every object is no pointer's sum.
    __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(input) + 2048));
}

struct Kernel {
    std::string_view name;

    /// Encodes `data`, whose size is a multiple of three, as size / 3 * 4 characters at `text`.
    void (*encodeGroups)(std::span<const std::byte> data, char* text);

    /// Decodes whole groups of four characters of the alphabet as three bytes each, and stops at the first group with
    /// any other character in it or at fewer than four characters. `data` has room for text.size() / 4 * 3 +
    /// decodeSlack bytes.
    Progress (*decodeGroups)(std::string_view text, std::byte* data);
};

/// The loops in plain C++, for every processor.
extern const Kernel portable;

/// The loops that this processor can run: `portable` first, the fastest last.
std::span<const Kernel* const> available();

/// The fastest of them.
const Kernel& fastest();

#if defined(__x86_64__)
/// For processors with AVX2: 24 bytes at a time.
extern const Kernel avx2;
/// For processors with AVX-512 VBMI: 48 bytes at a time.
extern const Kernel avx512;
#endif

} // namespace Quenmark::Base64::Kernels
