#if defined(__x86_64__)

#include "Services/Base64/Alphabet.h"
#include "Services/Base64/Kernels.h"

#include <immintrin.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

// The method is that of W. Muła and D. Lemire, "Base64 encoding and decoding at almost the speed of a memory copy",
// Software: Practice and Experience 50 (2020): the alphabet fits one register and its inverse fits two, so that a
// byte permutation does each look-up for 64 characters at once.

#define QUENMARK_AVX512 [[gnu::target("avx512f,avx512bw,avx512vbmi")]]

namespace Quenmark::Base64::Kernels {

namespace {

constexpr std::size_t vectorCharacters = 64;
constexpr std::size_t vectorBytes = 48;

/// Set in a looked-up byte when the character is not one of the alphabet.
constexpr std::uint8_t foreignBit = 0x80;

using Vector = std::array<std::uint8_t, vectorCharacters>;

/// Where each byte of the loaded 48 goes: a group's bytes 0, 1, 2 become the four bytes 1, 0, 2, 1, in which every
/// sextet is a run of bits.
constexpr Vector spreadOrder = [] {
    Vector order{};
    for (std::size_t group = 0; group < vectorCharacters / 4; ++group) {
        const std::array<std::size_t, 4> bytes = {1, 0, 2, 1};
        for (std::size_t place = 0; place < 4; ++place) {
            order[group * 4 + place] = static_cast<std::uint8_t>(group * 3 + bytes[place]);
        }
    }
    return order;
}();

/// The lowest bit of each sextet in a spread pair of groups.
constexpr Vector sextetShifts = [] {
    Vector shifts{};
    const std::array<std::uint8_t, 8> pair = {10, 4, 22, 16, 42, 36, 54, 48};
    for (std::size_t index = 0; index < shifts.size(); ++index) {
        shifts[index] = pair[index % pair.size()];
    }
    return shifts;
}();

/// The sextets of the 64 characters from `first` on, foreignBit for others.
constexpr Vector sextetsFrom(std::size_t first) {
    Vector table{};
    for (std::size_t index = 0; index < table.size(); ++index) {
        const std::uint8_t bits = sextetOf[first + index];
        table[index] = bits < alphabet.size() ? bits : foreignBit;
    }
    return table;
}

constexpr Vector lowSextets = sextetsFrom(0);
constexpr Vector highSextets = sextetsFrom(64);

/// Gathers the three bytes, most significant first, of each 32-bit lane.
constexpr Vector gatherOrder = [] {
    Vector order{};
    for (std::size_t index = 0; index < vectorBytes; ++index) {
        order[index] = static_cast<std::uint8_t>(index / 3 * 4 + 2 - index % 3);
    }
    return order;
}();

/// The lowest `count` of 64 bits.
constexpr std::uint64_t lowestBits(std::size_t count) {
    return count >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << count) - 1;
}

QUENMARK_AVX512 inline __m512i load(const void* from) {
    return _mm512_loadu_si512(from);
}

/// The forms with a mask of all ones, which costs nothing: the plain ones make GCC 12 warn of an uninitialised value.
constexpr std::uint64_t all = ~std::uint64_t{0};

QUENMARK_AVX512 inline __m512i lookedUp(__m512i table, __m512i indices) {
    return _mm512_maskz_permutexvar_epi8(all, indices, table);
}

/// The 64 characters of 48 bytes.
QUENMARK_AVX512 inline __m512i encoded(__m512i bytes) {
    const __m512i spread = lookedUp(bytes, load(spreadOrder.data()));
    // The look-up takes no notice of the two bits above a sextet.
    const __m512i sextets = _mm512_maskz_multishift_epi64_epi8(all, load(sextetShifts.data()), spread);
    return lookedUp(load(alphabet.data()), sextets);
}

QUENMARK_AVX512 void encodeGroups(std::span<const std::byte> data, char* text) {
    const std::byte* in = data.data();
    std::size_t left = data.size();
    for (; left >= vectorCharacters; left -= vectorBytes) {
        prefetchAfter(in);
        _mm512_storeu_si512(text, encoded(load(in)));
        in += vectorBytes;
        text += vectorCharacters;
    }
    while (left > 0) {
        const std::size_t bytes = std::min(left, vectorBytes);
        const std::size_t characters = bytes / 3 * 4;
        _mm512_mask_storeu_epi8(text, lowestBits(characters), encoded(_mm512_maskz_loadu_epi8(lowestBits(bytes), in)));
        left -= bytes;
        in += bytes;
        text += characters;
    }
}

QUENMARK_AVX512 Progress decodeGroups(std::string_view text, std::byte* data) {
    const __m512i low = load(lowSextets.data());
    const __m512i high = load(highSextets.data());
    const __m512i gather = load(gatherOrder.data());
    const char* in = text.data();
    std::size_t left = text.size();
    while (left >= 4) {
        prefetchAfter(in);
        // Past the end of the text the load gives zeros, which are no characters of the alphabet.
        const __m512i characters = _mm512_maskz_loadu_epi8(lowestBits(left), in);
        const __m512i sextets = _mm512_permutex2var_epi8(low, characters, high);
        const std::uint64_t foreign = _mm512_movepi8_mask(_mm512_or_si512(sextets, characters));
        const __m512i pairs = _mm512_maddubs_epi16(sextets, _mm512_set1_epi32(0x01400140));
        const __m512i groups = _mm512_madd_epi16(pairs, _mm512_set1_epi32(0x00011000));
        _mm512_storeu_si512(data, lookedUp(groups, gather));

        const std::size_t clean = static_cast<std::size_t>(std::countr_zero(foreign)) / 4;
        in += clean * 4;
        left -= clean * 4;
        data += clean * 3;
        if (clean < vectorCharacters / 4) {
            break;
        }
    }
    return {in, data};
}

} // namespace

const Kernel avx512 = {"AVX-512 VBMI", encodeGroups, decodeGroups};

} // namespace Quenmark::Base64::Kernels

#endif
