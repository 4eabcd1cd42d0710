#pragma once

#include "Platform/Error.h"
#include "Platform/Settings/DeploymentSettings.h"
#include "Platform/Settings/SettingsFile.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace Platform {

/// Why other settings than those in the files would be used: the file that counts cannot be read or is no JSON object,
/// or values in it are not usable, one error for each. Errors name the path, and the place or the member; those of a
/// system call have the domain "POSIX". Empty where nothing is wrong.
std::vector<Error> deploymentErrors();

/// Reads the deployment settings (DeploymentSettings.h) and follows their files. The environment names the files at the
/// first use. May be used on any thread.
class DeploymentReader {
public:
    /// The settings as the files say now, or said earlier in the same turn of the loop; `appKitVersionNumber` and
    /// `mode` stay as they were first read.
    DeploymentSettings current();

private:
    /// The states of the files at some time, by which a change shows.
    struct FileStates {
        std::vector<SettingsFile::State> states;
        /// Whether every change after this time shows.
        bool areSettled = true;
    };

    /// The states of the first files, as many as `count`.
    FileStates statesOfFiles(std::size_t count) const;
    bool haveFilesChanged() const;
    void read();

    std::mutex lock_;
    /// What was read last; nil before the first success.
    std::optional<DeploymentSettings> settings_;
    /// The files that may hold the settings; a process's environment does not change. Empty before the first use.
    std::vector<std::string> paths_;
    /// The states of the files that were read last; nil before.
    std::optional<FileStates> known_;
    /// The turn of the loop in which the files were last checked. They are checked once per turn; a later change is
    /// detected in the next turn.
    std::optional<std::uint64_t> lastCheckedTurn_;
    /// What was logged of values that are not usable.
    std::vector<std::string> logged_;
};

} // namespace Platform
