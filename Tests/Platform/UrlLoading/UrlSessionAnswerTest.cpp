// What a session hands on of an answer: its head, its bytes, whatever way the body is framed.

#include "UrlLoadingFixture.h"

namespace Platform {
namespace {

using TestSupport::HttpReply;

class AnAnswer : public UrlLoadingTest {};

TEST_F(AnAnswer, IsHandedOverWholeWithItsHead) {
    server.enqueue(HttpReply::json("{\"ReturnStatus\":\"0\"}"));
    const Answer answer = load(post("/Uploads.svc/GetTopFileUpload", "{}"));
    EXPECT_EQ(answer.error, std::nullopt);
    EXPECT_EQ(answer.data, "{\"ReturnStatus\":\"0\"}");
    ASSERT_TRUE(answer.response);
    EXPECT_EQ(answer.response->statusCode, 200);
    EXPECT_EQ(answer.response->url, url("/Uploads.svc/GetTopFileUpload"));
    EXPECT_EQ(answer.response->expectedContentLength, 20U);
    EXPECT_EQ(answer.response->allHeaderFields.valueForExactName("Content-Type"), "application/json");
}

} // namespace
} // namespace Platform
