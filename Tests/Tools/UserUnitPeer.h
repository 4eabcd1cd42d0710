#pragma once

#include "Support/BusPeer.h"

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <map>
#include <string>
#include <string_view>

namespace ToolTest {

/// A user manager on the bus, with the properties of the service's unit (org.freedesktop.systemd1(5)).
class UserUnitPeer {
public:
    UserUnitPeer() {
        const auto receive = [](sd_bus_message* call, void* self, sd_bus_error*) {
            return static_cast<UserUnitPeer*>(self)->received(call);
        };
        EXPECT_GE(sd_bus_add_object(peer_.handle(), nullptr, "/org/freedesktop/systemd1/unit/quenmark_2eservice",
                                    receive, this),
                  0);
        EXPECT_GE(sd_bus_request_name(peer_.handle(), "org.freedesktop.systemd1", 0), 0);
    }

    std::map<std::string, std::string> properties{
        {"LoadState", "loaded"}, {"ActiveState", "active"}, {"UnitFileState", "enabled"}};
    int exitStatus = 0;

private:
    int received(sd_bus_message* call) {
        const char* interface = "";
        const char* name = "";
        if (sd_bus_message_is_method_call(call, "org.freedesktop.DBus.Properties", "Get") <= 0 ||
            sd_bus_message_read(call, "ss", &interface, &name) <= 0)
            return sd_bus_reply_method_errorf(call, "org.freedesktop.DBus.Error.UnknownMethod", "unexpected call");
        const std::string_view asked(interface);
        if (asked == "org.freedesktop.systemd1.Service" && std::string_view(name) == "ExecMainStatus")
            return sd_bus_reply_method_return(call, "v", "i", exitStatus);
        if (asked != "org.freedesktop.systemd1.Unit")
            return sd_bus_reply_method_errorf(call, "org.freedesktop.DBus.Error.UnknownMethod", "unexpected call");
        return sd_bus_reply_method_return(call, "v", "s", properties[name].c_str());
    }

    TestSupport::BusPeer peer_;
};

} // namespace ToolTest
