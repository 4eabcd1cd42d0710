#pragma once

#include "Support/BusPeer.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

struct sd_bus_slot;

namespace ToolTest {

/// A program on the session bus that answers as the user's service manager does (org.freedesktop.systemd1(5)).
class UserManagerPeer {
public:
    UserManagerPeer();
    UserManagerPeer(const UserManagerPeer&) = delete;
    UserManagerPeer& operator=(const UserManagerPeer&) = delete;
    ~UserManagerPeer();

    /// What was called, in order: each method with the texts among its arguments.
    std::vector<std::string> calls;
    /// Methods that are answered with an error, of that name and text.
    std::map<std::string, std::pair<std::string, std::string>> errors;
    /// How a unit's start ends, and whether that is said before the call is answered.
    std::string startResult = "done";
    bool saysResultFirst = false;

private:
    int received(sd_bus_message* call);
    int started(sd_bus_message* call);
    void sayResult();

    TestSupport::BusPeer peer_;
    sd_bus_slot* slot_ = nullptr;
};

} // namespace ToolTest
