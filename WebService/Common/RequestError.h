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

} // namespace webservice
