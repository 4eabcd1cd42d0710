#pragma once

#include <string>

namespace Quenmark {

/// What an engine is doing, in one word.
enum class EngineState {
    /// It was never asked to start.
    Created,
    /// It waits for the next pass; also while a poll has been pending for less than a second.
    Idle,
    /// The identifier of this computer is not set.
    Unconfigured,
    /// The last pass found no network; in compatible mode also: the last poll got no response.
    Offline,
    /// A poll has been pending for a second or more.
    Polling,
    Downloading,
    Flushing,
    Acknowledging,
    /// Managed mode: it waits before the attempt that follows a failure.
    Retrying,
    /// Managed mode: the item that is offered cannot be placed, and is tried again.
    Blocked,
    /// Compatible mode: the gate is closed and nothing is in flight; only a call opens it.
    Stalled,
};

/// The state's name on the bus: "created", "idle", and so on.
std::string nameOf(EngineState state);

} // namespace Quenmark
