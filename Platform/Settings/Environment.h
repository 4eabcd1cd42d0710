#pragma once

#include <string>
#include <vector>

/// The directories of this user (XDG Base Directory Specification). No other part of the program asks
/// the environment for them; it is read anew at each call. A variable that is unset, empty or not an absolute path
/// counts as unset.
namespace Platform::Environment {

/// $HOME, else the home directory of the user database; never empty.
std::string homeDirectory();
/// The name of the user whom this process acts for, by the user database; "" where it has none.
std::string userName();
/// $XDG_CONFIG_HOME, else ~/.config.
std::string configHome();
/// $XDG_CONFIG_DIRS, most important first, else /etc/xdg.
std::vector<std::string> configDirectories();
/// The system temporary directory, always with a trailing "/": $TMPDIR where set, else the product's folder in
/// $XDG_CACHE_HOME (~/.cache). Not created.
std::string temporaryDirectory();

} // namespace Platform::Environment
