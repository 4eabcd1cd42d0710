#include "TopFileUploadXpcService/ManagedPlacement.h"

#include "Platform/Files/Files.h"
#include "Platform/Files/Flush.h"
#include "Platform/Files/Posix.h"

#include <cerrno>
#include <vector>

namespace Quenmark::ManagedPlacement {

namespace Files = Platform::Files;
namespace Flush = Platform::Flush;
namespace Posix = Platform::Posix;
using Platform::Error;

namespace {

/// Makes a folder and the missing ones above, below the folder that holds the Quenmark folder; adds to `unflushed` what
/// was made.
std::optional<Error> makeFolder(const ItemPaths& paths, const std::string& folder,
                                std::vector<std::string>& unflushed) {
    if (!paths.quenmarkPath.starts_with('/') || !Files::isDirectory(paths.quenmarkPath))
        return Posix::error(paths.quenmarkPath, ENOENT);
    return Files::createDirectory(folder, &unflushed);
}

} // namespace

std::optional<Error> placeFile(const Platform::PrivateArea& area, const ItemPaths& paths) {
    const std::string folder = Files::deletingLastPathComponent(paths.final);
    std::vector<std::string> made;
    if (auto error = makeFolder(paths, folder, made))
        return error;
    if (auto error = Flush::entries(made)) {
        // The next attempt makes and flushes them anew.
        while (!made.empty()) {
            Files::removeEmptyFolder(made.back());
            made.pop_back();
        }
        return error;
    }
    auto error = area.replaceFile(paths.temporary, paths.final);
    // Report the folder: the file at the final path may not exist yet.
    if (error && !Flush::hasFailed(error) && Posix::pathOf(*error) == paths.final)
        return Posix::error(folder, error->code);
    return error;
}

std::optional<Error> placeFolder(const ItemPaths& paths) {
    std::vector<std::string> unflushed;
    if (auto error = makeFolder(paths, paths.final, unflushed))
        return error;
    if (unflushed.empty() || unflushed.back() != paths.final)
        unflushed.push_back(paths.final);
    return Flush::entries(unflushed);
}

std::string reasonOf(const Error& error, std::uint64_t missing) {
    switch (error.code) {
    case ENOSPC:
    case EDQUOT:
        return "disk full: " + std::to_string(missing) + " bytes missing";
    case EISDIR:
        return "folder in the way";
    case ENOTDIR:
    case EEXIST:
        return "file in the way";
    default:
        return "not writable: " + Posix::pathOf(error);
    }
}

} // namespace Quenmark::ManagedPlacement
