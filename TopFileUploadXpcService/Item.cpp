#include "TopFileUploadXpcService/Item.h"

#include "Platform/Log.h"
#include "Platform/Text.h"

namespace Quenmark {

Item Item::fromPoll(const GetTopFileUploadResponseData& response) {
    return {.isFile = itemText(response.isFile, "IsFile"),
            .fileName = itemText(response.fileName, "FileName"),
            .fileUploadID = itemText(response.fileUploadId, "FileUploadID"),
            .serverPath = itemText(response.serverPath, "ServerPath"),
            .toComputerID = itemText(response.toComputerId, "ToComputerID"),
            .transitUploadPath = itemText(response.transitUploadPath, "TransitUploadPath"),
            .uploadProcessed = itemText(response.uploadProcessed, "UploadProcessed")};
}

Item Item::fromHeaderFields(const Platform::HttpUrlResponse& response) {
    return {.isFile = headerText(&response, "IsFile"),
            .fileName = headerText(&response, "FileName"),
            .fileUploadID = headerText(&response, "FileUploadID"),
            .serverPath = headerText(&response, "ServerPath"),
            .toComputerID = headerText(&response, "ToComputerID"),
            .transitUploadPath = headerText(&response, "TransitUploadPath"),
            .uploadProcessed = headerText(&response, "UploadProcessed")};
}

UpdateFileUploadQuery Item::acknowledgement() const {
    UpdateFileUploadQuery query;
    query.fileUploadId = fileUploadID;
    query.fileName = fileName;
    query.serverPath = serverPath;
    query.transitUploadPath = transitUploadPath;
    return query;
}

std::optional<std::string> itemText(const std::optional<boost::json::value>& value, std::string_view name) {
    if (!value || value->is_null())
        return std::nullopt;
    if (value->is_structured()) {
        Platform::Log::write("The value of " + std::string(name) + " is not a text; it is left out",
                             Platform::Log::Priority::Warning);
        return std::nullopt;
    }
    return Platform::text(*value);
}

std::string headerText(const Platform::HttpUrlResponse* response, std::string_view name) {
    return Platform::text(response != nullptr ? response->allHeaderFields.valueForExactName(name) : std::nullopt);
}

} // namespace Quenmark
