#include "Services/ServicesUtilities.h"

#include "Platform/Files/Files.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace Quenmark {

namespace Files = Platform::Files;

namespace {

constexpr double release10_7 = 1138.0;
constexpr double release10_10 = 1343.0;

double integralRelease(const Platform::DeploymentSettings& settings) {
    return std::floor(settings.appKitVersionNumber);
}

/// Whether the byte continues a character of UTF-8 (RFC 3629, section 3).
bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

std::string numberedName(const std::string& path, bool isFolder, unsigned long long number) {
    const std::string base = Files::deletingPathExtension(Files::lastPathComponent(path));
    const std::string extension = Files::pathExtension(path);
    const std::string name = base + " " + std::to_string(number);
    return isFolder || extension.empty() ? name : name + "." + extension;
}

} // namespace

bool ServicesUtilities::isLessThan10_10(const Platform::DeploymentSettings& settings) {
    const double release = integralRelease(settings);
    return release >= release10_7 && release < release10_10;
}

bool ServicesUtilities::is10_7(const Platform::DeploymentSettings& settings) {
    return integralRelease(settings) == release10_7;
}

std::string ServicesUtilities::convertPathToWindows(std::string_view path) {
    if (path.empty())
        throw std::out_of_range("convertPathToWindows: the path is empty");
    std::size_t first = 1;
    while (first < path.size() && isContinuation(path[first]))
        ++first;
    std::string result(path.substr(first));
    std::replace(result.begin(), result.end(), '/', '\\');
    return result;
}

std::string ServicesUtilities::convertPathToMac(std::string_view path) {
    std::string result = "/" + std::string(path);
    std::replace(result.begin(), result.end(), '\\', '/');
    return result;
}

std::string ServicesUtilities::checkDuplicateAndCreate(const std::string& path,
                                                       [[maybe_unused]] const std::string& quenmarkPath) {
    const std::string folder = Files::deletingLastPathComponent(path);
    for (unsigned long long number = 1; Files::exists(path); ++number) {
        std::string candidate =
            Files::appendingPathComponent(folder, numberedName(path, Files::isDirectory(path), number));
        if (!Files::exists(candidate) && !Files::copyItem(path, candidate))
            return candidate;
    }
    return path;
}

} // namespace Quenmark
