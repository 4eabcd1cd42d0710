#pragma once

#include "Platform/Files/LockFile.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

namespace Platform {
class RunLoop;
}

namespace Quenmark {

/// Gives each item one writer among the engines of this process and the processes of this user: an engine that
/// fetches an item claims its temporary path until the item is acknowledged or its download ends otherwise. Where the
/// temporary area has no locks, claims hold in this process alone, which is logged.
class ItemClaims {
    struct State;

public:
    /// Claims a path while it lives.
    class Claim {
    public:
        Claim(std::shared_ptr<State> state, std::string path, Platform::FileDescriptor lock);
        Claim(const Claim&) = delete;
        Claim& operator=(const Claim&) = delete;
        ~Claim();

    private:
        std::shared_ptr<State> state_;
        std::string path_;
        Platform::FileDescriptor lock_;
    };

    /// A snapshot of this process's acknowledgement counter, and of how often the others' was seen to have changed.
    struct Moment {
        std::uint64_t acknowledgements;
        std::uint64_t noticed;
    };

    /// The claims of this process, which belong to its loop.
    static ItemClaims& ofThisProcess();
    explicit ItemClaims(Platform::RunLoop& loop);

    /// The moment at which a poll is sent.
    Moment now() const { return {acknowledgements_, noticed_}; }
    /// Claims an item from the response to a poll sent at `sent`. Nil if the item is claimed, if this process has
    /// acknowledged it since, or if another process may have acknowledged any item since. Other processes' counters are
    /// read here and not at each poll, so an empty poll costs nothing.
    std::shared_ptr<Claim> claim(const std::string& temporaryPath, const std::optional<std::string>& fileUploadID,
                                 const Moment& sent);
    /// Notes that the acknowledgement of an item has ended, whatever its result: without a response, the web service
    /// may have received it. The item has to be claimed still.
    void acknowledged(const std::optional<std::string>& fileUploadID);

    /// How many acknowledgements are kept. To a poll from before them, every item counts as acknowledged.
    static constexpr std::size_t maxKept = 1000;

private:
    bool isAcknowledgedSince(const std::optional<std::string>& fileUploadID, std::uint64_t moment) const;
    /// The lock of a path; one without a file where there are no locks, nil where another process holds it or may have
    /// acknowledged something since `sent`.
    std::optional<Platform::FileDescriptor> lock(const std::string& path, const Moment& sent);

    std::shared_ptr<State> state_;
    std::uint64_t acknowledgements_ = 0;
    /// The identifiers of the latest ones; the last is number `acknowledgements_`.
    std::deque<std::string> kept_;
    Platform::LockFile lockFile_;
    /// The others' counter as last read, and how often it had changed.
    Platform::LockFile::Others others_;
    std::uint64_t noticed_ = 0;
    std::string lastError_;
};

} // namespace Quenmark
