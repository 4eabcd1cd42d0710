#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Base64 of data and of strings: the alphabet of RFC 4648, section 4, with padding, and line wrapping on request.
///
/// No operation reports an error: whatever cannot be encoded or decoded has no value. All of them work on the caller's
/// thread, keep nothing, and may be called from any thread at once. Where the processor has AVX2 or AVX-512 VBMI they
/// use it; the results are the same on every processor.
namespace Quenmark::Base64 {

using Bytes = std::vector<std::byte>;

/// The data that `encodedString` stands for.
///
/// Every character outside the alphabet and "=" is skipped, wherever it stands: line breaks, blanks, control
/// characters, the bytes of any character beyond ASCII. What is left must be a multiple of four characters with
/// padding ("=" or "==") at its end alone. Bits that the last character carries beyond the data are ignored, whatever
/// they are (RFC 4648, section 3.5, leaves it to the decoder).
///
/// No value: the string is empty, is malformed, or stands for no bytes at all (such as "====" or blanks); a value is
/// never empty.
std::optional<Bytes> dataWithBase64EncodedString(std::string_view encodedString);

/// The Base64 text of `data`, in lines of `wrapWidth` characters (counted without the line end, rounded down to a
/// multiple of four) with CR LF between them and nothing after the last one. Width 0, or a width that the text does
/// not exceed: one line.
///
/// The widths 1, 2 and 3 must not be passed for data that is not empty: they round down to lines of no characters, of
/// which there is no end, and the text grows until memory is used up. This is required behaviour.
///
/// No value: `data` is empty.
std::optional<std::string> base64EncodedStringWithWrapWidth(std::span<const std::byte> data, std::size_t wrapWidth);

/// The same as one line.
std::optional<std::string> base64EncodedString(std::span<const std::byte> data);

/// The UTF-8 text that `encodedString` stands for.
///
/// No value: where dataWithBase64EncodedString has none, and where the data is not UTF-8 by RFC 3629 (overlong forms,
/// surrogates and code points above U+10FFFF are refused).
std::optional<std::string> stringWithBase64EncodedString(std::string_view encodedString);

/// The Base64 text of a string's UTF-8 bytes, wrapped as for data. Bytes of the string that are not UTF-8 are encoded
/// as they are. No value: the string is empty. For the widths 1 to 3 see above.
std::optional<std::string> base64EncodedStringWithWrapWidth(std::string_view string, std::size_t wrapWidth);

/// The same as one line.
std::optional<std::string> base64EncodedString(std::string_view string);

/// stringWithBase64EncodedString of `string`.
std::optional<std::string> base64DecodedString(std::string_view string);

/// dataWithBase64EncodedString of `string`.
std::optional<Bytes> base64DecodedData(std::string_view string);

/// For texts and data that need not stand in memory as a whole, such as what goes on to a file or a socket: the result
/// is handed over in pieces of at most 16 KiB, in order, each valid until the sink returns. With large data this is
/// several times as fast as a whole result, whose memory costs more than the coding. An exception of the sink passes
/// through to the caller.
using TextSink = std::function<void(std::string_view)>;
using DataSink = std::function<void(std::span<const std::byte>)>;

/// Encodes `data` as one line. Empty data: the sink is not called.
void encodeInPieces(std::span<const std::byte> data, const TextSink& sink);

/// Decodes as dataWithBase64EncodedString does. False where that has no value; what was handed over until then is then
/// void.
bool decodeInPieces(std::string_view encodedString, const DataSink& sink);

} // namespace Quenmark::Base64
