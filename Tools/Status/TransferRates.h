#pragma once

#include "Platform/Loop/Clock.h"
#include "Tools/Status/ServiceStatus.h"

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>

namespace Tools {

/// How fast engines download, over the last five seconds of what was read of the service's status.
class TransferRates {
public:
    /// Takes what was read at a time of a monotonic clock.
    void add(const ServiceStatus& status, Platform::Duration now);
    /// The bytes that an engine of the status that was read last gets in a second; nil where it does not download, or
    /// where that is not known yet.
    std::optional<std::uint64_t> bytesPerSecond(const EngineStatus& engine) const;
    /// How long the rest of its item takes at that rate; nil where that is not known, or nothing comes.
    std::optional<std::uint64_t> secondsLeft(const EngineStatus& engine) const;

private:
    struct Sample {
        Platform::Duration time;
        std::uint64_t bytes;
    };
    struct Download {
        std::string item;
        std::deque<Sample> samples;
    };

    std::map<std::uint64_t, Download> downloads_;
};

} // namespace Tools
