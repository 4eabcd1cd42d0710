#include "TopFileUploadXpcService/ItemText.h"

#include "Platform/Log.h"
#include "Platform/Text.h"

#include <algorithm>

namespace Quenmark {

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

std::string convertedName(const std::optional<std::string>& fileName) {
    std::string name = Platform::text(fileName);
    std::replace(name.begin(), name.end(), '\\', '/');
    return name;
}

} // namespace Quenmark
