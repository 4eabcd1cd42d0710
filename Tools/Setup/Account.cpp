#include "Tools/Setup/Account.h"

#include "Platform/Loop/Queue.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Settings/DeploymentSettings.h"
#include "Platform/Text.h"
#include "Services/Catalogue.h"
#include "Services/OperationCall.h"
#include "Tools/Call.h"
#include "Tools/CallLog.h"
#include "Tools/Output.h"
#include "Tools/Setup/InputChecks.h"

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include <chrono>
#include <optional>
#include <utility>

namespace Tools {

using Quenmark::Operation;
using Quenmark::ResponseField;

namespace {

/// Longer than the library's own limits for a response that does not come. Some failures it only logs.
constexpr auto responseLimit = std::chrono::seconds(90);
/// What is shown of a web service's words.
constexpr std::size_t longestMessage = 300;

/// The deployment settings as they are, with the host that they are to name.
Quenmark::ServiceContext contextOf(const std::string& host) {
    Quenmark::ServiceContext context;
    context.settings = [host] {
        auto settings = Platform::DeploymentSettings::current();
        settings.serviceHost = host;
        return settings;
    };
    return context;
}

/// The response of the host to an operation.
template <class Query, class Response>
Response responseTo(const Operation<Query, Response>& operation, Query query, const std::string& host) {
    // The library logs what it sends.
    const CallLog silence(false);
    Platform::RunLoop loop;
    std::optional<Response> response;
    std::optional<Failure> failure;
    const auto fail = [&](ExitStatus status, const std::string& text) {
        failure = Failure(status, host + ": " + text);
        loop.stop(0);
    };
    const auto receive = [&](const Quenmark::Result<Response>& result, std::int64_t status) {
        if (status != Quenmark::RestStatusSuccess || result.value() == nullptr) {
            const auto reason = callFailure(status, result.error());
            return fail(reason.status(), reason.what());
        }
        response = *result.value();
        loop.stop(0);
    };
    loop.setExceptionHandler([&](const std::exception& exception) {
        fail(ExitStatus::Software, std::string("the response cannot be read: ") + exception.what());
    });
    const auto timer = Platform::Queue::main().timer(
        responseLimit, [&] { fail(ExitStatus::TimedOut, "there was no response in time"); });
    Platform::Queue::main().async([&] { Quenmark::perform(operation, query, receive, contextOf(host)); });
    loop.run();
    if (failure)
        throw Failure(*failure);
    return *std::move(response);
}

std::string shortened(const std::string& message) {
    const std::string start(beginning(message, longestMessage));
    return start.size() < message.size() ? start + "..." : start;
}

/// A text of an error that is an object; empty where it has none.
std::string textIn(const boost::json::object& error, const char* key) {
    const auto* value = error.if_contains(key);
    return value != nullptr && value->is_string() ? std::string(value->get_string()) : "";
}

/// Why the web service refuses, in its own words where it has some, and in brackets its code or status. The words are
/// left out where the password is among them.
std::string refusalText(const boost::json::value& status, const ResponseField& error, const std::string& password) {
    std::string message;
    std::string code;
    if (const auto* object = error ? error->if_object() : nullptr) {
        message = textIn(*object, "message");
        code = textIn(*object, "code");
    } else if (error && error->is_string()) {
        message = std::string(error->get_string());
    }
    if (code.empty())
        code = "ReturnStatus " + Platform::text(status);
    // Before anything is cut off, of which a part of the password could be left.
    const auto holdsPassword = [&](const std::string& text) { return text.find(password) != std::string::npos; };
    if (!password.empty() && (holdsPassword(message) || holdsPassword(code)))
        return "its message holds the password and is not shown";
    return (message.empty() ? "" : shortened(message) + " ") + "(" + shortened(code) + ")";
}

/// Throws Failure unless the status of a response is "0".
void requireSuccess(const std::string& host, const std::string& what, const ResponseField& status,
                    const ResponseField& error, const std::string& password = {}) {
    if (!status)
        throw Failure(ExitStatus::Software, host + ": the response has no \"ReturnStatus\"");
    if (Platform::text(*status) != "0")
        throw Failure(ExitStatus::Protocol, host + " refuses " + what + ": " + refusalText(*status, error, password));
}

/// The identifier under a key of a response: a text, or a whole number.
std::string requireIdentifier(const std::string& host, const char* key, const ResponseField& field) {
    if (!field || field->is_null())
        throw Failure(ExitStatus::Software, host + ": the response has no \"" + key + "\"");
    const bool isIdentifier = field->is_string() || field->is_int64() || field->is_uint64();
    const std::string identifier = isIdentifier ? Platform::text(*field) : "";
    const auto problem = isIdentifier ? InputChecks::ofIdentifier(identifier) : "is no text";
    if (problem)
        throw Failure(ExitStatus::Software, host + ": the response's \"" + key + "\" " + *problem);
    return identifier;
}

} // namespace

Account signIn(const std::string& host, const std::string& mail, const Platform::Secret& password) {
    Quenmark::UserRegistrationQuery query;
    query.mailId = mail;
    query.passWord = password.text();
    const auto response = responseTo(Quenmark::Catalogue::userRegistration, std::move(query), host);
    requireSuccess(host, mail, response.returnStatus, response.error, password.text());
    return {requireIdentifier(host, "UserID", response.userId), response.returnValue == "Registered"};
}

std::string registerComputer(const std::string& host, const std::string& user, const std::string& path) {
    Quenmark::RegisterComputerQuery query;
    query.userId = user;
    query.quenmarkPath = path;
    const auto response = responseTo(Quenmark::Catalogue::registerComputer, std::move(query), host);
    requireSuccess(host, "a computer of user " + user, response.returnStatus, response.error);
    return requireIdentifier(host, "ComputerID", response.computerId);
}

} // namespace Tools
