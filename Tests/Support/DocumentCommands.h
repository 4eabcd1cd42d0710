#pragma once

#include <string>
#include <vector>

namespace TestSupport {

/// The lines of a document's shell blocks that are marked with that word: "<!-- run: MARK -->" stands above each.
std::vector<std::string> documentCommands(const std::string& path, const std::string& mark);

} // namespace TestSupport
