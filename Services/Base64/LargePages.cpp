#include "Services/Base64/LargePages.h"

#include <sys/mman.h>

#include <memory>

namespace Quenmark::Base64 {

namespace {

constexpr std::size_t largePage = std::size_t{2} * 1024 * 1024;

/// Memory from this size on is a mapping of its own that goes back to the system when it is freed (mallopt(3), the
/// upper limit of M_MMAP_THRESHOLD), so that the advice never outlives the result.
constexpr std::size_t ownMapping = std::size_t{32} * 1024 * 1024;

} // namespace

void adviseLargePages(void* memory, std::size_t size) {
    // Whole large pages alone, so that nothing beside the memory is advised.
    void* const aligned = size < ownMapping ? nullptr : std::align(largePage, largePage, memory, size);
    if (aligned != nullptr) {
        ::madvise(aligned, size / largePage * largePage, MADV_HUGEPAGE);
    }
}

} // namespace Quenmark::Base64
