#include "WebService/Operations/Registration.h"

#include "WebService/Operations/Accounts.h"
#include "WebService/Storage/PasswordHash.h"

#include <cstdint>
#include <string>

namespace webservice {

namespace {

constexpr std::size_t codeSize = 16; // in bytes

std::int64_t cloudComputer(Database& db, std::int64_t user) {
    Query row = db.query("SELECT id FROM computers WHERE user = ?1 AND is_cloud", user);
    row.next();
    return row.integer(0);
}

boost::json::object userResponse(Database& db, std::string_view value, std::int64_t user) {
    boost::json::object response = success();
    response["ReturnVal"] = value;
    response["UserID"] = std::to_string(user);
    response["CloudComputerID"] = std::to_string(cloudComputer(db, user));
    response["error"] = nullptr;
    return response;
}

boost::json::object mailResponse() {
    boost::json::object response = success();
    response["ReturnMsg"] = "The mail has been noted.";
    response["error"] = nullptr;
    return response;
}

} // namespace

boost::json::object verifyAndRegisterUserFromTool(const Record& request, Database& db) {
    const std::string mail = request.text("MailID");
    const std::string password = request.text("Password");
    if (const auto known = findUserByMail(db, mail)) {
        if (!isPasswordOf(known->passwordHash, password))
            throw RequestError("WrongPassword", "the password of " + mail + " is another one");
        return userResponse(db, "Verified", known->id);
    }
    const std::size_t at = mail.find('@');
    if (at == 0 || at == std::string::npos || at + 1 == mail.size())
        throw RequestError("BadMail", mail + " is not a mail address");
    db.run("INSERT INTO users (mail, password, first_name, last_name, nick_name, code) "
           "VALUES (?1, ?2, ?3, ?4, ?5, ?6)",
           mail, passwordHash(password), request.optional("FirstName"), request.optional("LastName"),
           request.optional("NickName"), randomDigits(codeSize));
    const std::int64_t user = db.lastId();
    db.run("INSERT INTO computers (user, quenmark_path, is_cloud) VALUES (?1, '', 1)", user);
    return userResponse(db, "Registered", user);
}

boost::json::object registerComputer(const Record& request, Database& db) {
    const User user = requireUser(db, request);
    db.run("INSERT INTO computers (user, quenmark_path, is_cloud) VALUES (?1, ?2, 0)", user.id,
           request.text("QuenmarkPath"));
    boost::json::object response = {{"ComputerID", std::to_string(db.lastId())}};
    response.insert({{"ReturnStatus", "0"}, {"error", nullptr}});
    return response;
}

boost::json::object sendActivationMail(const Record& request, Database& db) {
    const User user = requireUser(db, request);
    if (request.text("MailID") != user.mail)
        throw RequestError("WrongMail", "user " + std::to_string(user.id) + " has another mail address");
    recordMail(db, user.mail, "Activate your account", "/activate?code=" + user.code);
    return mailResponse();
}

boost::json::object checkUserMailActivationStatus(const Record& request, Database& db) {
    boost::json::object response = success();
    response["ReturnVal"] = flag(requireUser(db, request).isActivated);
    response["error"] = nullptr;
    return response;
}

boost::json::object sendPasswordToMailID(const Record& request, Database& db) {
    const auto user = findUserByMail(db, request.text("MailID"));
    if (!user)
        throw RequestError("UnknownUser", "nobody has registered with " + request.text("MailID"));
    const std::string code = randomDigits(codeSize);
    db.run("UPDATE users SET password_code = ?2 WHERE id = ?1", user->id, code);
    recordMail(db, user->mail, "Your password", "/password?code=" + code);
    return mailResponse();
}

boost::json::object newPassword(std::string_view code, Database& db) {
    Query user = db.query("SELECT id FROM users WHERE password_code = ?1", code);
    // A hash takes long, and anybody may send a code.
    if (!user.next())
        throw RequestError("UnknownCode", "there is no user with this code, or it has been used", 404);
    const std::string password = randomDigits(codeSize);
    db.run("UPDATE users SET password = ?2, password_code = NULL WHERE id = ?1", user.integer(0),
           passwordHash(password));
    boost::json::object response = success();
    response["Password"] = password;
    response["error"] = nullptr;
    return response;
}

} // namespace webservice
