// The connection with a tag: when it starts, and its delegate.

#include "Services/DownloadConnection.h"

#include "ServiceFixture.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace ServicesTests {

namespace {

using Platform::Queue;
using Quenmark::DownloadConnection;
using TestSupport::HttpReply;

struct Delegate : Platform::UrlConnectionDelegate {
    void connectionDidReceiveResponse(Platform::UrlConnection& connection,
                                      const Platform::HttpUrlResponse& response) override {
        tag = dynamic_cast<DownloadConnection&>(connection).tag;
        status = response.statusCode;
    }
    void connectionDidReceiveData(Platform::UrlConnection&, std::string_view data) override { body += data; }
    void connectionDidFinishLoading(Platform::UrlConnection&) override {
        finished = true;
        queue = Queue::current();
    }

    std::optional<std::string> tag;
    int status = 0;
    std::string body;
    bool finished = false;
    std::optional<Queue> queue;
};

class ADownloadConnection : public ServiceFixture {
protected:
    Platform::UrlRequest request() const {
        Platform::UrlRequest result;
        result.url = Platform::Url::fromString(server.url("/file"));
        return result;
    }

    std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();
};

TEST_F(ADownloadConnection, StartsAtOnceByDefault) {
    server.enqueue(HttpReply::ok("content"));
    DownloadConnection::initWithRequest(request(), delegate, "a tag");
    ASSERT_TRUE(runUntil([&] { return delegate->finished; }));
    EXPECT_EQ(delegate->tag, "a tag");
    EXPECT_EQ(delegate->status, 200);
    EXPECT_EQ(delegate->body, "content");
    EXPECT_EQ(delegate->queue, Queue::main());
}

TEST_F(ADownloadConnection, WaitsForItsStartWhereThatIsDeferred) {
    server.enqueue("/file", HttpReply::ok("content"));
    const auto connection = DownloadConnection::initWithRequest(request(), delegate, false, std::nullopt);
    EXPECT_TRUE(everyRequest().empty());
    const auto queue = Queue::serial("of the connection");
    connection->setDelegateQueue(queue);
    connection->start();
    ASSERT_TRUE(runUntil([&] { return delegate->finished; }));
    EXPECT_EQ(delegate->tag, std::nullopt);
    EXPECT_EQ(delegate->queue, queue);
    EXPECT_EQ(delegate->body, "content");
}

TEST_F(ADownloadConnection, RunsOnWithoutAnOwner) {
    server.enqueue(HttpReply::silence());
    const std::weak_ptr<DownloadConnection> connection =
        DownloadConnection::initWithRequest(request(), delegate, true, std::nullopt);
    ASSERT_TRUE(runUntil([&] { return server.requests().size() == 1; }));
    EXPECT_FALSE(connection.expired());
    server.send(0, HttpReply::ok("x").bytes());
    ASSERT_TRUE(runUntil([&] { return delegate->finished; }));
    ASSERT_TRUE(runUntil([&] { return connection.expired(); }));
}

} // namespace

} // namespace ServicesTests
