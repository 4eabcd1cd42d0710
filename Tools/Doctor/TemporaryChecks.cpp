#include "Tools/Doctor/TemporaryChecks.h"

#include "Platform/Files/Files.h"
#include "Platform/Files/PathState.h"
#include "Platform/Settings/Environment.h"
#include "Tools/Doctor/FolderChecks.h"
#include "Tools/Output.h"
#include "Tools/Status/Advice.h"
#include "Tools/Status/StatusText.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <optional>
#include <variant>

namespace Tools {

namespace Files = Platform::Files;
using Platform::PathState;

namespace {

constexpr const char* areaCheck = "temporary area";
constexpr std::uint64_t maxFiles = 10'000;
constexpr int deepestFolder = 100;
/// An older partial file may be one whose item is not offered any more.
constexpr std::int64_t oldAge = 86'400;

/// What is at a path; nil where nothing is, or its state cannot be read.
std::optional<PathState> stateAt(const std::string& path) {
    const auto found = PathState::at(path);
    const auto* state = std::get_if<0>(&found);
    return state == nullptr ? std::nullopt : *state;
}

/// The files of the service itself; no item's local name has a backslash.
bool isOfTheService(const std::string& name) {
    return name.ends_with('\\');
}

void addFile(PartialFiles& files, const PathState& state) {
    files.oldest = files.count == 0 ? state.modified : std::min(files.oldest, state.modified);
    ++files.count;
    files.bytes += state.size;
}

void addFilesIn(PartialFiles& files, const std::string& folder, int depth) {
    const auto names = Files::contentsOfDirectory(folder);
    const auto* entries = std::get_if<std::vector<std::string>>(&names);
    if (entries == nullptr)
        return;
    for (const auto& name : *entries) {
        const std::string path = Files::appendingPathComponent(folder, name);
        const auto state = stateAt(path);
        if (!state || isOfTheService(name))
            continue;
        if (files.count >= maxFiles || depth > deepestFolder) {
            files.isPart = true;
            return;
        }
        if (state->kind == PathState::Kind::Folder)
            addFilesIn(files, path, depth + 1);
        else
            addFile(files, *state);
    }
}

/// The folder itself, or the one above it that is there.
std::string nearestFolder(std::string path) {
    while (path.size() > 1 && !Files::exists(path))
        path = Files::deletingLastPathComponent(path);
    return path;
}

Check missingAreaCheck(const std::string& path) {
    if (const auto error = Platform::reasonNotToWriteIn(nearestFolder(path)))
        return failureCheck(areaCheck, shown(path) + " cannot be made: " + shown(error->localizedDescription),
                            "Let this user write there, or set TMPDIR for the service");
    return okCheck(areaCheck, shown(path) + ", which the first item makes");
}

Check existingAreaCheck(const std::string& path, const PathState& state) {
    if (state.kind == PathState::Kind::Link)
        return failureCheck(areaCheck, shown(path) + " is a symbolic link, which the service refuses", "Remove it");
    if (state.kind != PathState::Kind::Folder)
        return failureCheck(areaCheck, shown(path) + " is no folder", "Move away what is there");
    if (!state.isOwn)
        return failureCheck(areaCheck, shown(path) + " belongs to another user",
                            "Remove it, or set TMPDIR for the service");
    if (const auto error = Platform::reasonNotToWriteIn(path))
        return failureCheck(areaCheck, "cannot be written to: " + shown(error->localizedDescription),
                            "Run: chmod 700 " + shown(path));
    if ((state.permissions & 0077U) == 0)
        return okCheck(areaCheck, shown(path));
    std::array<char, 16> mode{};
    std::snprintf(mode.data(), mode.size(), "%03o", static_cast<unsigned>(state.permissions));
    return warningCheck(areaCheck, shown(path) + " has mode " + mode.data() + ", so that others may look into it",
                        "Run: chmod 700 " + shown(path));
}

std::optional<std::uint64_t> deviceOf(const std::string& path) {
    const auto found = PathState::behindLinks(path);
    const auto* state = std::get_if<0>(&found);
    return state == nullptr || !*state ? std::nullopt : std::optional((*state)->device);
}

Check deviceCheck(bool isSame) {
    if (isSame)
        return okCheck("file system", "one for the temporary area and the folder");
    return warningCheck("file system", "the temporary area and the folder are on different ones",
                        "Each item is copied: set TMPDIR for the service to a directory on that of the folder");
}

} // namespace

PartialFiles partialFilesIn(const std::string& path) {
    PartialFiles files;
    addFilesIn(files, path, 0);
    return files;
}

Check partialFilesCheck(const PartialFiles& files, std::int64_t now) {
    constexpr const char* name = "partial files";
    if (files.count == 0)
        return okCheck(name, "none");
    const auto age = static_cast<std::uint64_t>(std::max<std::int64_t>(now - files.oldest, 0));
    const std::string detail = std::to_string(files.count) + (files.isPart ? " or more, " : ", ") +
                               byteCount(files.bytes) + "; the oldest was written to " + timeSpan(age) + " ago";
    if (age < oldAge)
        return okCheck(name, detail);
    return warningCheck(name, detail,
                        "They go on when their items are offered again; run: quenmark stop; and remove those of items "
                        "that were withdrawn");
}

std::vector<Check> temporaryChecks(const std::optional<std::string>& folder) {
    const std::string path = Platform::Environment::temporaryDirectory() + "QuenmarkTemp";
    const auto found = PathState::at(path);
    if (const auto* error = std::get_if<Platform::Error>(&found))
        return {failureCheck(areaCheck, shown(error->localizedDescription), "Set TMPDIR for the service")};
    const auto& state = *std::get_if<0>(&found);
    std::vector<Check> checks{state ? existingAreaCheck(path, *state) : missingAreaCheck(path)};

    const std::string existing = nearestFolder(path);
    const auto above = stateAt(existing);
    const auto destination = folder ? deviceOf(*folder) : std::nullopt;
    const bool isShared = above && destination == above->device;
    if (above && destination)
        checks.push_back(deviceCheck(isShared));
    // The free space of a file system that both share is reported with the folder.
    const auto space = Platform::freeSpace(existing);
    const auto* bytes = std::get_if<std::uint64_t>(&space);
    if (bytes != nullptr && !isShared)
        checks.push_back(spaceCheck(existing, *bytes));

    const auto now = std::chrono::system_clock::now().time_since_epoch();
    if (state && state->kind == PathState::Kind::Folder)
        checks.push_back(
            partialFilesCheck(partialFilesIn(path), std::chrono::duration_cast<std::chrono::seconds>(now).count()));
    return checks;
}

} // namespace Tools
