#pragma once

#include "Platform/Loop/Clock.h"

#include <boost/system/result.hpp>

#include <string>

namespace Platform::Ipc {

/// Why a unit is not enabled and started.
struct UnitFailure {
    /// Whether there is a service manager of this user's at all.
    bool hasManager = false;
    /// For people.
    std::string text;

    bool operator==(const UnitFailure&) const = default;
};
using UnitResult = boost::system::result<void, UnitFailure>;

/// Has the user's service manager, which is reached on the session bus (org.freedesktop.systemd1(5)), enable a unit and
/// start it, and waits until it has started; or the error says why it has not. One that is enabled and runs is left as
/// it is. Blocks, for `timeout` at most at each of its five steps: the caller has no loop to keep running.
UnitResult enableUserUnit(const std::string& unit, Duration timeout);

} // namespace Platform::Ipc
