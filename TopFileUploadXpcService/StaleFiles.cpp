#include "TopFileUploadXpcService/StaleFiles.h"

#include "Platform/Files/Files.h"
#include "TopFileUploadXpcService/ItemClaims.h"
#include "TopFileUploadXpcService/LocalPaths.h"

#include <filesystem>
#include <system_error>
#include <variant>
#include <vector>

namespace Quenmark::StaleFiles {

namespace {

namespace fs = std::filesystem;

fs::file_type kindOf(const std::string& path) {
    std::error_code error;
    return fs::symlink_status(path, error).type();
}

void removeFile(const std::string& path) {
    auto& claims = ItemClaims::ofThisProcess();
    const auto claim = claims.claim(path, std::nullopt, claims.now());
    if (!claim)
        return;
    LocalPaths::temporaryArea().remove(LocalPaths::recordFile(path));
    LocalPaths::temporaryArea().remove(path);
}

void removeFolder(const std::string& path) {
    const auto listed = Platform::Files::contentsOfDirectory(path);
    const auto* names = std::get_if<std::vector<std::string>>(&listed);
    for (const auto& name : names != nullptr ? *names : std::vector<std::string>()) {
        const std::string inside = Platform::Files::appendingPathComponent(path, name);
        if (kindOf(inside) == fs::file_type::directory)
            removeFolder(inside);
        else
            removeFile(inside);
    }
    LocalPaths::temporaryArea().remove(path);
}

} // namespace

void removeConflicting(const std::string& temporaryPath) {
    const std::string area = LocalPaths::temporaryPath("/");
    if (!temporaryPath.starts_with(area))
        return;
    for (auto end = temporaryPath.find('/', area.size()); end != std::string::npos;
         end = temporaryPath.find('/', end + 1)) {
        const std::string folder = temporaryPath.substr(0, end);
        const auto kind = kindOf(folder);
        if (kind != fs::file_type::directory)
            return kind == fs::file_type::regular ? removeFile(folder) : void();
    }
    if (kindOf(temporaryPath) == fs::file_type::directory)
        removeFolder(temporaryPath);
}

} // namespace Quenmark::StaleFiles
