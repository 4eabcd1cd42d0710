// What a JSON post makes of parameters, and of the end of its transfer.

#include "Services/JsonPost.h"

#include "ServiceFixture.h"

#include <boost/json/parse.hpp>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace ServicesTests {

namespace {

namespace JsonPost = Quenmark::JsonPost;
using Platform::Error;

class AJsonPost : public ServiceFixture {
protected:
    struct Report {
        Quenmark::Result<boost::json::value> result;
        std::uint64_t status;
    };

    void finish(const std::optional<Platform::Data>& data, const std::optional<Error>& error) {
        JsonPost::finish(data, error, [this](Quenmark::Result<boost::json::value> result, std::uint64_t status) {
            logAtReport = log.entries();
            reports.push_back({std::move(result), status});
        });
    }

    std::vector<Report> reports;
    std::vector<std::string> logAtReport;
};

TEST_F(AJsonPost, LogsItsBodyBehindThePrefix) {
    const auto body = JsonPost::body(boost::json::parse(R"({"A": "1", "B": []})"), "Json String ");
    ASSERT_NE(body.value(), nullptr);
    EXPECT_EQ(*body.value(), "{\n  \"A\" : \"1\",\n  \"B\" : []\n}");
    EXPECT_EQ(log.entries(), std::vector<std::string>{"Json String {\n  \"A\" : \"1\",\n  \"B\" : []\n}"});
}

TEST_F(AJsonPost, LogsTheStartOfALongBody) {
    const std::string value(200'000, 'x');
    const auto body = JsonPost::body(boost::json::object{{"A", value}}, "Json String ");
    const std::string whole = "{\n  \"A\" : \"" + value + "\"\n}";
    ASSERT_NE(body.value(), nullptr);
    EXPECT_EQ(*body.value(), whole);
    EXPECT_EQ(log.entries(), std::vector<std::string>{"Json String " + whole.substr(0, 131'072) + "..."});
}

TEST_F(AJsonPost, LogsAWholeBodyOf128KiB) {
    const std::string value(131'072 - 14, 'x');
    const auto body = JsonPost::body(boost::json::object{{"A", value}}, "");
    ASSERT_NE(body.value(), nullptr);
    EXPECT_EQ(body.value()->size(), 131'072U);
    EXPECT_EQ(log.entries(), std::vector<std::string>{*body.value()});
}

TEST_F(AJsonPost, HasAnErrorForABodyThatJsonCannotCarry) {
    for (const boost::json::value& params :
         {boost::json::value(boost::json::object{{"A", "\xFF"}}),
          boost::json::value(boost::json::object{{"\xC3", "a"}}),
          boost::json::value(boost::json::object{{"A", std::numeric_limits<double>::infinity()}}),
          boost::json::value(boost::json::array{boost::json::array{"\x80"}})}) {
        log.clear();
        const auto body = JsonPost::body(params, "Json String ");
        ASSERT_NE(body.error(), nullptr);
        EXPECT_EQ(body.error()->domain, "JSON");
        EXPECT_EQ(body.error()->code, 3840);
        EXPECT_EQ(log.entries(), std::vector<std::string>{"Json String (null)"});
    }
}

TEST_F(AJsonPost, MakesARequestWithItsLengthAndItsType) {
    const auto request = JsonPost::jsonRequest(Platform::Url::fromString("http://service.example/a"), "{}");
    ASSERT_TRUE(request.url.has_value());
    EXPECT_EQ(request.url->absoluteString(), "http://service.example/a");
    EXPECT_EQ(request.httpMethod, "POST");
    EXPECT_EQ(request.httpBody, "{}");
    EXPECT_EQ(request.timeoutInterval, std::chrono::seconds(60));
    const std::vector<Platform::HeaderFields::Field> fields(request.headerFields.begin(), request.headerFields.end());
    EXPECT_EQ(fields, (std::vector<Platform::HeaderFields::Field>{{"Content-Length", "2"},
                                                                  {"Content-Type", "application/json"}}));
}

TEST_F(AJsonPost, CountsTheBytesOfItsBodyNotItsCharacters) {
    EXPECT_EQ(JsonPost::request(std::nullopt, "日本").headerFields.value("Content-Length"), "6");
}

TEST_F(AJsonPost, LogsAndReportsATransportErrorBeforeTheLastLine) {
    const Error error{"UrlLoading", -1005, "lost"};
    finish(std::nullopt, error);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].status, 2U);
    ASSERT_NE(reports[0].result.error(), nullptr);
    EXPECT_EQ(*reports[0].result.error(), error);
    const std::string entry = "error code ....Error Domain=UrlLoading Code=-1005 \"lost\"";
    EXPECT_EQ(logAtReport, std::vector<std::string>{entry});
    EXPECT_EQ(log.entries(), (std::vector<std::string>{entry, "network error"}));
}

TEST_F(AJsonPost, LogsAnUnknownErrorTwiceAndNeverReportsIt) {
    finish(std::nullopt, Error{"UrlLoading", -1, "unknown"});
    EXPECT_TRUE(reports.empty());
    EXPECT_EQ(log.entries(), (std::vector<std::string>{"error code ....Error Domain=UrlLoading Code=-1 \"unknown\"",
                                                       "error code at rest connector strt async task......"}));
}

TEST_F(AJsonPost, PrefersTheErrorToData) {
    finish("{}", Error{"UrlLoading", -1001, "late"});
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].status, 2U);
}

TEST_F(AJsonPost, LogsAndReportsTheDecodedResponse) {
    finish(R"({"ReturnStatus": "0"})", std::nullopt);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].status, 0U);
    ASSERT_NE(reports[0].result.value(), nullptr);
    EXPECT_EQ(*reports[0].result.value(), boost::json::parse(R"({"ReturnStatus": "0"})"));
    EXPECT_EQ(log.entries(), std::vector<std::string>{"response {\n    \"ReturnStatus\" = \"0\";\n}"});
    EXPECT_EQ(logAtReport, log.entries());
}

TEST_F(AJsonPost, NamesTheHttpStatusOfAnErrorPage) {
    Platform::HttpUrlResponse response;
    const auto textAt = [&](int status) {
        response.statusCode = status;
        std::string text;
        Quenmark::JsonPost::finish(
            "<html>", std::nullopt, [&](const auto& result, auto) { text = result.error()->localizedDescription; },
            Platform::Log::Priority::Info, response);
        return text;
    };
    const std::string text = textAt(200);
    EXPECT_TRUE(text.starts_with("Not JSON: ")) << text;
    EXPECT_EQ(textAt(299), text);
    EXPECT_EQ(textAt(503), text + " (HTTP 503)");
    EXPECT_EQ(textAt(302), text + " (HTTP 302)");
}

TEST_F(AJsonPost, ReportsResponsesThatAreNoJsonWithTheDecodersError) {
    for (const std::optional<Platform::Data>& data :
         {std::optional<Platform::Data>(), std::optional<Platform::Data>(""), std::optional<Platform::Data>("plain"),
          std::optional<Platform::Data>("{\"a\": 1} x"), std::optional<Platform::Data>("7"),
          std::optional<Platform::Data>("\"text\""), std::optional<Platform::Data>("null"),
          std::optional<Platform::Data>("{\"a\": \"\xFF\"}"), std::optional<Platform::Data>("{\"a\": 1")}) {
        reports.clear();
        log.clear();
        finish(data, std::nullopt);
        ASSERT_EQ(reports.size(), 1U);
        EXPECT_EQ(reports[0].status, 5U) << data.value_or("nil");
        ASSERT_NE(reports[0].result.error(), nullptr);
        EXPECT_EQ(reports[0].result.error()->domain, "JSON");
        EXPECT_EQ(log.entries(), std::vector<std::string>{"response (null)"});
    }
}

} // namespace

} // namespace ServicesTests
