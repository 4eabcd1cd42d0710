#pragma once

#include "Tools/Failure.h"

namespace Tools {

/// Has the session bus launch the service where it does not run, and starts an engine by whichever of its two front
/// ends it offers. Where an engine runs that is not stalled, none is started without `startsAnother`; managed mode's is
/// asked to poll. Errors go to standard error. Runs a loop of its own, for 30 seconds at most. Gives
/// `Unavailable` where the bus or the service cannot be reached, and `TimedOut` where the service does not answer.
ExitStatus startEngine(bool startsAnother);

} // namespace Tools
