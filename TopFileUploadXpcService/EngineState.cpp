#include "TopFileUploadXpcService/EngineState.h"

namespace Quenmark {

std::string nameOf(EngineState state) {
    switch (state) {
    case EngineState::Created:
        return "created";
    case EngineState::Idle:
        return "idle";
    case EngineState::Unconfigured:
        return "unconfigured";
    case EngineState::Offline:
        return "offline";
    case EngineState::Polling:
        return "polling";
    case EngineState::Downloading:
        return "downloading";
    case EngineState::Flushing:
        return "flushing";
    case EngineState::Acknowledging:
        return "acknowledging";
    case EngineState::Retrying:
        return "retrying";
    case EngineState::Blocked:
        return "blocked";
    case EngineState::Stalled:
        break;
    }
    return "stalled";
}

} // namespace Quenmark
