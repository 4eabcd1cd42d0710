#pragma once

#include "WebService/Common/RequestError.h"

#include <boost/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace webservice {

/// A view of the flat JSON object that an operation receives. Its values are texts; an integer counts as its decimal
/// text, and null as an absent key. Anything else is the error "WrongType", a text of more than 64 KiB "TooLong".
class Record {
public:
    /// Throws RequestError "NotAnObject". The value must outlive the record.
    explicit Record(const boost::json::value& value);

    std::optional<std::string> optional(std::string_view key) const;

    /// A text of any length, not copied; empty when it is absent.
    std::string_view longText(std::string_view key) const;

    /// Throws RequestError "MissingKey" when it is absent or empty.
    std::string text(std::string_view key) const;

    /// An identifier that this service has assigned, a decimal number; -1, which it never assigns, for any other text.
    /// Throws like text().
    std::int64_t id(std::string_view key) const;

    /// Whether the text is "True", in any case, or "1". Absent is false.
    bool isTrue(std::string_view key) const;

private:
    const boost::json::object* fields_;
};

/// The text as a number, when it is nothing but decimal digits and fits.
std::optional<std::int64_t> decimal(std::string_view text);

/// "True" or "False".
std::string_view flag(bool value);

/// The text, or null where there is none.
boost::json::value orNull(const std::optional<std::string>& text);

/// {"ReturnStatus":"0"}, for the keys of a response to be added, and {"ReturnStatus":"0","error":null}.
boost::json::object success();
boost::json::object done();

/// {"ReturnStatus":"1","error":null}: nothing was found, without an error.
boost::json::object nothing();

/// {"ReturnStatus":"1","error":{"code":…,"message":…}}
boost::json::object failed(const RequestError& error);

} // namespace webservice
