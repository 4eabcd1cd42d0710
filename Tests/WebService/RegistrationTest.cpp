// Registration.svc: users and computers.

#include "Support/TestState.h"

#include <regex>
#include <set>

namespace webservice::test {

namespace {

class Registration : public WithState {
protected:
    std::string page(std::string_view target) { return request("GET", target).body; }
};

constexpr const char* ann =
    R"({"MailID":"ann@example.org","Password":"secret","FirstName":"Ann","LastName":"Lee","NickName":"annie"})";

} // namespace

TEST_F(Registration, OfAUserGivesAUserAndACloudComputer) {
    expect("Registration.svc/VerifyAndRegisterUserFromTool", ann,
           R"({"ReturnStatus":"0","ReturnVal":"Registered","UserID":"1","CloudComputerID":"1","error":null})");
    expect("Registration.svc/VerifyAndRegisterUserFromTool", R"({"MailID":"bob@example.org","Password":"x"})",
           R"({"ReturnStatus":"0","ReturnVal":"Registered","UserID":"2","CloudComputerID":"2","error":null})");
}

TEST_F(Registration, OfAKnownAddressIsVerifiedByThePassword) {
    call("Registration.svc/VerifyAndRegisterUserFromTool", ann);
    restart();
    expect("Registration.svc/VerifyAndRegisterUserFromTool", ann,
           R"({"ReturnStatus":"0","ReturnVal":"Verified","UserID":"1","CloudComputerID":"1","error":null})");
    expectRefusal("Registration.svc/VerifyAndRegisterUserFromTool", R"({"MailID":"ann@example.org","Password":"no"})",
                  "WrongPassword", "the password of ann@example.org is another one");
}

TEST_F(Registration, NeedsAnAddressAndAPassword) {
    expectRefusal("Registration.svc/VerifyAndRegisterUserFromTool", R"({"Password":"x"})", "MissingKey",
                  "\"MailID\" is missing");
    expectRefusal("Registration.svc/VerifyAndRegisterUserFromTool", R"({"MailID":"ann@example.org"})", "MissingKey",
                  "\"Password\" is missing");
    for (const char* mail : {"ann", "@example.org", "ann@"})
        expectRefusal("Registration.svc/VerifyAndRegisterUserFromTool",
                      R"({"MailID":")" + std::string(mail) + R"(","Password":"x"})", "BadMail",
                      std::string(mail) + " is not a mail address");
}

TEST_F(Registration, OfAComputerGivesAnIdentifierEveryTime) {
    call("Registration.svc/VerifyAndRegisterUserFromTool", ann);
    const char* request = R"({"UserID":"1","QuenmarkPath":"Users\\ann"})";
    expect("Registration.svc/RegisterComputer", request, R"({"ComputerID":"2","ReturnStatus":"0","error":null})");
    expect("Registration.svc/RegisterComputer", request, R"({"ComputerID":"3","ReturnStatus":"0","error":null})");
    expectRefusal("Registration.svc/RegisterComputer", R"({"UserID":"9","QuenmarkPath":"x"})", "UnknownUser",
                  "there is no user 9");
    expectRefusal("Registration.svc/RegisterComputer", R"({"UserID":"1"})", "MissingKey",
                  "\"QuenmarkPath\" is missing");
}

TEST_F(Registration, IsActivatedByTheRecordedMail) {
    call("Registration.svc/VerifyAndRegisterUserFromTool", ann);
    expect("Registration.svc/CheckUserMailActivationStatus", R"({"UserID":"1"})",
           R"({"ReturnStatus":"0","ReturnVal":"False","error":null})");
    expect("Registration.svc/SendActivationMail", R"({"MailID":"ann@example.org","UserID":"1"})",
           R"({"ReturnStatus":"0","ReturnMsg":"The mail has been noted.","error":null})");
    const std::string mails = page("/mails?to=ann@example.org");
    const std::string mark = R"("to":"ann@example.org","subject":"Activate your account","body":")";
    ASSERT_NE(mails.find(mark), std::string::npos) << mails;
    const std::size_t at = mails.find(mark) + mark.size();
    const std::string link = mails.substr(at, mails.find('"', at) - at);
    EXPECT_EQ(link.size(), std::string_view("/activate?code=").size() + 32) << link;
    EXPECT_EQ(page(link), R"({"ReturnStatus":"0","error":null})");
    expect("Registration.svc/CheckUserMailActivationStatus", R"({"UserID":"1"})",
           R"({"ReturnStatus":"0","ReturnVal":"True","error":null})");
}

