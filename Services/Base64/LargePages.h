#pragma once

#include <cstddef>

namespace Quenmark::Base64 {

/// Asks the system to provide memory that is about to be written for the first time in pages of 2 MiB, where that is
/// left to the program (madvise(2), MADV_HUGEPAGE): the first touch of a large result then costs less than half. Memory
/// below 32 MiB is left alone. The content does not change, and a refusal does no harm.
void adviseLargePages(void* memory, std::size_t size);

} // namespace Quenmark::Base64
