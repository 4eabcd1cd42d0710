#pragma once

#include "Platform/Network/NetworkFlags.h"
#include "TopFileUploadXpcService/EnginePolicy.h"
#include "TopFileUploadXpcService/PassTimer.h"

#include <memory>

namespace Quenmark {

/// The behaviour for unattended machines.
///
/// Passes are two seconds apart while there is nothing to do, and follow an acknowledged item at once. Every failure
/// leads to another attempt, after a wait that grows. An item is acknowledged only when it is complete, in its place
/// and on disk; one that cannot be placed waits. A partial file is continued only for the item that it belongs to
/// (`ItemRecord`).
class ManagedPolicy final : public EnginePolicy {
public:
    /// A number from -1 to 1, anew at each call.
    using Jitter = std::function<double()>;
    /// The usual one: random numbers.
    static Jitter randomJitter();

    /// `network` is the source of the network's flags, whose return ends a wait.
    explicit ManagedPolicy(Platform::NetworkSource network = {});
    ManagedPolicy(Platform::NetworkSource network, Jitter jitter);

    void started(std::function<void()> pass) override;
    bool startsPassOnCall(bool isAttempting) override;
    void passEnded(std::function<void()> pass, bool isAttempting) override;
    bool attemptEnded(const AttemptEnd& end, bool isFirst) override;
    std::string nextStep(bool isStalled) const override;

    bool isReadable(const GetTopFileUploadResponseData& response) const override;
    bool isConfirmation(const UpdateFileUploadResponseData& response) const override;
    std::optional<AttemptEnd> refusal(const Item& item) const override;
    FetchPlan planFetch(const Item& item, const ItemPaths& paths) override;
    Item itemOfStream(const Item& offered, const Platform::HttpUrlResponse& response) const override;
    std::optional<AttemptEnd> streamBegan(const Item& offered, const Platform::HttpUrlResponse& response,
                                          const ItemPaths& paths, std::uint64_t offset) override;
    bool endsRefusedStreams() const override { return true; }
    bool closesEveryFile() const override { return true; }
    std::string_view nextBytes(std::string_view piece, std::size_t remaining) const override;
    std::optional<AttemptEnd> writeFailed(const Platform::Error& error, std::uint64_t missing) const override;
    std::optional<AttemptEnd> streamEnded(const Item& offered, const ItemPaths& paths) override;
    Platform::Flusher::Work placement(const ItemPaths& paths) const override;
    Platform::Flusher::Work flushOfPlaced(const ItemPaths& paths) const override;
    Platform::Flusher::Work folderPlacement(const ItemPaths& paths) const override;
    std::optional<AttemptEnd> placementFailed(const Platform::Error& error, const ItemPaths& paths) const override;
    void forget(const ItemPaths& paths) override;

    /// The wait after the k-th failure in a row, k from 1: 2, 4, 8, ... up to 300 seconds, and up to a tenth more or
    /// less, by a jitter from -1 to 1; 300 seconds at most.
    static Platform::Duration waitAfterFailures(int count, double jitter);
    /// A partial file that the web service has not continued so often in a row is given up.
    static constexpr int maxRefusals = 3;

private:
    Jitter jitter_;
    PassTimer timer_;
    bool isStarted_ = false;
    int failures_ = 0;
    /// Between the attempt that ended last and the next one.
    Platform::Duration wait_{};
    /// Whether the next pass is to follow the attempt at once, since it was called for meanwhile.
    bool isCalled_ = false;
    /// The partial file that the web service was asked to continue last, and how often in a row it refused, or sent no
    /// bytes of it.
    struct Resumed {
        std::string path = {};
        std::uint64_t offset = 0;
        int refusals = 0;
    };
    Resumed resumed_;
    std::unique_ptr<Platform::NetworkTarget> network_;
};

} // namespace Quenmark
