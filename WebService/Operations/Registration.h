#pragma once

#include "WebService/Operations/Record.h"
#include "WebService/Storage/Database.h"

#include <string_view>

namespace webservice {

// Registration.svc: users and their computers. No mail is sent; mails are recorded and can be read with GET /mails.

/// Creates a user of "MailID", with a cloud computer; "ReturnVal" is "Registered". A mail address that is registered is
/// verified by its "Password" and returns the same identifiers, with "ReturnVal" "Verified".
boost::json::object verifyAndRegisterUserFromTool(const Record& request, Database& db);

/// Creates a computer of the user, another one with every call: two machines may have the same path.
boost::json::object registerComputer(const Record& request, Database& db);

/// Records a mail with the address that activates the user (GET /activate?code=…).
boost::json::object sendActivationMail(const Record& request, Database& db);

/// "ReturnVal" is "True" once the user has been activated, "False" before.
boost::json::object checkUserMailActivationStatus(const Record& request, Database& db);

/// Records a mail with a link that gives the user a new password (GET /password?code=…): the present one is not known.
/// It takes the place of an earlier link.
boost::json::object sendPasswordToMailID(const Record& request, Database& db);

/// Gives the user whose link has the code a new, random password, "Password". The link works once. RequestError
/// "UnknownCode" with status 404.
boost::json::object newPassword(std::string_view code, Database& db);

} // namespace webservice
