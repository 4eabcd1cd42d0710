#include "TopFileUploadXpcService/LocalPaths.h"

#include "Platform/Files/Files.h"
#include "Platform/Settings/Environment.h"
#include "Platform/Text.h"

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string_view>

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

bool isInsideFolder(const std::optional<std::string>& fileName) {
    const std::string name = localName(fileName);
    if (!fileName || !name.starts_with('/') || name.find('\0') != std::string::npos)
        return false;
    for (std::size_t begin = 1; begin <= name.size();) {
        const std::size_t end = std::min(name.find('/', begin), name.size());
        const std::string_view component = std::string_view(name).substr(begin, end - begin);
        if (component.empty() || component == "." || component == "..")
            return false;
        begin = end + 1;
    }
    return true;
}

Platform::PrivateArea temporaryArea() {
    return {Platform::Environment::temporaryDirectory(), temporaryAreaName};
}

std::string claimsFile() {
    return Platform::Environment::temporaryDirectory() + temporaryAreaName + "/.claims\\";
}

std::string recordFile(const std::string& temporaryPath) {
    return Platform::Environment::temporaryDirectory() + temporaryAreaName + "/.records\\/" +
           std::to_string(std::hash<std::string>()(temporaryPath));
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
