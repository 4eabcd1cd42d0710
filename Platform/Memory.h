#pragma once

namespace Platform::Memory {

/// Sets the process up to stay small: what it frees goes back to the system, large blocks at once. To be called at the
/// start, before there is much to free.
void keepSmall();

/// Gives up memory that only the start needed: pages of program text and constants leave the process, and are mapped
/// again from the page cache where they are still used (madvise(2), MADV_DONTNEED); free heap goes back to the system.
void releaseStartupPages();

} // namespace Platform::Memory
