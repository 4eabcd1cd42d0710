#pragma once

#include "Platform/Loop/Clock.h"
#include "Support/BusPeer.h"

#include <memory>
#include <string>
#include <vector>

struct sd_bus_slot;

namespace TestSupport {

/// Collects the announcements of changed properties of one object (D-Bus Specification,
/// org.freedesktop.DBus.Properties.PropertiesChanged) while it lives.
class PropertyChanges {
public:
    struct Announcement {
        std::string interface;
        /// The properties whose values are told, and those that only may have changed.
        std::vector<std::string> told;
        std::vector<std::string> invalidated;
        /// When it came, by the machine's monotonic clock.
        Platform::Duration time;
    };

    /// `peer` must outlive it.
    PropertyChanges(const BusPeer& peer, const std::string& objectPath);
    PropertyChanges(const PropertyChanges&) = delete;
    PropertyChanges& operator=(const PropertyChanges&) = delete;
    ~PropertyChanges();

    const std::vector<Announcement>& announcements() const { return announcements_; }

private:
    std::vector<Announcement> announcements_;
    sd_bus_slot* slot_ = nullptr;
};

} // namespace TestSupport
