// The memory that the inner loops touch: nothing before or after what they are given to read, and no more after what
// they write than they say. The wide loops use loads that a sanitizer does not see, so the pages beside the input are
// closed.

#include "EachKernel.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace Quenmark::Base64 {

namespace {

using KernelMemory = EachKernel;

/// A page with a closed page on each side.
class GuardedPage {
public:
    GuardedPage() : size_(static_cast<std::size_t>(::sysconf(_SC_PAGESIZE))) {
        void* const mapping = ::mmap(nullptr, 3 * size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (mapping == MAP_FAILED || ::mprotect(at(mapping, size_), size_, PROT_READ | PROT_WRITE) != 0) {
            throw std::runtime_error("no memory for a guarded page");
        }
        mapping_ = mapping;
    }
    ~GuardedPage() { ::munmap(mapping_, 3 * size_); }
    GuardedPage(const GuardedPage&) = delete;
    GuardedPage& operator=(const GuardedPage&) = delete;

    std::byte* atStart(const void* from, std::size_t size) { return copied(at(mapping_, size_), from, size); }
    std::byte* atEnd(const void* from, std::size_t size) { return copied(at(mapping_, 2 * size_ - size), from, size); }

private:
    static std::byte* at(void* memory, std::size_t offset) { return static_cast<std::byte*>(memory) + offset; }
    static std::byte* copied(std::byte* to, const void* from, std::size_t size) {
        std::memcpy(to, from, size);
        return to;
    }

    std::size_t size_;
    void* mapping_ = nullptr;
};

constexpr std::byte untouched{0xA5};

} // namespace

TEST_P(KernelMemory, IsReadWithinTheDataWhenEncoding) {
    GuardedPage page;
    for (std::size_t length = 1; length <= 300; ++length) {
        const Bytes data = randomBytes(length, length);
        const std::optional<std::string> expected = Codec::encodedText(Kernels::portable, data, 0);
        const std::byte* const first = page.atStart(data.data(), length);
        EXPECT_EQ(Codec::encodedText(kernel(), {first, length}, 0), expected);
        const std::byte* const last = page.atEnd(data.data(), length);
        EXPECT_EQ(Codec::encodedText(kernel(), {last, length}, 0), expected);
    }
}

TEST_P(KernelMemory, IsReadWithinTheTextWhenDecoding) {
    GuardedPage page;
    for (std::size_t length = 1; length <= 300; ++length) {
        const Bytes data = randomBytes(length, length);
        const std::string text = *Codec::encodedText(Kernels::portable, data, length % 2 == 0 ? 76 : 0);
        const auto* const first = reinterpret_cast<const char*>(page.atStart(text.data(), text.size()));
        EXPECT_EQ(Codec::decodedData(kernel(), {first, text.size()}), data);
        const auto* const last = reinterpret_cast<const char*>(page.atEnd(text.data(), text.size()));
        EXPECT_EQ(Codec::decodedData(kernel(), {last, text.size()}), data);
    }
}

TEST_P(KernelMemory, IsWrittenForExactlyTheCharactersWhenEncoding) {
    for (std::size_t groups = 0; groups <= 100; ++groups) {
        const Bytes data = randomBytes(groups * 3, groups);
        Bytes text(groups * 4 + 128, untouched);
        kernel().encodeGroups(data, reinterpret_cast<char*>(text.data()));
        EXPECT_EQ(std::count(text.begin() + static_cast<std::ptrdiff_t>(groups * 4), text.end(), untouched), 128);
    }
}

TEST_P(KernelMemory, IsWrittenForTheBytesAndTheSlackWhenDecoding) {
    const std::string text = *Codec::encodedText(Kernels::portable, randomBytes(300, 1), 0);
    for (std::size_t length = 0; length <= text.size(); ++length) {
        const std::size_t room = length / 4 * 3 + Kernels::decodeSlack;
        Bytes data(room + 128, untouched);
        const Kernels::Progress progress = kernel().decodeGroups({text.data(), length}, data.data());
        EXPECT_EQ(progress.text, text.data() + length / 4 * 4);
        EXPECT_EQ(progress.data, data.data() + length / 4 * 3);
        EXPECT_EQ(std::count(data.begin() + static_cast<std::ptrdiff_t>(room), data.end(), untouched), 128);
    }
}

TEST_P(KernelMemory, HoldsTheGroupsBeforeTheFirstForeignCharacter) {
    const Bytes expected = randomBytes(192, 2);
    const std::string text = *Codec::encodedText(Kernels::portable, expected, 0);
    for (const char foreign : {'=', '\n', '\0', '\xC1'}) {
        for (std::size_t place = 0; place < text.size(); ++place) {
            std::string broken = text;
            broken[place] = foreign;
            Bytes data(expected.size() + Kernels::decodeSlack);
            const Kernels::Progress progress = kernel().decodeGroups(broken, data.data());
            const std::size_t bytes = place / 4 * 3;
            EXPECT_EQ(progress.text, broken.data() + place / 4 * 4);
            EXPECT_EQ(progress.data, data.data() + bytes);
            EXPECT_EQ(std::memcmp(data.data(), expected.data(), bytes), 0);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(With, KernelMemory, testing::ValuesIn(everyKernel()), kernelName);

TEST(TheKernels, BeginWithThePortableOneAndEndWithTheFastest) {
    EXPECT_EQ(Kernels::available().front(), &Kernels::portable);
    EXPECT_EQ(Kernels::available().back(), &Kernels::fastest());
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2")) {
        EXPECT_NE(Kernels::fastest().name, Kernels::portable.name);
    }
#endif
}

} // namespace Quenmark::Base64
