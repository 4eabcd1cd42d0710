// The order in which the console's interface lists mails and reported errors.

#include "Support/HttpClient.h"
#include "Support/ServedState.h"

#include <boost/json.hpp>
#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace webservice::test {

namespace {

class TheLastEntriesOfATable : public ::testing::Test {
protected:
    /// The identifiers of a page of a list, and what the next one begins after.
    std::string page(std::string_view list, std::string_view query) {
        const HttpResponse response =
            client.exchange("GET", "/api/" + std::string(list) + '?' + std::string(query), "");
        EXPECT_EQ(response.status, 200) << response.body;
        const boost::json::value value = boost::json::parse(response.body);
        std::string text;
        for (const boost::json::value& entry : value.at(list).as_array())
            text += boost::json::serialize(entry.at("id")) + ' ';
        return text + boost::json::serialize(value.at("next"));
    }

    void report(int number) {
        for (int each = 0; each < number; ++each)
            EXPECT_EQ(client.post("MAC/ErrorLog.svc/LogError", R"({"ErrorMessage":"x"})").status, 200);
    }

    ServedState served;
    HttpClient client{served.port()};
};

} // namespace

TEST_F(TheLastEntriesOfATable, ComeFirstWhereTheOrderSaysSo) {
    EXPECT_EQ(page("errors", "order=newest"), "null");
    report(3);
    EXPECT_EQ(page("errors", "order=newest"), "3 2 1 null");
    EXPECT_EQ(page("errors", "order=newest&limit=3"), "3 2 1 null");
    EXPECT_EQ(page("errors", "order=newest&limit=2"), "3 2 2");
    report(1);
    EXPECT_EQ(page("errors", "order=newest&limit=2&after=2"), "1 null") << "the second page stays where it is";
    EXPECT_EQ(page("errors", "order=newest&after=1"), "null");
    EXPECT_EQ(page("errors", "order=oldest&limit=2"), "1 2 2");
    EXPECT_EQ(page("errors", "limit=2&after=2"), "3 4 null");
}

TEST_F(TheLastEntriesOfATable, ComeFirstAmongMailsToo) {
    client.post("Registration.svc/VerifyAndRegisterUserFromTool", R"({"MailID":"ann@example.org","Password":"a"})");
    for (int each = 0; each < 2; ++each)
        client.post("Registration.svc/SendPasswordToMailID", R"({"MailID":"ann@example.org"})");
    EXPECT_EQ(page("mails", ""), "1 2 null");
    EXPECT_EQ(page("mails", "order=newest"), "2 1 null");
}

TEST_F(TheLastEntriesOfATable, ComeInNoOtherOrder) {
    for (const char* target : {"/api/errors?order=latest", "/api/mails?order=", "/api/mails?order=Newest"}) {
        const HttpResponse response = client.exchange("GET", target, "");
        EXPECT_EQ(response.status, 400) << target;
        EXPECT_NE(response.body.find("\"BadQuery\""), std::string::npos) << response.body;
    }
}

} // namespace webservice::test
