#include "Tools/Setup/QuenmarkFolder.h"

#include "Platform/Files/Files.h"
#include "Tools/Failure.h"
#include "Tools/SharedPreferences.h"

#include <ranges>

namespace Tools {

namespace Files = Platform::Files;

QuenmarkFolder::QuenmarkFolder(const std::string& path)
    : path_(Files::appendingPathComponent(path, quenmarkFolderName)) {
    const auto error = Files::createDirectory(path_, &made_);
    if (!error)
        return;
    remove();
    throw Failure(ExitStatus::CannotCreate, error->localizedDescription);
}

QuenmarkFolder::~QuenmarkFolder() {
    remove();
}

void QuenmarkFolder::remove() {
    // One in which something has appeared meanwhile stays.
    for (const auto& folder : made_ | std::views::reverse)
        Files::removeEmptyFolder(folder);
}

} // namespace Tools
