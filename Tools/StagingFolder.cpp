#include "Tools/StagingFolder.h"

#include "Platform/Files/Files.h"
#include "Platform/Settings/Environment.h"
#include "Tools/Failure.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace Tools {

StagingFolder::StagingFolder() : path_(Platform::Environment::temporaryDirectory() + "quenmark-upload-XXXXXX") {
    if (const auto error = Platform::Files::createDirectory(Platform::Environment::temporaryDirectory()))
        throw Failure(ExitStatus::CannotCreate, error->localizedDescription);
    // Nobody but this user can read it, nor know its name before (mkdtemp(3)).
    if (::mkdtemp(path_.data()) == nullptr)
        throw Failure(ExitStatus::CannotCreate, path_ + ": " + std::generic_category().message(errno));
}

StagingFolder::~StagingFolder() {
    std::error_code failure;
    std::filesystem::remove_all(path_, failure);
}

} // namespace Tools
