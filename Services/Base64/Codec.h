#pragma once

#include "Services/Base64/Base64.h"
#include "Services/Base64/Kernels.h"

/// The operations of Base64.h over a given set of inner loops. Internal to the library.
namespace Quenmark::Base64::Codec {

using Kernels::Kernel;

/// The longest piece of text that is coded at a time: text and data of a piece fit the first-level cache together.
inline constexpr std::size_t pieceCharacters = std::size_t{16} * 1024;
inline constexpr std::size_t pieceBytes = pieceCharacters / 4 * 3;

void encode(const Kernel& kernel, std::span<const std::byte> data, const TextSink& sink);
bool decode(const Kernel& kernel, std::string_view text, const DataSink& sink);

std::optional<std::string> encodedText(const Kernel& kernel, std::span<const std::byte> data, std::size_t wrapWidth);
std::optional<Bytes> decodedData(const Kernel& kernel, std::string_view text);
std::optional<std::string> decodedString(const Kernel& kernel, std::string_view text);

} // namespace Quenmark::Base64::Codec
