#pragma once

#include "Platform/UrlLoading/UrlRequest.h"
#include "Services/Requests/UpdateFileUploadQuery.h"
#include "Services/Responses/GetTopFileUploadResponseData.h"

#include <boost/json/value.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace Quenmark {

/// An item that the web service holds for this computer, as the web service describes it. Every field is a text, which
/// is never converted to a number.
struct Item {
    /// "True" for a file and "False" for a folder; any other text is possible.
    std::optional<std::string> isFile;
    /// A relative path with backslashes as separators, which it should begin with.
    std::optional<std::string> fileName;
    std::optional<std::string> fileUploadID;
    std::optional<std::string> serverPath;
    std::optional<std::string> toComputerID;
    std::optional<std::string> transitUploadPath;
    std::optional<std::string> uploadProcessed;

    /// The item of a poll's response. A value that is neither a string nor a number is nil (`itemText`).
    static Item fromPoll(const GetTopFileUploadResponseData& response);
    /// The item of a stream's header fields. A field that is missing reads "(null)".
    static Item fromHeaderFields(const Platform::HttpUrlResponse& response);

    bool isCalledFile() const { return isFile == "True"; }
    bool isCalledFolder() const { return isFile == "False"; }
    UpdateFileUploadQuery acknowledgement() const;

    bool operator==(const Item&) const = default;
};

/// The text of a value that should be a text: a string as it is, a number or boolean in its log form. Nil, JSON null,
/// and a dictionary or array, which is logged under `name`, give nil.
std::optional<std::string> itemText(const std::optional<boost::json::value>& value, std::string_view name);

/// The text of the header field of exactly that name; "(null)" where it is missing, or where there is no response.
std::string headerText(const Platform::HttpUrlResponse* response, std::string_view name);

} // namespace Quenmark
