#pragma once

#include <string>

namespace Benchmarks {

/// Makes a file of this length, whose bytes cannot be compressed away.
void makeItem(const std::string& path, long mebibytes);

/// What makes nginx offer the file FOLDER/item to an engine, and give it at /item.
std::string itemLocations(const std::string& folder);

/// Runs an engine until its first item is acknowledged, and prints the longest turn of its loop. Gives 0, or 1 where
/// that takes too long. In a process of its own.
int receiveItem(double release);

} // namespace Benchmarks
