#include "WebService/Operations/ErrorLog.h"

#include "WebService/Common/Log.h"

namespace webservice {

boost::json::object logError(const Record& request, Database& db) {
    const auto errorClass = request.optional("ErrorClass");
    const auto method = request.optional("ErrorMethod");
    const auto message = request.optional("ErrorMessage");
    const auto computer = request.optional("ComputerID");
    const auto user = request.optional("UserID");
    db.run("INSERT INTO errors (received_at, error_class, error_method, error_message, computer, user) "
           "VALUES (?1, ?2, ?3, ?4, ?5, ?6)",
           timestamp(), errorClass, method, message, computer, user);
    logLine("client error: computer " + computer.value_or("-") + ", user " + user.value_or("-") + ", " +
            errorClass.value_or("-") + ", " + method.value_or("-") + ": " + message.value_or("-"));
    return done();
}

} // namespace webservice
