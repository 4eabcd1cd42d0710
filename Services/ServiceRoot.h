#pragma once

#include "Platform/Settings/DeploymentSettings.h"
#include "Platform/UrlLoading/Url.h"

#include <optional>
#include <string>
#include <string_view>

namespace Quenmark {

/// The address that every operation's path is appended to, with its trailing "/": scheme and host of the
/// settings.
std::string serviceRoot(const Platform::DeploymentSettings& settings = Platform::DeploymentSettings::current());

/// Root and path joined as they stand; nil when the path holds a character that a URL may not hold.
std::optional<Platform::Url>
absoluteURL(std::string_view path,
            const Platform::DeploymentSettings& settings = Platform::DeploymentSettings::current());

} // namespace Quenmark
