#pragma once

#include <string>

/// The service manager's notification socket (sd_notify(3)).
namespace Platform::ServiceManager {

/// Whether there is one: $NOTIFY_SOCKET is set.
bool isThere();
/// Sends assignments, one a line, such as "READY=1". Nothing waits: what the service manager cannot take at the moment
/// is dropped. To be called on one thread.
void notify(const std::string& assignments);

} // namespace Platform::ServiceManager
