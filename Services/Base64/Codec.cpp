#include "Services/Base64/Codec.h"

#include "Platform/Memory.h"
#include "Platform/Utf8.h"
#include "Services/Base64/Alphabet.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace Quenmark::Base64::Codec {

namespace {

/// Encodes one or two bytes as a group with padding.
void encodeLastGroup(std::span<const std::byte> data, char* text) {
    const auto first = std::to_integer<unsigned>(data[0]);
    const auto second = data.size() > 1 ? std::to_integer<unsigned>(data[1]) : 0U;
    text[0] = alphabet[first >> 2];
    text[1] = alphabet[(first & 3) << 4 | second >> 4];
    text[2] = data.size() > 1 ? alphabet[(second & 15) << 2] : paddingCharacter;
    text[3] = paddingCharacter;
}

/// What decoding carries from one place of the text to a later one.
struct Carry {
    std::uint32_t bits = 0;  ///< of the unfinished group's characters, the newest lowest
    std::size_t sextets = 0; ///< how many characters those are, 0 to 3
    std::size_t padding = 0; ///< padding characters so far
    bool malformed = false;  ///< a character of the alphabet came after padding

    bool atGroupStart() const { return sextets == 0 && padding == 0; }
};

/// Goes on character by character until whole groups follow, at least over one character.
Kernels::Progress decodeSingly(std::string_view text, std::byte* data, Carry& carry) {
    const char* const end = text.data() + text.size();
    const char* in = text.data();
    do {
        const std::uint8_t bits = sextet(*in++);
        if (bits == paddingMark) {
            ++carry.padding;
        } else if (bits != foreignMark) {
            carry.malformed = carry.malformed || carry.padding > 0;
            carry.bits = carry.bits << 6 | bits;
            if (++carry.sextets == 4) {
                *data++ = static_cast<std::byte>(carry.bits >> 16 & 0xFF);
                *data++ = static_cast<std::byte>(carry.bits >> 8 & 0xFF);
                *data++ = static_cast<std::byte>(carry.bits & 0xFF);
                carry.sextets = 0;
            }
        }
    } while (in != end && !carry.malformed && !(carry.atGroupStart() && sextet(*in) < alphabet.size()));
    return {in, data};
}

/// Decodes a piece of the text; the end of the data.
std::byte* decodePiece(const Kernel& kernel, std::string_view text, std::byte* data, Carry& carry) {
    while (!text.empty() && !carry.malformed) {
        const char* const start = text.data();
        const Kernels::Progress progress =
            carry.atGroupStart() ? kernel.decodeGroups(text, data) : Kernels::Progress{start, data};
        text.remove_prefix(static_cast<std::size_t>(progress.text - start));
        data = progress.data;
        if (!text.empty()) {
            const Kernels::Progress single = decodeSingly(text, data, carry);
            text.remove_prefix(static_cast<std::size_t>(single.text - text.data()));
            data = single.data;
        }
    }
    return data;
}

/// Decodes what is carried past the end of the text; the end of the data, or null when the text was malformed.
std::byte* decodeLastGroup(Carry& carry, std::byte* data) {
    if (carry.malformed || carry.padding > 2 || (carry.sextets + carry.padding) % 4 != 0) {
        return nullptr;
    }
    if (carry.padding > 0) {
        const std::uint32_t bits = carry.bits << 6 * carry.padding;
        *data++ = static_cast<std::byte>(bits >> 16 & 0xFF);
        if (carry.padding == 1) {
            *data++ = static_cast<std::byte>(bits >> 8 & 0xFF);
        }
    }
    return data;
}

/// Decodes into a growing container of one-byte elements.
template <class Container>
std::optional<Container> decoded(const Kernel& kernel, std::string_view text) {
    Container result;
    result.reserve(text.size() / 4 * 3);
    Platform::Memory::adviseLargePages(result.data(), result.capacity());
    const bool wellFormed = decode(kernel, text, [&result](std::span<const std::byte> piece) {
        const auto* const first = reinterpret_cast<const typename Container::value_type*>(piece.data());
        result.insert(result.end(), first, first + piece.size());
    });
    return wellFormed ? std::optional(std::move(result)) : std::nullopt;
}

} // namespace

void encode(const Kernel& kernel, std::span<const std::byte> data, const TextSink& sink) {
    char text[pieceCharacters];
    while (!data.empty()) {
        const std::span<const std::byte> piece = data.first(std::min(data.size(), pieceBytes));
        const std::size_t rest = piece.size() % 3;
        const std::size_t characters = piece.size() / 3 * 4;
        kernel.encodeGroups(piece.first(piece.size() - rest), text);
        if (rest > 0) {
            encodeLastGroup(piece.last(rest), text + characters);
        }
        sink({text, rest > 0 ? characters + 4 : characters});
        data = data.subspan(piece.size());
    }
}

bool decode(const Kernel& kernel, std::string_view text, const DataSink& sink) {
    std::byte data[pieceBytes + Kernels::decodeSlack];
    Carry carry;
    bool anyData = false;
    const auto handOver = [&](const std::byte* end) {
        if (end != data) {
            anyData = true;
            sink({data, static_cast<std::size_t>(end - data)});
        }
    };
    while (!text.empty() && !carry.malformed) {
        const std::string_view piece = text.substr(0, pieceCharacters);
        handOver(decodePiece(kernel, piece, data, carry));
        text.remove_prefix(piece.size());
    }
    const std::byte* const end = decodeLastGroup(carry, data);
    if (end == nullptr) {
        return false;
    }
    handOver(end);
    return anyData;
}

std::optional<std::string> encodedText(const Kernel& kernel, std::span<const std::byte> data, std::size_t wrapWidth) {
    if (data.empty()) {
        return std::nullopt;
    }
    const std::size_t characters = (data.size() + 2) / 3 * 4;
    const std::size_t lineCharacters = wrapWidth / 4 * 4;
    const std::size_t lineBytes = lineCharacters / 4 * 3;
    const std::size_t lineEnds = lineCharacters > 0 ? (characters - 1) / lineCharacters : 0;

    std::string text;
    text.reserve(characters + lineEnds * 2);
    Platform::Memory::adviseLargePages(text.data(), text.capacity());
    const auto append = [&text](std::string_view piece) { text.append(piece); };
    if (wrapWidth > 0 && characters > wrapWidth) {
        // With lines of no characters this has no end, which is required: see the widths 1 to 3 in Base64.h.
        for (std::size_t position = 0; position + lineCharacters < characters; position += lineCharacters) {
            encode(kernel, data.first(lineBytes), append);
            text.append("\r\n");
            data = data.subspan(lineBytes);
        }
    }
    encode(kernel, data, append);
    return text;
}

std::optional<Bytes> decodedData(const Kernel& kernel, std::string_view text) {
    return decoded<Bytes>(kernel, text);
}

std::optional<std::string> decodedString(const Kernel& kernel, std::string_view text) {
    std::optional<std::string> string = decoded<std::string>(kernel, text);
    return string && Platform::firstInvalidUtf8(*string) == std::string::npos ? std::move(string) : std::nullopt;
}

} // namespace Quenmark::Base64::Codec
