#include "TopFileUploadXpcService/AttemptEnd.h"

#include "TopFileUploadXpcService/Settings.h"

namespace Quenmark {

std::string reasonOf(const AttemptEnd& end) {
    switch (end.kind) {
    case AttemptEnd::Kind::NoItem:
    case AttemptEnd::Kind::Acknowledged:
        return "";
    case AttemptEnd::Kind::NoNetwork:
        return "no network";
    case AttemptEnd::Kind::NotConfigured:
        return Settings::computerIdKey;
    case AttemptEnd::Kind::PollFailed:
        if (!end.reason.empty())
            return end.reason;
        [[fallthrough]];
    case AttemptEnd::Kind::NoStreamResponse:
    case AttemptEnd::Kind::StreamFailed:
        return "transport " + std::to_string(end.number);
    case AttemptEnd::Kind::Refused:
        return "status " + std::to_string(end.number);
    case AttemptEnd::Kind::BadResponse:
        return "bad response";
    case AttemptEnd::Kind::NotDurable:
        return "not flushed";
    case AttemptEnd::Kind::NotAcknowledged:
        return "acknowledgement failed";
    case AttemptEnd::Kind::AcknowledgementRefused:
        return "acknowledgement refused " + std::to_string(end.number);
    case AttemptEnd::Kind::NotWritten:
    case AttemptEnd::Kind::NotPlaced:
        break;
    }
    return end.reason;
}

} // namespace Quenmark
