#pragma once

#include <string>
#include <utility>
#include <vector>

namespace Platform {

/// What this process runs on, by name: the transport library and the libraries that it uses, the name of
/// the file that libsystemd was loaded from, which has the version, the kernel (uname(2)) and the distribution
/// (os-release(5)). The texts may hold anything.
std::vector<std::pair<std::string, std::string>> systemVersions();

} // namespace Platform
