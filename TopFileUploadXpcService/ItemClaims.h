#pragma once

#include "Platform/FileDescriptor.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace Platform {
class RunLoop;
}

namespace Quenmark {

/// Gives each item one writer among the engines of this process and the processes of this user: whoever fetches an item
/// claims its temporary path, until the item is acknowledged or given up.
///
/// A claim locks a byte of a file in the temporary area. The file has one byte for each acknowledgement, so that a
/// process notices those of others by the file's size. Where there is no such file, claims hold in this process alone.
class ItemClaims {
    struct State;

public:
    /// Claims that path while it lives.
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

    /// What other processes have acknowledged: the file that counts it, and how often. Without a file, nothing.
    struct OtherProcesses {
        std::pair<dev_t, ino_t> file{};
        std::int64_t acknowledgements = 0;
    };
    /// A moment in the sequence of acknowledgements.
    struct Moment {
        std::uint64_t acknowledgements = 0;
        OtherProcesses others;
    };

    /// The claims of this process, which belong to its loop.
    static ItemClaims& ofThisProcess();
    explicit ItemClaims(Platform::RunLoop& loop);

    /// Takes down when a poll is sent.
    Moment now() const;
    /// Claims the item that a poll offered which was sent at `sent`. Nil where the item is claimed, where this process
    /// has sent an acknowledgement of it since, and where another process has acknowledged anything since.
    std::shared_ptr<Claim> claim(const std::string& temporaryPath, const std::optional<std::string>& fileUploadID,
                                 const Moment& sent);
    /// Takes down that an acknowledgement was sent and has ended, however it did. The item is still claimed.
    void acknowledged(const std::optional<std::string>& fileUploadID);

    /// How many acknowledgements are remembered one by one. To a poll from before them, every item counts as
    /// acknowledged.
    static constexpr std::size_t mostRemembered = 1000;

private:
    bool isAcknowledgedSince(const std::optional<std::string>& fileUploadID, std::uint64_t moment) const;
    OtherProcesses otherProcesses(const struct stat& file) const;
    /// A descriptor that holds the lock of a path; one without a file where there are no locks, nil where another
    /// process holds it or has acknowledged something since `sent`.
    std::optional<Platform::FileDescriptor> lock(const std::string& path, const Moment& sent);
    Platform::FileDescriptor openFile();

    std::shared_ptr<State> state_;
    std::uint64_t acknowledgements_ = 0;
    /// The latest ones; the last is number `acknowledgements_`.
    std::deque<std::string> remembered_;
    /// How many bytes of which file are of this process.
    std::pair<dev_t, ino_t> file_{};
    std::int64_t written_ = 0;
    std::string lastError_;
};

} // namespace Quenmark
