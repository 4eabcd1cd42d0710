#include "Services/Base64/Base64.h"

#include "Services/Base64/Codec.h"
#include "Services/Base64/Kernels.h"

namespace Quenmark::Base64 {

std::optional<Bytes> dataWithBase64EncodedString(std::string_view encodedString) {
    return Codec::decodedData(Kernels::fastest(), encodedString);
}

std::optional<std::string> base64EncodedStringWithWrapWidth(std::span<const std::byte> data, std::size_t wrapWidth) {
    return Codec::encodedText(Kernels::fastest(), data, wrapWidth);
}

std::optional<std::string> base64EncodedString(std::span<const std::byte> data) {
    return base64EncodedStringWithWrapWidth(data, 0);
}

std::optional<std::string> stringWithBase64EncodedString(std::string_view encodedString) {
    return Codec::decodedString(Kernels::fastest(), encodedString);
}

std::optional<std::string> base64EncodedStringWithWrapWidth(std::string_view string, std::size_t wrapWidth) {
    return base64EncodedStringWithWrapWidth(std::as_bytes(std::span(string)), wrapWidth);
}

std::optional<std::string> base64EncodedString(std::string_view string) {
    return base64EncodedStringWithWrapWidth(string, 0);
}

std::optional<std::string> base64DecodedString(std::string_view string) {
    return stringWithBase64EncodedString(string);
}

std::optional<Bytes> base64DecodedData(std::string_view string) {
    return dataWithBase64EncodedString(string);
}

void encodeInPieces(std::span<const std::byte> data, const TextSink& sink) {
    Codec::encode(Kernels::fastest(), data, sink);
}

bool decodeInPieces(std::string_view encodedString, const DataSink& sink) {
    return Codec::decode(Kernels::fastest(), encodedString, sink);
}

} // namespace Quenmark::Base64
