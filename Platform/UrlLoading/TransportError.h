#pragma once

#include <string_view>

namespace Platform {

/// Whether every transfer coding of a list is one that libcurl can decode (RFC 9112, section 7).
bool isKnownTransferCoding(std::string_view codings);

/// The stage of a request at which libcurl failed.
struct TransferStage {
    bool requestSent = false;
    bool headersComplete = false;
    /// Whether the response's "Transfer-Encoding" names only codings that can be decoded.
    bool knownCoding = true;
};

/// The code of `UrlError` for a failure of libcurl (libcurl-errors(3)).
int transportErrorCode(int result, const TransferStage& stage);

} // namespace Platform
