#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace webservice {

/// Why a request is not fulfilled: the code and the message of the "error" object in the body of its response, and the
/// status of that. Every error of a request is raised by throwing one.
///
/// The status is 200 where the request is understood and an operation cannot fulfil it. The message of such an error
/// may quote values of the request, and is cut where it is long.
class RequestError : public std::runtime_error {
public:
    using HeaderFields = std::vector<std::pair<std::string, std::string>>;

    RequestError(std::string code, std::string_view message, int status = 200, HeaderFields headers = {});

    const std::string& code() const { return code_; }
    int status() const { return status_; }
    /// Header fields that the response has beside the usual ones.
    const HeaderFields& headers() const { return headers_; }

private:
    std::string code_;
    int status_;
    HeaderFields headers_;
};

/// There is nothing at the path of the request.
RequestError unknownPath();

/// There is something at the path, for other methods: "GET, PUT". The message lists them as well, in other words where
/// these are given.
RequestError wrongMethod(const std::string& allowed);
RequestError wrongMethod(const std::string& allowed, const std::string& inWords);

/// The body, or a text in it, is longer than it may be.
RequestError tooLong(std::string_view message);

} // namespace webservice
