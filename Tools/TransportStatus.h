#pragma once

#include "Tools/Failure.h"

namespace Tools {

/// The exit status for an error code of the transport (UrlRequest.h): Unavailable where no connection was made,
/// TimedOut where no response came in time, NoInput for a file that cannot be read, InputOutput for everything else.
ExitStatus exitStatusOfTransport(int code);

} // namespace Tools
