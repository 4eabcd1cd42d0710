#pragma once

#include "TopFileUploadXpcService/Attempt.h"

#include <string>

namespace Quenmark {

/// Logs the attempts of an engine: a line for each item that arrives, and one for each failure with what follows it. A
/// failure that repeats itself, but for one that stalls the engine, is logged once a minute, and the lack of a network
/// once. External text is escaped to one line.
class AttemptLog {
public:
    /// The attempt has ended, for the first time; `next` says what follows a failure. An engine that is stalled goes on
    /// only after a call.
    void ended(const Attempt& attempt, const AttemptEnd& end, const std::string& next, bool isStalled);

private:
    void failed(const Attempt& attempt, const AttemptEnd& end, const std::string& next, bool isStalled);

    /// The failure that was logged last, and when; empty where an attempt has succeeded since.
    std::string last_;
    Platform::Duration lastTime_{};
};

} // namespace Quenmark
