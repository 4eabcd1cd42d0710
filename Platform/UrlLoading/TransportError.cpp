#include "Platform/UrlLoading/TransportError.h"

#include "Platform/UrlLoading/HeaderFields.h"
#include "Platform/UrlLoading/UrlRequest.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>

namespace Platform {

bool isKnownTransferCoding(std::string_view codings) {
    constexpr std::array<std::string_view, 7> known{"chunked", "gzip", "x-gzip", "deflate", "br", "zstd", "identity"};
    while (!codings.empty()) {
        const auto end = std::min(codings.find(','), codings.size());
        std::string_view coding = codings.substr(0, end);
        codings.remove_prefix(std::min(end + 1, codings.size()));
        coding.remove_prefix(std::min(coding.find_first_not_of(" \t"), coding.size()));
        coding = coding.substr(0, coding.find_first_of(" \t;"));
        if (!coding.empty() && std::none_of(known.begin(), known.end(),
                                            [coding](std::string_view name) { return sameFieldName(name, coding); }))
            return false;
    }
    return true;
}

int transportErrorCode(int result, const TransferStage& stage) {
    switch (static_cast<CURLcode>(result)) {
    case CURLE_URL_MALFORMAT:
        return UrlError::BadUrl;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return UrlError::CannotFindHost;
    case CURLE_COULDNT_CONNECT:
    case CURLE_INTERFACE_FAILED:
    case CURLE_NO_CONNECTION_AVAILABLE:
    case CURLE_PROXY:
        return UrlError::CannotConnectToHost;
    case CURLE_OPERATION_TIMEDOUT:
        return UrlError::TimedOut;
    case CURLE_TOO_MANY_REDIRECTS:
        return UrlError::TooManyRedirects;
    case CURLE_FILESIZE_EXCEEDED:
        return UrlError::DataLengthExceedsMaximum;
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR: // Chunks that are malformed, too.
    case CURLE_SEND_FAIL_REWIND:
    case CURLE_UNRECOVERABLE_POLL:
        return UrlError::NetworkConnectionLost;
    case CURLE_UNSUPPORTED_PROTOCOL: // There is no status line of HTTP/1.
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_FUNCTION_ARGUMENT: // The first line of a header section is folded.
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
    case CURLE_HTTP3:
        return UrlError::BadServerResponse;
    case CURLE_OUT_OF_MEMORY:
        // A header line of more than 100 KiB is reported so as well.
        return stage.requestSent && !stage.headersComplete ? UrlError::BadServerResponse
                                                           : UrlError::NetworkConnectionLost;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS:
        return UrlError::ServerCertificateUntrusted;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_SHUTDOWN_FAILED:
    case CURLE_SSL_CLIENTCERT:
    case CURLE_USE_SSL_FAILED:
    case CURLE_QUIC_CONNECT_ERROR:
        return UrlError::SecureConnectionFailed;
    case CURLE_BAD_CONTENT_ENCODING:
        return stage.knownCoding ? UrlError::CannotDecodeRawData : UrlError::CannotDecodeContentData;
    default:
        // The others belong to other protocols, or to a wrong call.
        return UrlError::Unknown;
    }
}

} // namespace Platform
