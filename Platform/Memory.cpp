#include "Platform/Memory.h"

#include <elf.h>
#include <link.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <memory>

namespace Platform::Memory {

namespace {

/// Blocks of at least this many bytes are mapped on their own (mallopt(3), M_MMAP_THRESHOLD); saying so keeps malloc
/// from raising the limit, and with it the memory that it holds on to.
constexpr int ownMapping = 128 << 10;
constexpr int freeHeapKept = 64 << 10;

constexpr std::size_t largePage = 2 << 20;
/// Memory from this size on is a mapping of its own that goes back to the system when it is freed, whatever a program
/// has set (mallopt(3), the upper limit of M_MMAP_THRESHOLD), so that the advice never outlives the memory.
constexpr std::size_t alwaysOwnMapping = 32 << 20;

/// Drops the pages of an object's segments that cannot be written, so that none of them holds anything but what is in
/// the file. Relocations are done in writable segments alone.
int dropUnwritableSegments(dl_phdr_info* object, std::size_t, void*) {
    const auto pageSize = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    for (int index = 0; index < object->dlpi_phnum; ++index) {
        const auto& header = object->dlpi_phdr[index];
        if (header.p_type == PT_DYNAMIC) {
            // NOLINTNEXTLINE(performance-no-int-to-ptr): dl_iterate_phdr(3) gives numbers.
            const auto* entry = reinterpret_cast<const ElfW(Dyn)*>(object->dlpi_addr + header.p_vaddr);
            for (; entry->d_tag != DT_NULL; ++entry) {
                if (entry->d_tag == DT_TEXTREL)
                    return 0;
            }
        }
    }
    for (int index = 0; index < object->dlpi_phnum; ++index) {
        const auto& header = object->dlpi_phdr[index];
        if (header.p_type != PT_LOAD || (header.p_flags & PF_W) != 0)
            continue;
        const std::uintptr_t begin = (object->dlpi_addr + header.p_vaddr) & ~(pageSize - 1);
        // The last page of a segment may be shared with the next one: it stays.
        const std::uintptr_t end = (object->dlpi_addr + header.p_vaddr + header.p_filesz) & ~(pageSize - 1);
        if (end > begin)
            // NOLINTNEXTLINE(performance-no-int-to-ptr): dl_iterate_phdr(3) gives numbers.
            ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTNEED);
    }
    return 0;
}

} // namespace

void keepSmall() {
    ::mallopt(M_MMAP_THRESHOLD, ownMapping);
    ::mallopt(M_TRIM_THRESHOLD, freeHeapKept);
}

void releaseStartupPages() {
    ::dl_iterate_phdr(dropUnwritableSegments, nullptr);
    ::malloc_trim(0);
}

void adviseLargePages(void* memory, std::size_t size) {
    // Whole large pages alone, so that nothing beside the memory is advised.
    void* const aligned = size < alwaysOwnMapping ? nullptr : std::align(largePage, largePage, memory, size);
    if (aligned != nullptr)
        ::madvise(aligned, size / largePage * largePage, MADV_HUGEPAGE);
}

} // namespace Platform::Memory
