// What the process holds of the machine's memory. Each test has a process of its own, since the allocator's settings
// stay.

#include "Platform/Memory.h"

#include <gtest/gtest.h>

#include <malloc.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace Memory = Platform::Memory;

bool holdsInAChild(const std::function<bool()>& body) {
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(body() ? 0 : 1);
    int status = -1;
    ::waitpid(child, &status, 0);
    return status == 0;
}

/// The mappings of this process as smaps(5) tells of them: the first line, and the field of that name.
std::vector<std::pair<std::string, std::string>> mappingsWith(const std::string& field) {
    std::vector<std::pair<std::string, std::string>> found;
    std::ifstream smaps("/proc/self/smaps");
    for (std::string line; std::getline(smaps, line);) {
        if (line.find('-') < line.find(' '))
            found.emplace_back(line, "");
        else if (line.starts_with(field + ":"))
            found.back().second = line.substr(field.size() + 1);
    }
    return found;
}

/// The range of addresses within `whole` that large pages are advised for.
std::pair<std::uintptr_t, std::uintptr_t> advisedRange(const std::byte* whole, std::size_t size) {
    std::pair<std::uintptr_t, std::uintptr_t> range{0, 0};
    const auto first = reinterpret_cast<std::uintptr_t>(whole);
    for (const auto& [line, flags] : mappingsWith("VmFlags")) {
        std::uintptr_t begin = 0;
        std::uintptr_t end = 0;
        char dash = 0;
        std::istringstream(line) >> std::hex >> begin >> dash >> end;
        if (begin < first || end > first + size || flags.find(" hg") == std::string::npos)
            continue;
        range.first = range.first == 0 ? begin : range.first;
        range.second = end;
    }
    return range;
}

class LargePages : public testing::Test {
protected:
    static constexpr std::size_t oneMebibyte = 1 << 20;
    static constexpr std::size_t size = 80 * oneMebibyte;

    void SetUp() override {
        ASSERT_TRUE(std::ifstream("/sys/kernel/mm/transparent_hugepage/enabled")) << "this kernel has no large pages";
        memory = static_cast<std::byte*>(
            ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
        ASSERT_NE(memory, MAP_FAILED);
        // The mapping may have been joined to another one, whose advice is not this test's.
        void* start = memory + 2 * oneMebibyte;
        std::size_t room = size - 4 * oneMebibyte;
        aligned = static_cast<std::byte*>(std::align(2 * oneMebibyte, 2 * oneMebibyte, start, room));
        ASSERT_NE(aligned, nullptr);
    }
    void TearDown() override {
        if (memory != nullptr)
            ::munmap(memory, size);
    }
    std::pair<std::size_t, std::size_t> advisedFor(std::size_t offset, std::size_t length) const {
        Memory::adviseLargePages(aligned + offset, length);
        const auto [begin, end] = advisedRange(memory, size);
        const auto base = reinterpret_cast<std::uintptr_t>(aligned);
        return begin == 0 ? std::pair<std::size_t, std::size_t>() : std::pair(begin - base, end - base);
    }

    std::byte* memory = nullptr;
    std::byte* aligned = nullptr;
};

TEST_F(LargePages, AreAdvisedFrom32MebibytesOn) {
    EXPECT_EQ(advisedFor(0, 32 * oneMebibyte - 1), (std::pair<std::size_t, std::size_t>(0, 0)));
    EXPECT_EQ(advisedFor(0, 32 * oneMebibyte), (std::pair<std::size_t, std::size_t>(0, 32 * oneMebibyte)));
}

TEST_F(LargePages, AreAdvisedForWholeOnesAlone) {
    EXPECT_EQ(advisedFor(4096, 35 * oneMebibyte),
              (std::pair<std::size_t, std::size_t>(2 * oneMebibyte, 34 * oneMebibyte)));
}

TEST(ASmallProcess, MapsLargeBlocksOnTheirOwnHoweverLargeTheOnesBefore) {
    // How many of these blocks are mapped on their own; some may find room that was free before.
    const auto mapped = [](std::size_t blockSize) {
        const std::size_t before = ::mallinfo2().hblks;
        std::vector<void*> blocks(500);
        for (auto& block : blocks)
            block = ::malloc(blockSize);
        const std::size_t after = ::mallinfo2().hblks;
        for (void* block : blocks)
            ::free(block);
        return after - before;
    };
    EXPECT_TRUE(holdsInAChild([&] {
        Memory::keepSmall();
        ::free(::malloc(4 << 20));
        return mapped((128 << 10) - 64) == 0 && mapped(128 << 10) > 0;
    }));
}

TEST(ASmallProcess, GivesFreeHeapBackHoweverLargeTheBlocksBefore) {
    EXPECT_TRUE(holdsInAChild([] {
        Memory::keepSmall();
        ::free(::malloc(4 << 20));
        std::vector<void*> blocks(60);
        for (auto& block : blocks)
            block = ::malloc(100'000);
        for (; !blocks.empty(); blocks.pop_back())
            ::free(blocks.back());
        // The allocator adds its own padding (mallopt(3), M_TOP_PAD).
        return ::mallinfo2().keepcost <= 256 << 10;
    }));
}

/// How many KiB of this process's mappings that are files and cannot be written are in memory.
std::size_t residentCode() {
    std::size_t sum = 0;
    for (const auto& [line, resident] : mappingsWith("Rss")) {
        if (line.find(" r-xp ") != std::string::npos && line.find(" /") != std::string::npos)
            sum += std::strtoul(resident.c_str(), nullptr, 10);
    }
    return sum;
}

/// Brings all of that into memory.
void readCode() {
    for (const auto& [line, resident] : mappingsWith("Rss")) {
        std::uintptr_t begin = 0;
        std::uintptr_t end = 0;
        char dash = 0;
        std::istringstream(line) >> std::hex >> begin >> dash >> end;
        if (line.find(" r-xp ") == std::string::npos || line.find(" /") == std::string::npos)
            continue;
        for (; begin < end; begin += 4096)
            static_cast<void>(*reinterpret_cast<const volatile char*>(begin)); // NOLINT(performance-no-int-to-ptr)
    }
}

std::size_t residentPages() {
    std::size_t whole = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> whole >> resident;
    return resident;
}

int changedSinceTheStart = 1;

TEST(TheStartupPages, OfCodeAreDroppedAndThoseOfDataStay) {
    EXPECT_TRUE(holdsInAChild([] {
        changedSinceTheStart = 42;
        readCode();
        const std::size_t before = residentCode();
        Memory::releaseStartupPages();
        const std::size_t after = residentCode();
        return after < before / 2 && changedSinceTheStart == 42;
    }));
}

TEST(TheStartupPages, OfFreedMemoryAreGivenBack) {
    EXPECT_TRUE(holdsInAChild([] {
        std::vector<std::unique_ptr<std::string>> blocks(20'000);
        for (auto& block : blocks)
            block = std::make_unique<std::string>(2000, 'x');
        const auto last = std::move(blocks.back());
        blocks.clear();
        const std::size_t before = residentPages();
        Memory::releaseStartupPages();
        // Forty megabytes were freed below a block that is still there.
        return residentPages() + 5'000 < before;
    }));
}

} // namespace
