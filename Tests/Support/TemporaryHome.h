#pragma once

#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"

#include <string>
#include <string_view>

namespace TestSupport {

/// A home directory of the test's own, with its settings and its temporary files. While it lives, HOME names it, and
/// XDG_CONFIG_HOME, XDG_CACHE_HOME and TMPDIR name folders beside it; XDG_CONFIG_DIRS names nothing.
class TemporaryHome : public TemporaryDirectory {
public:
    TemporaryHome();

    /// The folder of XDG_CONFIG_HOME.
    const TemporaryDirectory& config() const { return config_; }
    /// The folder of XDG_CACHE_HOME.
    const TemporaryDirectory& cache() const { return cache_; }
    /// The folder of TMPDIR.
    const TemporaryDirectory& temporary() const { return temporary_; }

    /// Writes the deployment settings: a JSON text.
    void setDeployment(std::string_view json) const;
    /// Writes the shared preferences: a JSON text.
    void setPreferences(std::string_view json) const;
    /// Writes the service's own preferences: a JSON text.
    void setOwnPreferences(std::string_view json) const;
    /// The file of the shared preferences.
    std::string preferencesFile() const;
    /// Shared preferences of computer 7 of user 42, whose Quenmark folder is in `folder`.
    static std::string preferencesFor(const std::string& folder, const std::string& computer = "7");

private:
    TemporaryDirectory config_;
    TemporaryDirectory cache_;
    TemporaryDirectory temporary_;
    ScopedEnvironment environment_;
};

} // namespace TestSupport
