// What a server may send on a connection that serves one request after the other, over both interfaces.

#include "Platform/UrlLoading/UrlConnection.h"

#include "UrlLoadingFixture.h"

namespace Platform {
namespace {

using TestSupport::HttpReply;

/// How a request is made; what it brings must be the same.
struct Interface {
    const char* name;
    std::function<void(UrlRequest, Answer&)> load;
};

void PrintTo(const Interface& interface, std::ostream* stream) {
    *stream << interface.name;
}

class AKeptConnection : public UrlLoadingTest, public testing::WithParamInterface<Interface> {
protected:
    Answer loadIt(UrlRequest request) {
        Answer answer;
        GetParam().load(std::move(request), answer);
        EXPECT_TRUE(loop.runUntil([&] { return answer.done; })) << "no answer came";
        settle();
        return answer;
    }
};

INSTANTIATE_TEST_SUITE_P(
    Both, AKeptConnection,
    testing::Values(
        Interface{"Session",
                  [](UrlRequest request, Answer& answer) {
                      UrlSession::sessionWithConfiguration({})
                          ->dataTaskWithRequest(std::move(request),
                                                [&answer](auto data, auto response, auto error) {
                                                    answer = {true, std::move(data), std::move(response),
                                                              std::move(error)};
                                                })
                          ->resume();
                  }},
        Interface{"Connection",
                  [](UrlRequest request, Answer& answer) {
                      UrlConnection::sendAsynchronousRequest(std::move(request), Queue::main(),
                                                             [&answer](auto response, auto data, auto error) {
                                                                 answer = {true, std::move(data), std::move(response),
                                                                           std::move(error)};
                                                             });
                  }}),
    [](const auto& place) { return std::string(place.param.name); });

TEST_P(AKeptConnection, OutlivesNoHeaderFieldOfAnAnswerBefore) {
    // A continued line that continues nothing. A transport that looks for the line above it finds one of the answer
    // before, whose memory is freed.
    const std::string hostile = "HTTP/1.1 200 OK\r\n c: d\r\nContent-Length: 20\r\n\r\n{\"ReturnStatus\":\"1\"}";
    for (int round = 0; round < 3; ++round) {
        server.enqueue(HttpReply::ok("normal", {{"X-Field", std::string(200, 'x')}}));
        EXPECT_EQ(loadIt(get("/")).data, "normal");
        for (int again = 0; again < 2; ++again) {
            server.enqueue(HttpReply::raw(hostile));
            const Answer answer = loadIt(post("/", "{}"));
            EXPECT_EQ(answer.code(), -1011);
            EXPECT_FALSE(answer.response);
        }
    }
    // The same on the connection that brought the normal answer.
    server.enqueue(HttpReply::ok("normal"));
    server.enqueue(HttpReply::raw(hostile));
    const std::size_t before = server.acceptedConnections();
    EXPECT_EQ(loadIt(get("/")).data, "normal");
    EXPECT_EQ(loadIt(get("/")).code(), -1011);
    EXPECT_EQ(server.acceptedConnections(), before + 1);
}

} // namespace
} // namespace Platform
