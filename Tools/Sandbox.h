#pragma once

#include <string>

/// The drop-in that draws the sandbox of the service's unit closer around a Quenmark folder (systemd.unit(5)). The unit
/// works without it; a set-up writes it.
namespace Tools::Sandbox {

/// $XDG_CONFIG_HOME/systemd/user/quenmark.service.d/quenmark-setup.conf.
std::string dropIn();

/// Its content, where `path` is the folder that holds the Quenmark folder. Neither has to be there, but where a disk is
/// mounted and where a link leads counts only then. The path has no control characters and is UTF-8.
std::string textFor(const std::string& path);

/// Whether the drop-in, as it was written by a set-up, lets the service write to the Quenmark folder in `path`; so it
/// does where there is none. Links and mounts count as they are now.
bool covers(const std::string& path);

} // namespace Tools::Sandbox
