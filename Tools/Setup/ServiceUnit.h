#pragma once

namespace Tools {

/// Enables the service in the user's service manager and starts it there. Where that fails, it reports
/// why, and starts the service as `quenmark start` does. With `isRestarted` a running service is stopped first, since
/// its mode and its sandbox are those of its start.
void enableService(bool isRestarted);

} // namespace Tools