TEST_F(Registration, IsNotActivatedByAnythingElse) {
    call("Registration.svc/VerifyAndRegisterUserFromTool", ann);
    EXPECT_EQ(request("GET", "/activate?code=0").status, 404);
    EXPECT_EQ(request("GET", "/activate").status, 404);
    expect("Registration.svc/CheckUserMailActivationStatus", R"({"UserID":"1"})",
           R"({"ReturnStatus":"0","ReturnVal":"False","error":null})");
    expectRefusal("Registration.svc/CheckUserMailActivationStatus", R"({"UserID":"2"})", "UnknownUser",
                  "there is no user 2");
    expectRefusal("Registration.svc/SendActivationMail", R"({"MailID":"bob@example.org","UserID":"1"})", "WrongMail",
                  "user 1 has another mail address");
    expectRefusal("Registration.svc/SendActivationMail", R"({"MailID":"ann@example.org","UserID":"2"})", "UnknownUser",
                  "there is no user 2");
    EXPECT_EQ(page("/mails"), "[]");
}

TEST_F(Registration, NotesAMailWithALinkToANewPasswordThatWorksOnce) {
    call("Registration.svc/VerifyAndRegisterUserFromTool", ann);
    for (int i = 0; i < 2; ++i)
        expect("Registration.svc/SendPasswordToMailID", R"({"MailID":"ann@example.org"})",
               R"({"ReturnStatus":"0","ReturnMsg":"The mail has been noted.","error":null})");
    const auto mails = boost::json::parse(page("/mails"));
    ASSERT_EQ(mails.as_array().size(), 2U);
    EXPECT_EQ(mails.at(0).at("subject").as_string(), "Your password");
    const std::string earlier(mails.at(0).at("body").as_string());
    const std::string link(mails.at(1).at("body").as_string());
    EXPECT_TRUE(std::regex_match(link, std::regex("/password\\?code=[0-9a-f]{32}"))) << link;
    EXPECT_NE(earlier, link);
    EXPECT_EQ(request("GET", earlier).status, 404) << "the later link has taken its place";

    // Until the link is used, the password stays.
    expect("Registration.svc/VerifyAndRegisterUserFromTool", ann,
           R"({"ReturnStatus":"0","ReturnVal":"Verified","UserID":"1","CloudComputerID":"1","error":null})");
    const std::string password = field(page(link), "Password");
    EXPECT_EQ(password.size(), 32U);
    expect("Registration.svc/VerifyAndRegisterUserFromTool",
           R"({"MailID":"ann@example.org","Password":")" + password + "\"}",
           R"({"ReturnStatus":"0","ReturnVal":"Verified","UserID":"1","CloudComputerID":"1","error":null})");
    expectRefusal("Registration.svc/VerifyAndRegisterUserFromTool", ann, "WrongPassword",
                  "the password of ann@example.org is another one");
    EXPECT_EQ(request("GET", link).status, 404);
    for (const char* none : {"/password", "/password?code=", "/password?code=%"})
        EXPECT_EQ(request("GET", none).status, 404) << none;
    EXPECT_EQ(page("/mails?to=bob@example.org"), "[]");
    expectRefusal("Registration.svc/SendPasswordToMailID", R"({"MailID":"bob@example.org"})", "UnknownUser",
                  "nobody has registered with bob@example.org");
}

