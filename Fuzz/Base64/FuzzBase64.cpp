// Any bytes as Base64 text: every set of inner loops decodes them alike, in one and in pieces, and what was decoded
// comes back from its own text, whatever the width of its lines.

#include "Services/Base64/Base64.h"
#include "Services/Base64/Codec.h"
#include "Services/Base64/Kernels.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

using namespace Quenmark::Base64;

void require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

void decodeInEveryWay(std::string_view text) {
    const std::optional<Bytes> data = Codec::decodedData(Kernels::portable, text);
    require(!data || !data->empty(), "a value is never empty");
    for (const Kernels::Kernel* const kernel : Kernels::available()) {
        require(Codec::decodedData(*kernel, text) == data, "the loops decode differently");
        Bytes pieces;
        const bool wellFormed = Codec::decode(*kernel, text, [&pieces](std::span<const std::byte> piece) {
            pieces.insert(pieces.end(), piece.begin(), piece.end());
        });
        require(wellFormed == data.has_value() && (!data || pieces == *data), "pieces differ from the whole");
    }
    const std::optional<std::string> string = stringWithBase64EncodedString(text);
    require(!string || (data && std::equal(data->begin(), data->end(), std::as_bytes(std::span(*string)).begin(),
                                           std::as_bytes(std::span(*string)).end())),
            "the string differs from the data");
}

void thereAndBack(std::span<const std::byte> data) {
    const std::size_t width = data.empty() ? 0 : 4 + std::to_integer<std::size_t>(data.front());
    const std::optional<std::string> text = Codec::encodedText(Kernels::portable, data, width);
    require(text.has_value() != data.empty(), "all data but the empty has a text");
    for (const Kernels::Kernel* const kernel : Kernels::available()) {
        require(Codec::encodedText(*kernel, data, width) == text, "the loops encode differently");
        if (text) {
            const std::optional<Bytes> back = Codec::decodedData(*kernel, *text);
            require(back && std::equal(back->begin(), back->end(), data.begin(), data.end()), "data is lost");
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
    const std::span<const std::byte> bytes = std::as_bytes(std::span(input, size));
    decodeInEveryWay({reinterpret_cast<const char*>(input), size});
    thereAndBack(bytes);
    return 0;
}
