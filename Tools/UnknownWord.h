#pragma once

#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Tools {

/// What is wrong with the first verb or option of a command line that the program does not have, with the nearest one;
/// nil where it has them all. `arguments` are without the program's name.
std::optional<std::string> unknownWord(const CLI::App& program, const std::vector<std::string>& arguments);

} // namespace Tools