TEST_F(Registration, LeavesNoPasswordInAnyFile) {
    call("Registration.svc/VerifyAndRegisterUserFromTool",
         R"({"MailID":"ann@example.org","Password":"a password to look for"})");
    call("Registration.svc/VerifyAndRegisterUserFromTool",
         R"({"MailID":"ann@example.org","Password":"a password to look for, wrong"})");
    call("Registration.svc/SendPasswordToMailID", R"({"MailID":"ann@example.org"})");
    std::size_t withAddress = 0;
    for (const auto& file : std::filesystem::recursive_directory_iterator(folder.path("data"))) {
        const std::string content = file.is_regular_file() ? contentOf(file.path()) : "";
        withAddress += content.find("ann@example.org") != std::string::npos ? 1 : 0;
        EXPECT_EQ(content.find("a password to look for"), std::string::npos) << file.path();
    }
    EXPECT_GE(withAddress, 1U) << "what was registered is in one of the files";
}

TEST_F(Registration, KeepsPasswordsFromOtherUsersOfTheMachine) {
    const auto permissions = std::filesystem::status(folder.path("data/state.db")).permissions();
    EXPECT_EQ(permissions, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(Registration, RecordsWhenAComputerWasSeen) {
    call("Registration.svc/VerifyAndRegisterUserFromTool", ann);
    call("Registration.svc/RegisterComputer", R"({"UserID":"1","QuenmarkPath":"a"})");
    call("Registration.svc/RegisterComputer", R"({"UserID":"1","QuenmarkPath":"b"})");
    expect("UpdateSystemTime.svc/UpdateComputerStatus", R"({"ComputerID":"2"})",
           R"({"ReturnStatus":"0","VersionNumber":null,"error":null})");
    expect("UpdateSystemTime.svc/UpdateComputerStatus",
           R"({"ComputerID":"2","DateTime":"2024-03-01 10:00","VersionNumber":"1.10"})",
           R"({"ReturnStatus":"0","VersionNumber":"1.10","error":null})");
    expect("UpdateSystemTime.svc/UpdateComputerStatus", R"({"ComputerID":"3","VersionNumber":"1.9"})",
           R"({"ReturnStatus":"0","VersionNumber":"1.10","error":null})");
    Query row = state->db.query("SELECT last_seen, version FROM computers WHERE id = 2");
    ASSERT_TRUE(row.next());
    EXPECT_EQ(row.text(0), "2024-03-01 10:00");
    EXPECT_EQ(row.text(1), "1.10");
    expectRefusal("UpdateSystemTime.svc/UpdateComputerStatus", R"({"ComputerID":"9"})", "UnknownComputer",
                  "there is no computer 9");
}

TEST_F(Registration, GivesEachUserACodeOfThirtyTwoHexadecimalDigits) {
    constexpr int users = 64;
    for (int i = 0; i < users; ++i)
        call("Registration.svc/VerifyAndRegisterUserFromTool",
             R"({"MailID":"a@)" + std::to_string(i) + R"(","Password":"x"})");
    // All digits come, in both halves of a byte.
    std::set<char> upper;
    std::set<char> lower;
    std::set<std::string> codes;
    for (Query row = state->db.query("SELECT code FROM users"); row.next();) {
        const std::string code = row.text(0);
        codes.insert(code);
        ASSERT_EQ(code.size(), 32U);
        for (std::size_t i = 0; i < code.size(); ++i)
            (i % 2 == 0 ? upper : lower).insert(code[i]);
    }
    EXPECT_EQ(codes.size(), 64U);
    EXPECT_EQ(std::string(upper.begin(), upper.end()), "0123456789abcdef");
    EXPECT_EQ(std::string(lower.begin(), lower.end()), "0123456789abcdef");
}

TEST_F(Registration, StoresTheNamesOfAUser) {
    call("Registration.svc/VerifyAndRegisterUserFromTool", ann);
    Query row = state->db.query("SELECT mail, password, first_name, last_name, nick_name FROM users");
    ASSERT_TRUE(row.next());
    EXPECT_EQ(row.text(0), "ann@example.org");
    EXPECT_EQ(row.text(1).substr(0, 16), "scrypt-4096-8-1$");
    EXPECT_EQ(row.text(2), "Ann");
    EXPECT_EQ(row.text(3), "Lee");
    EXPECT_EQ(row.text(4), "annie");
}

} // namespace webservice::test
