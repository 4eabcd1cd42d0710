#pragma once

#include <string_view>

namespace Platform {

/// Whether every transfer coding of a list is one that the transport can decode (RFC 9112, section 7).
bool isKnownTransferCoding(std::string_view codings);

/// How far a request had come when the transport failed.
struct TransferStage {
    bool requestSent = false;
    bool headersComplete = false;
    /// Whether the answer's "Transfer-Encoding" names only codings that can be decoded.
    bool knownCoding = true;
};

/// The code of `UrlError` that callers know for a failure of the transport (libcurl-errors(3)).
int transportErrorCode(int result, const TransferStage& stage);

} // namespace Platform
