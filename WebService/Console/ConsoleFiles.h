#pragma once

#include <span>
#include <string_view>

namespace webservice {

// The files of the console, as they were when this was built.

/// The page, whose addresses have the version in them.
std::string_view consolePage();

/// Another one whenever the page or one of its files is another one.
std::string_view consoleVersion();

/// A script or a style sheet.
struct ConsoleFile {
    /// Such as "main.js".
    std::string_view name;
    std::string_view content;
};

std::span<const ConsoleFile> consoleFiles();

/// The description of the interface below /api/: Docs/console-openapi.json.
std::string_view consoleDocument();

} // namespace webservice
