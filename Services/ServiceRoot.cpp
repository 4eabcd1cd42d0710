#include "Services/ServiceRoot.h"

#include "Platform/DeploymentSettings.h"

namespace Quenmark {

std::string serviceRoot() {
    return "http://" + Platform::DeploymentSettings::current().serviceHost + "/QuenmarkRestService/";
}

std::optional<Platform::Url> absoluteURL(std::string_view path) {
    return Platform::Url::fromString(serviceRoot() + std::string(path));
}

} // namespace Quenmark
