#include "Support/PropertyChanges.h"

#include <systemd/sd-bus.h>

#include <chrono>
#include <stdexcept>

namespace TestSupport {

namespace {

PropertyChanges::Announcement announcementOf(sd_bus_message* message) {
    PropertyChanges::Announcement announcement;
    announcement.time = std::chrono::steady_clock::now().time_since_epoch();
    const char* text = nullptr;
    sd_bus_message_read_basic(message, 's', &text);
    announcement.interface = text;
    sd_bus_message_enter_container(message, 'a', "{sv}");
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
        sd_bus_message_read_basic(message, 's', &text);
        announcement.told.emplace_back(text);
        sd_bus_message_skip(message, "v");
        sd_bus_message_exit_container(message);
    }
    sd_bus_message_exit_container(message);
    sd_bus_message_enter_container(message, 'a', "s");
    while (sd_bus_message_read_basic(message, 's', &text) > 0)
        announcement.invalidated.emplace_back(text);
    sd_bus_message_exit_container(message);
    return announcement;
}

int announced(sd_bus_message* message, void* data, sd_bus_error*) {
    static_cast<std::vector<PropertyChanges::Announcement>*>(data)->push_back(announcementOf(message));
    return 0;
}

} // namespace

PropertyChanges::PropertyChanges(const BusPeer& peer, const std::string& objectPath) {
    if (sd_bus_match_signal(peer.handle(), &slot_, nullptr, objectPath.c_str(), "org.freedesktop.DBus.Properties",
                            "PropertiesChanged", announced, &announcements_) < 0)
        throw std::runtime_error("the changes of properties cannot be watched");
}

PropertyChanges::~PropertyChanges() {
    sd_bus_slot_unref(slot_);
}

} // namespace TestSupport
