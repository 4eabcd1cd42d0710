#pragma once

#include "Platform/Network/NetworkFlags.h"
#include "Platform/Settings/DeploymentSettings.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace Quenmark {

/// What requests depend on besides their parameters. A default one uses the deployment settings of the process and the
/// kernel's flags, each as `DeploymentSettings::current` and `NetworkTarget::flags` give them at each use.
struct ServiceContext {
    /// Returns the host of the service, the release number and the staging directory.
    std::function<Platform::DeploymentSettings()> settings = &Platform::DeploymentSettings::current;
    /// Returns the flags by which the Internet can be reached now, nil where they cannot be read; those of the kernel
    /// where the function is empty. Nothing is sent while it is unreachable.
    std::function<std::optional<std::uint32_t>()> networkFlags = {};
    /// Receives, on the main queue, how much of a file that is being sent was sent so far, and its size, in bytes. May
    /// be empty.
    std::function<void(std::uint64_t bytesSent, std::uint64_t bytesTotal)> uploadProgress = {};

    /// The source for the tests of the network.
    Platform::NetworkSource network() const { return {settings, networkFlags}; }
};

} // namespace Quenmark
