#include "TopFileUploadXpcService/MissingSettings.h"

#include "Platform/Log.h"
#include "Platform/Settings/Preferences.h"
#include "TopFileUploadXpcService/Settings.h"

#include <array>
#include <string_view>
#include <utility>

namespace Quenmark {

namespace {

constexpr std::array consequences{
    std::pair(Settings::computerIdKey, "nothing is asked for"),
    std::pair(Settings::quenmarkPathKey, "items are placed under the relative path \"(null)/Quenmark\""),
};

bool isSet(const std::optional<boost::json::object>& preferences, std::string_view key) {
    const auto* value = preferences ? preferences->if_contains(key) : nullptr;
    return value != nullptr && value->is_primitive() && !value->is_null();
}

} // namespace

void MissingSettings::report(const std::optional<boost::json::object>& preferences) {
    for (const auto& [key, consequence] : consequences) {
        if (isSet(preferences, key)) {
            missing_.erase(key);
        } else if (missing_.insert(key).second) {
            Platform::Log::write(std::string(key) + " is not set in " +
                                     Platform::Preferences::pathOfDomain(Settings::sharedDomain) + ": " + consequence,
                                 Platform::Log::Priority::Error);
        }
    }
}

} // namespace Quenmark
