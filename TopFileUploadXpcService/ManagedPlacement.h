#pragma once

#include "Platform/Error.h"
#include "Platform/Files/PrivateArea.h"
#include "TopFileUploadXpcService/EnginePolicy.h"

#include <cstdint>
#include <optional>
#include <string>

/// How managed mode puts items into their places. The operations may wait for the disk, and use values alone: they run
/// on the threads of a `Platform::Flusher`.
namespace Quenmark::ManagedPlacement {

/// Puts the temporary file into its place, where it replaces a file in one step, and makes that durable. Missing
/// folders above are made, but not the one that holds the Quenmark folder, which may be a disk that is not mounted.
std::optional<Platform::Error> placeFile(const Platform::PrivateArea& area, const ItemPaths& paths);
/// Makes the folder, with missing folders above as for a file, and makes that durable; it may be there already.
std::optional<Platform::Error> placeFolder(const ItemPaths& paths);

/// Says in a few words why an item cannot be written or placed; `missing` bytes of it are not where they should be.
std::string reasonOf(const Platform::Error& error, std::uint64_t missing);

} // namespace Quenmark::ManagedPlacement
