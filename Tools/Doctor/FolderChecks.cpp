#include "Tools/Doctor/FolderChecks.h"

#include "Platform/Files/Files.h"
#include "Platform/Files/PathState.h"
#include "Tools/Output.h"
#include "Tools/Sandbox.h"
#include "Tools/SharedPreferences.h"
#include "Tools/Status/Advice.h"

#include <variant>

namespace Tools {

namespace Files = Platform::Files;
using Platform::PathState;

namespace {

constexpr const char* folderCheck = "folder";

Check missingFolder(const std::string& folder, const std::string& path) {
    return failureCheck(folderCheck, shown(folder) + " does not exist",
                        std::string("Mount its disk, or make it with: quenmark prefs set ") + quenmarkPathKey + " " +
                            shown(path));
}

} // namespace

Check spaceCheck(const std::string& path, std::uint64_t freeBytes) {
    const std::string detail = byteCount(freeBytes) + " free at " + shown(path);
    if (freeBytes == 0)
        return failureCheck("free space", detail, "Free some: what arrives cannot be stored");
    if (freeBytes < littleSpace)
        return warningCheck("free space", detail, "Free some: a longer item finds no room");
    return okCheck("free space", detail);
}

std::string placementFolder(const std::string& quenmarkPath, const Platform::DeploymentSettings& settings) {
    std::string folder = Files::appendingPathComponent(quenmarkPath, quenmarkFolderName);
    const bool isMade = settings.mode == Platform::DeploymentSettings::Mode::Managed && !Files::exists(folder);
    return isMade ? quenmarkPath : folder;
}

std::vector<Check> folderChecks(const std::optional<std::string>& quenmarkPath,
                                const Platform::DeploymentSettings& settings) {
    if (!quenmarkPath || !quenmarkPath->starts_with('/'))
        return {failureCheck(folderCheck, "it is not known where items are to be placed",
                             std::string("Run: quenmark prefs set ") + quenmarkPathKey + " FOLDER")};
    const std::string folder = placementFolder(*quenmarkPath, settings);
    const auto found = PathState::behindLinks(folder);
    if (const auto* error = std::get_if<Platform::Error>(&found))
        return {failureCheck(folderCheck, shown(error->localizedDescription),
                             "Let this user look into the folders above it")};
    const auto& state = *std::get_if<0>(&found);
    if (!state)
        return {missingFolder(folder, *quenmarkPath)};
    if (state->kind != PathState::Kind::Folder)
        return {failureCheck(folderCheck, shown(folder) + " is no folder", "Move away what is there")};
    std::vector<Check> checks;
    if (const auto error = Platform::reasonNotToWriteIn(folder))
        checks.push_back(failureCheck(folderCheck, "cannot be written to: " + shown(error->localizedDescription),
                                      "Let this user write there, or mount its disk for writing"));
    else
        checks.push_back(okCheck(folderCheck, shown(folder)));
    if (!Sandbox::covers(*quenmarkPath))
        checks.push_back(failureCheck("sandbox", "quenmark.service may not write there by " + shown(Sandbox::dropIn()),
                                      "Run: quenmark setup"));
    const auto space = Platform::freeSpace(folder);
    if (const auto* bytes = std::get_if<std::uint64_t>(&space))
        checks.push_back(spaceCheck(folder, *bytes));
    return checks;
}

} // namespace Tools
