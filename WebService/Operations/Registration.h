#pragma once

#include "WebService/Operations/Record.h"
#include "WebService/Storage/Database.h"

namespace webservice {

// Registration.svc: users and their computers. No mail is sent; mails are noted and can be read with GET /mails.

/// Makes a user of "MailID", with a cloud computer; "ReturnVal" is "Registered". A mail address that is known is
/// verified by its "Password" and gives the same identifiers, with "ReturnVal" "Verified".
boost::json::object verifyAndRegisterUserFromTool(const Record& request, Database& db);

/// Makes a computer of the user. Every call makes another one: two machines may well have the same path.
boost::json::object registerComputer(const Record& request, Database& db);

/// Notes a mail with the address by which the user is activated (GET /activate?code=…).
boost::json::object sendActivationMail(const Record& request, Database& db);

/// "ReturnVal" is "True" once the user has been activated, "False" before.
boost::json::object checkUserMailActivationStatus(const Record& request, Database& db);

/// Notes a mail with the user's password.
boost::json::object sendPasswordToMailID(const Record& request, Database& db);

} // namespace webservice
