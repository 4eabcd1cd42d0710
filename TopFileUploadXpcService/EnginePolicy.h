#pragma once

#include "Platform/Error.h"
#include "Platform/Files/Flusher.h"
#include "Platform/UrlLoading/UrlRequest.h"
#include "Services/Responses/UpdateFileUploadResponseData.h"
#include "TopFileUploadXpcService/AttemptEnd.h"
#include "TopFileUploadXpcService/Item.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace Quenmark {

/// Where an item is gathered, and where it is to be.
struct ItemPaths {
    std::string temporary;
    std::string final;
    /// The folder that holds the Quenmark folder.
    std::string quenmarkPath;
};

/// What differs between the two modes of the service: when it polls, what follows a failure, and when an item counts as
/// placed. `CompatiblePolicy` is what the desktop application expects; `ManagedPolicy` is for unattended machines. A
/// policy belongs to one engine and is used on the loop's thread.
class EnginePolicy {
public:
    /// The next step for a file that the web service offers.
    struct FetchPlan {
        enum class Step {
            /// The bytes from `offset` on are to be fetched.
            Download,
            /// The temporary file is complete.
            Place,
            /// The file is in its place; its acknowledgement was lost.
            Acknowledge,
        };
        Step step = Step::Download;
        std::uint64_t offset = 0;
        /// Why no step can be taken now.
        std::optional<AttemptEnd> failure = {};
    };

    virtual ~EnginePolicy() = default;

    /// The engine is started, for the first time or not. `pass` runs one pass, and does not keep the engine alive.
    virtual void started(std::function<void()> pass) = 0;
    /// Called by `GetTopFileUpload`. Returns whether to open the gate and run a pass immediately.
    virtual bool startsPassOnCall(bool isAttempting) = 0;
    /// A pass has ended; an attempt may be under way now. `pass` runs one pass, and keeps the engine alive.
    virtual void passEnded(std::function<void()> pass, bool isAttempting) = 0;
    /// An attempt has ended, for the first time or not. Says whether the gate opens.
    virtual bool attemptEnded(const AttemptEnd& end, bool isFirst) = 0;
    /// What follows the attempt that has just failed, in a sentence of the log. A stalled engine goes on only after a
    /// call.
    virtual std::string nextStep(bool isStalled) const = 0;

    /// Whether the response of a poll is one at all.
    virtual bool isReadable(const GetTopFileUploadResponseData& response) const = 0;
    /// Whether the response of an acknowledgement confirms it. Its status is no number other than 0; it may be missing,
    /// or be no number at all.
    virtual bool isConfirmation(const UpdateFileUploadResponseData& response) const = 0;
    /// Why an item that is offered is not fetched; nil where it is.
    virtual std::optional<AttemptEnd> refusal(const Item& item) const = 0;
    /// Determines the next step from what earlier attempts left on disk.
    virtual FetchPlan planFetch(const Item& item, const ItemPaths& paths) = 0;
    /// The item that a stream carries: as the poll offered it, and as its header fields describe it.
    virtual Item itemOfStream(const Item& offered, const Platform::HttpUrlResponse& response) const = 0;
    /// A stream with a good status begins with this response. Returns why it is rejected; nil if it is accepted.
    virtual std::optional<AttemptEnd> streamBegan(const Item& offered, const Platform::HttpUrlResponse& response,
                                                  const ItemPaths& paths, std::uint64_t offset) = 0;
    /// Whether the connection transport cancels a rejected stream as soon as its header fields are received.
    virtual bool endsRefusedStreams() const = 0;
    /// Whether the temporary file is closed however its stream ends, so that its disk can be unmounted and its space is
    /// free where it was copied; otherwise some ends leave it open until the next stream.
    virtual bool closesEveryFile() const = 0;
    /// The part of a piece that is to be written when `remaining` bytes of it are left.
    virtual std::string_view nextBytes(std::string_view piece, std::size_t remaining) const = 0;
    /// The temporary file cannot be written, and `missing` bytes of the stream are not on disk. The end of the download
    /// where it ends there; nil where it goes on.
    virtual std::optional<AttemptEnd> writeFailed(const Platform::Error& error, std::uint64_t missing) const = 0;
    /// Every byte of a stream was received. Why the file is not complete; nil where it is.
    virtual std::optional<AttemptEnd> streamEnded(const Item& offered, const ItemPaths& paths) = 0;
    /// The work that puts the temporary file into its place and flushes it.
    virtual Platform::Flusher::Work placement(const ItemPaths& paths) const = 0;
    /// The work that makes a file durable that is in its place.
    virtual Platform::Flusher::Work flushOfPlaced(const ItemPaths& paths) const = 0;
    /// The work that makes a folder and flushes it; empty where the engine does that, and opens the gate before the
    /// acknowledgement is confirmed.
    virtual Platform::Flusher::Work folderPlacement(const ItemPaths& paths) const = 0;
    /// The work of a placement has failed, though not in flushing. The end of the attempt; nil where the item is
    /// acknowledged all the same.
    virtual std::optional<AttemptEnd> placementFailed(const Platform::Error& error, const ItemPaths& paths) const = 0;
    /// The item is acknowledged, or has to be fetched anew: nothing of it is kept in the temporary area.
    virtual void forget(const ItemPaths& paths) = 0;
};

} // namespace Quenmark
