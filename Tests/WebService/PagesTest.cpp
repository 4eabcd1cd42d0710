// The pages for developers.

#include "Support/TwoUsers.h"

#include <boost/json.hpp>

namespace webservice::test {

namespace {

class APage : public WithTwoUsers {
protected:
    boost::json::value page(std::string_view target) {
        const Response response = request("GET", target);
        EXPECT_EQ(response.status, 200) << target;
        EXPECT_EQ(header(response, "Content-Type"), "application/json");
        return boost::json::parse(response.body);
    }

    /// The texts under a key of each entry.
    std::string texts(std::string_view target, std::string_view key) {
        std::string all;
        const boost::json::value whole = page(target);
        for (const boost::json::value& entry : whole.as_array())
            all.append(entry.at(key).as_string()).append(" ");
        return all;
    }

    void report(std::string_view message, std::string_view computer) {
        call("MAC/ErrorLog.svc/LogError", R"({"ErrorMessage":")" + std::string(message) + R"(","ComputerID":")" +
                                              std::string(computer) + R"(","UserID":"1"})");
    }
};

} // namespace

TEST_F(APage, OfErrorsHasTheLastHundredTheLatestFirst) {
    for (int i = 0; i < 102; ++i)
        report(std::to_string(i), i == 0 ? "8" : "7");
    const auto all = page("/errors").as_array();
    ASSERT_EQ(all.size(), 100U);
    EXPECT_EQ(all.front().at("message").as_string(), "101");
    EXPECT_EQ(all.back().at("message").as_string(), "2");
    EXPECT_EQ(all.front().at("user").as_string(), "1");
    EXPECT_TRUE(all.front().at("class").is_null());
    EXPECT_TRUE(all.front().at("method").is_null());
    EXPECT_EQ(page("/errors?computer=7").as_array().size(), 100U);
    EXPECT_EQ(texts("/errors?computer=8", "message"), "0 ");
}

TEST_F(APage, OfMailsHasTheOldestFirst) {
    for (const char* mail : {"bob@example.org", "ann@example.org", "bob@example.org"})
        call("Registration.svc/SendPasswordToMailID", R"({"MailID":")" + std::string(mail) + R"("})");
    EXPECT_EQ(texts("/mails", "to"), "bob@example.org ann@example.org bob@example.org ");
    EXPECT_EQ(texts("/mails?to=ann%40example.org", "to"), "ann@example.org ");
    EXPECT_EQ(texts("/mails?other=ann%40example.org", "to"), "bob@example.org ann@example.org bob@example.org ");
}

TEST_F(APage, DescribesTheOperationsForPrograms) {
    const auto document = page("/openapi.json");
    EXPECT_TRUE(document.at("openapi").as_string().starts_with("3."));
    EXPECT_EQ(document.at("paths").as_object().size(), 39U);
}

TEST_F(APage, HasNoUseForABody) {
    Request head{.method = "GET", .target = "/status", .headers = {}};
    WebApplication application(*state);
    const auto exchange = application.begin(head);
    exchange->receive("body");
    EXPECT_EQ(exchange->finish().status, 200);
}

TEST_F(APage, IsFoundByItsWholePath) {
    for (const char* target : {"/Status", "/status/", "//", "", "/statu", "/QuenmarkRestService", "/outbox"})
        EXPECT_EQ(request("GET", target).status, 404) << target;
    EXPECT_EQ(request("GET", "/%73tatus").status, 200);
}

} // namespace webservice::test
