#include "TopFileUploadXpcService/LocalPaths.h"

#include "Platform/Files/Files.h"
#include "Platform/Settings/Environment.h"
#include "Platform/Text.h"

#include <algorithm>
#include <stdexcept>

namespace Quenmark::LocalPaths {

namespace {

constexpr const char* quenmarkFolder = "/Quenmark";
/// The folder of the system temporary directory in which files are gathered.
constexpr const char* temporaryAreaName = "QuenmarkTemp";

} // namespace

std::string localName(const std::optional<std::string>& fileName) {
    std::string name = Platform::text(fileName);
    std::replace(name.begin(), name.end(), '\\', '/');
    return name;
}

std::string finalPath(const std::string& quenmarkPath, const std::optional<std::string>& fileName) {
    return quenmarkPath + quenmarkFolder + localName(fileName);
}

std::string temporaryPath(const std::optional<std::string>& fileName) {
    return Platform::Environment::temporaryDirectory() + temporaryAreaName + localName(fileName);
}

Platform::PrivateArea temporaryArea() {
    return {Platform::Environment::temporaryDirectory(), temporaryAreaName};
}

std::string claimsFile() {
    return Platform::Environment::temporaryDirectory() + temporaryAreaName + "/.claims\\";
}

std::string topLevelFolder(const std::string& path) {
    const std::string area = temporaryAreaName;
    const std::string bounded = "/" + path + "/";
    const std::size_t place = bounded.find("/" + area + "/");
    const std::size_t begin = place == std::string::npos ? bounded.size() : place + area.size() + 2;
    if (begin == bounded.size())
        throw std::out_of_range("clearTemp: no component follows QuenmarkTemp in " + path);
    return Platform::Files::appendingPathComponent(Platform::Environment::temporaryDirectory(),
                                                   area + "/" +
                                                       bounded.substr(begin, bounded.find('/', begin) - begin));
}

} // namespace Quenmark::LocalPaths
