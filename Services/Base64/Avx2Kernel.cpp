#if defined(__x86_64__)

#include "Services/Base64/Alphabet.h"
#include "Services/Base64/Kernels.h"

#include <immintrin.h>

#include <array>
#include <bit>
#include <cstdint>

// The method is that of W. Muła and D. Lemire, "Faster Base64 Encoding and Decoding Using AVX2 Instructions", ACM
// Transactions on the Web 12 (2018): sextets are moved into place by multiplication, and characters are told apart by
// their upper four bits, for which a table of sixteen entries is enough.

#define QUENMARK_AVX2 [[gnu::target("avx2")]]

namespace Quenmark::Base64::Kernels {

namespace {

constexpr std::size_t vectorCharacters = 32;
constexpr std::size_t vectorBytes = 24;
/// Encoding loads 12 bytes into each half of a vector, and four more after them that it leaves alone.
constexpr std::size_t encodeLoad = vectorBytes + 4;

using Table = std::array<std::uint8_t, 16>;

constexpr std::uint8_t difference(char character, std::size_t sextet) {
    return static_cast<std::uint8_t>(static_cast<std::size_t>(character) - sextet);
}

/// What to add to a sextet for its character: 0 is for the upper-case letters, 1 for the lower-case letters, 2 to 11
/// for the ten digits, 12 and 13 for the last two characters.
constexpr Table characterOffsets = [] {
    Table table{};
    table.fill(difference('0', 52));
    table[0] = difference('A', 0);
    table[1] = difference('a', 26);
    table[12] = difference('+', 62);
    table[13] = difference('/', 63);
    return table;
}();

/// What to add to a character for its sextet, by the character's upper four bits; '/' shares them with '+' and uses
/// the entry before.
constexpr Table sextetOffsets = [] {
    Table table{};
    for (const std::size_t character : std::to_array<std::size_t>({'+', '0', 'A', 'P', 'a', 'p'})) {
        table[character >> 4] = static_cast<std::uint8_t>(sextetOf[character] - character);
    }
    table[('/' >> 4) - 1] = static_cast<std::uint8_t>(sextetOf['/'] - '/');
    return table;
}();

/// One bit for each set of lower four bits that the alphabet has under some upper four bits; `othersClass` for upper
/// bits that it has nothing under.
constexpr std::uint8_t othersClass = 0x10;
constexpr Table upperClasses = [] {
    Table table{};
    table.fill(othersClass);
    table['+' >> 4] = 1;
    table['0' >> 4] = 2;
    table['A' >> 4] = table['a' >> 4] = 4;
    table['P' >> 4] = table['p' >> 4] = 8;
    return table;
}();

/// For each lower four bits, the classes that do not have them: a character is foreign where its two entries meet.
constexpr Table foreignClasses = [] {
    Table table{};
    for (std::size_t lower = 0; lower < 16; ++lower) {
        table[lower] = othersClass;
        for (std::size_t upper = 2; upper < 8; ++upper) {
            if (sextetOf[upper << 4 | lower] >= alphabet.size()) {
                table[lower] |= upperClasses[upper];
            }
        }
    }
    return table;
}();

/// A group's bytes 0, 1, 2 become the four bytes 1, 0, 2, 1, in which every sextet is a run of bits.
constexpr Table spreadOrder = {1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10};

/// Gathers the three bytes, most significant first, of each 32-bit lane; 0x80 gives zero.
constexpr Table gatherOrder = {2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, 0x80, 0x80, 0x80, 0x80};

QUENMARK_AVX2 inline __m128i loadHalf(const void* from) {
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

QUENMARK_AVX2 inline __m256i loadTable(const Table& table) {
    return _mm256_broadcastsi128_si256(loadHalf(table.data()));
}

/// The 32 characters of 24 bytes, twelve in each half.
QUENMARK_AVX2 inline __m256i encoded(__m256i bytes) {
    const __m256i spread = _mm256_shuffle_epi8(bytes, loadTable(spreadOrder));
    // In each 32-bit lane sextets 0 and 2 are shifted right by 10 and by 6, sextets 1 and 3 left by 4 and by 8.
    const __m256i even =
        _mm256_mulhi_epu16(_mm256_and_si256(spread, _mm256_set1_epi32(0x0FC0FC00)), _mm256_set1_epi32(0x04000040));
    const __m256i odd =
        _mm256_mullo_epi16(_mm256_and_si256(spread, _mm256_set1_epi32(0x003F03F0)), _mm256_set1_epi32(0x01000010));
    const __m256i sextets = _mm256_or_si256(even, odd);
    const __m256i digits = _mm256_subs_epu8(sextets, _mm256_set1_epi8(51));
    const __m256i letters = _mm256_cmpgt_epi8(sextets, _mm256_set1_epi8(25));
    const __m256i index = _mm256_sub_epi8(digits, letters);
    return _mm256_add_epi8(sextets, _mm256_shuffle_epi8(loadTable(characterOffsets), index));
}

QUENMARK_AVX2 void encodeGroups(std::span<const std::byte> data, char* text) {
    const std::byte* in = data.data();
    std::size_t left = data.size();
    for (; left >= encodeLoad; left -= vectorBytes) {
        prefetchAfter(in);
        const __m256i bytes = _mm256_set_m128i(loadHalf(in + vectorBytes / 2), loadHalf(in));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(text), encoded(bytes));
        in += vectorBytes;
        text += vectorCharacters;
    }
    portable.encodeGroups({in, left}, text);
}

QUENMARK_AVX2 Progress decodeGroups(std::string_view text, std::byte* data) {
    const __m256i lowerBits = _mm256_set1_epi8(0x0F);
    const char* in = text.data();
    std::size_t left = text.size();
    for (; left >= vectorCharacters; left -= vectorCharacters) {
        prefetchAfter(in);
        const __m256i characters = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in));
        const __m256i upper = _mm256_and_si256(_mm256_srli_epi32(characters, 4), lowerBits);
        const __m256i lower = _mm256_and_si256(characters, lowerBits);
        const __m256i meeting = _mm256_and_si256(_mm256_shuffle_epi8(loadTable(upperClasses), upper),
                                                 _mm256_shuffle_epi8(loadTable(foreignClasses), lower));
        const __m256i native = _mm256_cmpeq_epi8(meeting, _mm256_setzero_si256());

        const __m256i slashes = _mm256_cmpeq_epi8(characters, _mm256_set1_epi8('/'));
        const __m256i offsets = _mm256_shuffle_epi8(loadTable(sextetOffsets), _mm256_add_epi8(upper, slashes));
        const __m256i sextets = _mm256_add_epi8(characters, offsets);
        const __m256i pairs = _mm256_maddubs_epi16(sextets, _mm256_set1_epi32(0x01400140));
        const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
        const __m256i halves = _mm256_shuffle_epi8(groups, loadTable(gatherOrder));
        const __m256i bytes = _mm256_permutevar8x32_epi32(halves, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(data), bytes);

        const auto nativeMask = static_cast<std::uint32_t>(_mm256_movemask_epi8(native));
        const std::size_t clean = static_cast<std::size_t>(std::countr_one(nativeMask)) / 4;
        in += clean * 4;
        data += clean * 3;
        if (clean < vectorCharacters / 4) {
            return {in, data};
        }
    }
    return portable.decodeGroups({in, left}, data);
}

} // namespace

const Kernel avx2 = {"AVX2", encodeGroups, decodeGroups};

} // namespace Quenmark::Base64::Kernels

#endif
