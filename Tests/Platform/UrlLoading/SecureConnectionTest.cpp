// Connections that cannot be made secure, and bodies that cannot be decoded: each has a code of its own, since callers
// do nothing at all about an unknown failure.

#include "Platform/UrlLoading/UrlConnection.h"
#include "Support/TlsServer.h"
#include "UrlLoadingFixture.h"

namespace Platform {
namespace {

using TestSupport::HttpReply;

class ASecureConnection : public UrlLoadingTest {
protected:
    /// Over the one interface and the other, which must end in the same way.
    void expectFailure(const UrlRequest& request, int code, const char* text) {
        const LoadResult ofSession = load(request);
        EXPECT_EQ(ofSession.code(), code);
        EXPECT_EQ(ofSession.data, std::nullopt);
        LoadResult ofConnection;
        UrlConnection::sendAsynchronousRequest(request, Queue::main(), [&](auto response, auto data, auto error) {
            ofConnection = {true, std::move(data), std::move(response), std::move(error)};
        });
        ASSERT_TRUE(loop.runUntil([&] { return ofConnection.done; }));
        EXPECT_EQ(ofConnection.code(), code);
        for (const LoadResult& result : {ofSession, ofConnection}) {
            ASSERT_TRUE(result.error);
            EXPECT_TRUE(result.error->localizedDescription.starts_with(text)) << result.error->localizedDescription;
        }
    }
    static UrlRequest getAbsolute(const std::string& address) {
        UrlRequest request;
        request.url = Url::fromString(address);
        return request;
    }
};

TEST_F(ASecureConnection, ToAServerWhoseCertificateIsNotAcceptedIsNotUsed) {
    const TestSupport::TlsServer portal;
    expectFailure(getAbsolute(portal.url("/")), -1202, "The certificate of the server was not accepted");
}

TEST_F(ASecureConnection, ThatARedirectLeadsToIsNoMoreTrusted) {
    const TestSupport::TlsServer portal;
    server.setHandler([&](const auto&) { return HttpReply::status(302, "", {{"Location", portal.url("/login")}}); });
    expectFailure(post("/poll", "{}"), -1202, "The certificate of the server was not accepted");
    EXPECT_EQ(server.requests().size(), 2U);
}

TEST_F(ASecureConnection, ToAServerThatSpeaksNoTlsIsNone) {
    const auto address = "https://" + server.host() + "/";
    for (const bool results : {true, false}) {
        const std::size_t connection = server.acceptedConnections();
        LoadResult result;
        start(*makeSession(), getAbsolute(address), result);
        ASSERT_TRUE(loop.runUntil([&] { return server.unfinishedRequests() == 1; }));
        if (results)
            server.send(connection, "HTTP/1.1 400 Bad Request\r\n\r\n");
        else
            server.close(connection);
        ASSERT_TRUE(loop.runUntil([&] { return result.done; }));
        EXPECT_EQ(result.code(), -1200) << results;
        EXPECT_FALSE(result.response);
        server.closeAll();
    }
}

class ABody : public ASecureConnection {};

TEST_F(ABody, ThatIsNotInItsTransferCodingHasACodeOfItsOwn) {
    for (const auto* coding : {"gzip", "gzip, chunked", "deflate", "X-GZIP"}) {
        const bool chunked = std::string_view(coding).ends_with("chunked");
        server.setHandler([&](const auto&) {
            return HttpReply::raw(std::string("HTTP/1.1 200 OK\r\nTransfer-Encoding: ") + coding + "\r\n\r\n" +
                                  (chunked ? "5\r\nhello\r\n0\r\n\r\n" : "hello world"))
                .thenClose();
        });
        expectFailure(post("/", "{}"), -1015, "The response's bytes are not in their transfer coding");
    }
}

TEST_F(ABody, InATransferCodingThatIsNotKnownHasACodeOfItsOwn) {
    server.setHandler([](const auto&) {
        return HttpReply::raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: quantum, chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n")
            .thenClose();
    });
    expectFailure(post("/", "{}"), -1016, "The response's transfer coding is not known");
}

} // namespace
} // namespace Platform
