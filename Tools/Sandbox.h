#pragma once

#include <string>

/// The drop-in that restricts what the service's unit may write to (systemd.unit(5)). The unit works without it; a
/// set-up writes it.
namespace Tools::Sandbox {

/// $XDG_CONFIG_HOME/systemd/user/quenmark.service.d/quenmark-setup.conf.
std::string dropIn();

/// Its content for the folder `path`, which holds the Quenmark folder. Neither has to exist, but mounts and symbolic
/// links are taken into account only where they do. The path is UTF-8 without control characters.
std::string textFor(const std::string& path);

/// Whether the drop-in that a set-up has written lets the service write to the Quenmark folder in `path`, by the
/// present links and mounts; true where there is no drop-in.
bool covers(const std::string& path);

} // namespace Tools::Sandbox
