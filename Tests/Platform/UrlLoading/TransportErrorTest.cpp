// The code that callers get for each failure of the transport (libcurl-errors(3)).

#include "Platform/UrlLoading/TransportError.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <map>
#include <set>

namespace Platform {
namespace {

const std::map<int, std::set<int>> codes{
    {-1000, {CURLE_URL_MALFORMAT}},
    {-1001, {CURLE_OPERATION_TIMEDOUT}},
    {-1003, {CURLE_COULDNT_RESOLVE_HOST, CURLE_COULDNT_RESOLVE_PROXY}},
    {-1004, {CURLE_COULDNT_CONNECT, CURLE_INTERFACE_FAILED, CURLE_NO_CONNECTION_AVAILABLE, CURLE_PROXY}},
    {-1005,
     {CURLE_GOT_NOTHING, CURLE_PARTIAL_FILE, CURLE_SEND_ERROR, CURLE_RECV_ERROR, CURLE_SEND_FAIL_REWIND,
      CURLE_UNRECOVERABLE_POLL, CURLE_OUT_OF_MEMORY}},
    {-1007, {CURLE_TOO_MANY_REDIRECTS}},
    {-1011,
     {CURLE_UNSUPPORTED_PROTOCOL, CURLE_WEIRD_SERVER_REPLY, CURLE_BAD_FUNCTION_ARGUMENT, CURLE_HTTP2,
      CURLE_HTTP2_STREAM, CURLE_HTTP3}},
    {-1015, {CURLE_BAD_CONTENT_ENCODING}},
    {-1103, {CURLE_FILESIZE_EXCEEDED}},
    {-1200,
     {CURLE_SSL_CONNECT_ERROR, CURLE_SSL_ENGINE_NOTFOUND, CURLE_SSL_ENGINE_SETFAILED, CURLE_SSL_ENGINE_INITFAILED,
      CURLE_SSL_CERTPROBLEM, CURLE_SSL_CIPHER, CURLE_SSL_CACERT_BADFILE, CURLE_SSL_CRL_BADFILE,
      CURLE_SSL_SHUTDOWN_FAILED, CURLE_SSL_CLIENTCERT, CURLE_USE_SSL_FAILED, CURLE_QUIC_CONNECT_ERROR}},
    {-1202,
     {CURLE_PEER_FAILED_VERIFICATION, CURLE_SSL_ISSUER_ERROR, CURLE_SSL_PINNEDPUBKEYNOTMATCH,
      CURLE_SSL_INVALIDCERTSTATUS}},
};

TEST(ATransportError, HasItsCodeAndOnlyTheRestIsUnknown) {
    for (int result = 1; result < CURL_LAST; ++result) {
        int expected = -1;
        for (const auto& [code, results] : codes)
            expected = results.contains(result) ? code : expected;
        EXPECT_EQ(transportErrorCode(result, {}), expected) << result;
    }
}

TEST(ATransportError, ThatMayMeanALineTooLongDoesSoInTheHeadersOfAResponse) {
    EXPECT_EQ(transportErrorCode(CURLE_OUT_OF_MEMORY, {.requestSent = true, .headersComplete = false}), -1011);
    EXPECT_EQ(transportErrorCode(CURLE_OUT_OF_MEMORY, {.requestSent = true, .headersComplete = true}), -1005);
}

TEST(ATransferCoding, IsKnownByItsName) {
    for (const auto* list : {"", "chunked", "gzip", "GZip , Chunked", "deflate;q=1,chunked", ",,x-gzip,", "identity"})
        EXPECT_TRUE(isKnownTransferCoding(list)) << list;
    for (const auto* list : {"compress", "gzipped", "chunked, foo", "foo, chunked", "\"gzip\""})
        EXPECT_FALSE(isKnownTransferCoding(list)) << list;
}

} // namespace
} // namespace Platform
