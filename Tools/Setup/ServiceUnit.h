#pragma once

namespace Tools {

/// Enables the service in the user's service manager and starts it there, or says in one line why not. `isRestarted`
/// has a service that runs end first, since it reads its mode when it starts.
void enableService(bool isRestarted);

} // namespace Tools
