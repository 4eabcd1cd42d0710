#include "Services/ServiceRoot.h"

namespace Quenmark {

std::string serviceRoot(const Platform::DeploymentSettings& settings) {
    return settings.serviceScheme + "://" + settings.serviceHost + "/QuenmarkRestService/";
}

std::optional<Platform::Url> absoluteURL(std::string_view path, const Platform::DeploymentSettings& settings) {
    return Platform::Url::fromString(serviceRoot(settings) + std::string(path));
}

} // namespace Quenmark
