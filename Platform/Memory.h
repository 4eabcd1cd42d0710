#pragma once

#include <cstddef>

namespace Platform::Memory {

/// Configures malloc to return freed memory to the system, large blocks at once. To be called at the
/// start, before there is much to free.
void keepSmall();

/// Releases memory that only the start needed: pages of program text and constants leave the process, and are mapped
/// again from the page cache where they are still used (madvise(2), MADV_DONTNEED); free heap goes back to the system.
void releaseStartupPages();

/// Asks the system to provide memory that is about to be written for the first time in pages of 2 MiB, where that is
/// left to the program (madvise(2), MADV_HUGEPAGE): the first touch of a large result then costs less than half. Memory
/// below 32 MiB is left alone. The content does not change, and a refusal does no harm.
void adviseLargePages(void* memory, std::size_t size);

} // namespace Platform::Memory
