#pragma once

#include "WebService/Http/Response.h"

#include <optional>
#include <string_view>

namespace webservice {

/// Whether the path is the console's page or below where its files are.
bool isConsoleFilePath(std::string_view path);

/// The page of the console at "/", or one of the scripts and style sheets that it is made of, at
/// "/console/VERSION/NAME"; none for another path. The page is never cached and names the files by their version: the
/// files of two programs do not meet in one page, and each is fetched once. Nothing of it comes from anywhere else, and
/// the browser is told so.
std::optional<Response> consoleFile(std::string_view path);

} // namespace webservice
