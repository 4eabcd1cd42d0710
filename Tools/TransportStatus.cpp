#include "Tools/TransportStatus.h"

#include "Platform/UrlLoading/UrlRequest.h"

namespace Tools {

namespace UrlError = Platform::UrlError;

ExitStatus exitStatusOfTransport(int code) {
    switch (code) {
    case UrlError::CannotConnectToHost:
    case UrlError::CannotFindHost:
        return ExitStatus::Unavailable;
    case UrlError::TimedOut:
        return ExitStatus::TimedOut;
    case UrlError::FileDoesNotExist:
        return ExitStatus::NoInput;
    default:
        return ExitStatus::InputOutput;
    }
}

} // namespace Tools
