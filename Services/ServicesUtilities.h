#pragma once

#include "Platform/Settings/DeploymentSettings.h"

#include <string>
#include <string_view>

namespace Quenmark {

/// Tests of the published release number, and helpers for paths. Without state; callable from any thread.
class ServicesUtilities {
public:
    ServicesUtilities() = delete;

    /// Whether the integral part of the release number is at least 1138 and below 1343. Older releases give false as
    /// well: they are served like the newest ones.
    static bool isLessThan10_10(const Platform::DeploymentSettings& settings = Platform::DeploymentSettings::current());
    /// Whether the integral part of the release number is 1138.
    static bool is10_7(const Platform::DeploymentSettings& settings = Platform::DeploymentSettings::current());

    /// The path without its first character, whatever that is, every "/" a "\". Throws std::out_of_range for an empty
    /// path.
    static std::string convertPathToWindows(std::string_view path);
    /// "/" and the path with every "\" a "/"; a separator in front is not looked for.
    static std::string convertPathToMac(std::string_view path);

    /// Copies the file or folder at `path` to the first free of "name 1.ext", "name 2.ext", ... beside it and returns
    /// the path of the copy; returns `path` itself when nothing is there. A folder's number follows what precedes
    /// its last "."; the rest is dropped. A copy that fails is tried again under the next number,
    /// without end. `quenmarkPath` is not used.
    static std::string checkDuplicateAndCreate(const std::string& path, const std::string& quenmarkPath);
};

} // namespace Quenmark
