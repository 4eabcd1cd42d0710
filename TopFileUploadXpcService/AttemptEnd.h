#pragma once

#include <string>

namespace Quenmark {

/// The "ReturnStatus" of a stream that has no item: the computer polls again.
inline constexpr int statusDrop = 2;

/// How an attempt to get the next item ended: a poll, and what followed it.
struct AttemptEnd {
    enum class Kind {
        /// The web service has no item, or another engine fetches the one that it offers.
        NoItem,
        /// There is no network; nothing was sent.
        NoNetwork,
        /// The identifier of this computer is not set; nothing was sent.
        NotConfigured,
        /// The acknowledgement of the item is confirmed. The item is in place; where it is not, `reason` says why.
        Acknowledged,
        /// The poll got no response, or none that can be read; `number` is the transport's error code, 0 where it gave
        /// none, and `reason` says what is wrong with the response, where there is one.
        PollFailed,
        /// The request of the stream got no response; `number` as above.
        NoStreamResponse,
        /// The stream broke off behind its header fields; `number` as above.
        StreamFailed,
        /// The stream's "ReturnStatus", which `number` is, is not 0.
        Refused,
        /// A response that cannot be read, or does not belong to the request.
        BadResponse,
        /// The temporary file cannot be written; `reason` says why.
        NotWritten,
        /// The item cannot be put into its place, or must not be; `reason` says why.
        NotPlaced,
        /// The item could not be flushed to disk.
        NotDurable,
        /// The acknowledgement got no response, or one that is no JSON object.
        NotAcknowledged,
        /// The acknowledgement's "ReturnStatus", which `number` is, is not 0.
        AcknowledgementRefused,
    };

    Kind kind;
    int number = 0;
    std::string reason = {};
    /// What the error says, for the log.
    std::string detail = {};

    bool operator==(const AttemptEnd&) const = default;
};

/// Says in a few words why the attempt failed: "transport -1004", "status 2", "acknowledgement refused 5"; empty where
/// it did not.
std::string reasonOf(const AttemptEnd& end);

} // namespace Quenmark
