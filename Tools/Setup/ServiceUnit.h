#pragma once

namespace Tools {

/// Enables the service in the user's service manager and starts it there. Where that fails it says why, and calls the
/// service as `quenmark start` does. `isRestarted` has a service that runs end first, since it gets its mode and its
/// sandbox when it starts.
void enableService(bool isRestarted);

} // namespace Tools
