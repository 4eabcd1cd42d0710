#include "Support/DocumentCommands.h"

#include <fstream>
#include <utility>

namespace TestSupport {

std::vector<std::string> documentCommands(const std::string& path, const std::string& mark) {
    std::ifstream document(path);
    std::vector<std::string> commands;
    bool marked = false;
    bool inside = false;
    for (std::string line; std::getline(document, line);) {
        if (inside && line != "```")
            commands.push_back(line);
        else if (line == "<!-- run: " + mark + " -->")
            marked = true;
        else if (line == "```sh")
            inside = std::exchange(marked, false);
        else if (line == "```")
            inside = false;
    }
    return commands;
}

} // namespace TestSupport
