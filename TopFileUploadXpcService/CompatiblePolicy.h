#pragma once

#include "TopFileUploadXpcService/EnginePolicy.h"

namespace Quenmark {

/// The behaviour that the desktop application expects, including its known data-loss cases. Each call starts another
/// endless chain of passes, two seconds apart.
class CompatiblePolicy final : public EnginePolicy {
public:
    void started(std::function<void()>) override {}
    bool startsPassOnCall(bool) override { return true; }
    void passEnded(std::function<void()> pass, bool isAttempting) override;
    bool attemptEnded(const AttemptEnd& end, bool isFirst) override;
    std::string nextStep(bool isStalled) const override;

    bool isReadable(const GetTopFileUploadResponseData&) const override { return true; }
    bool isConfirmation(const UpdateFileUploadResponseData&) const override { return true; }
    std::optional<AttemptEnd> refusal(const Item&) const override { return std::nullopt; }
    FetchPlan planFetch(const Item& item, const ItemPaths& paths) override;
    Item itemOfStream(const Item& offered, const Platform::HttpUrlResponse& response) const override;
    std::optional<AttemptEnd> streamBegan(const Item&, const Platform::HttpUrlResponse&, const ItemPaths&,
                                          std::uint64_t) override {
        return std::nullopt;
    }
    bool endsRefusedStreams() const override { return false; }
    bool closesEveryFile() const override { return false; }
    std::string_view nextBytes(std::string_view piece, std::size_t remaining) const override;
    std::optional<AttemptEnd> writeFailed(const Platform::Error&, std::uint64_t) const override { return std::nullopt; }
    std::optional<AttemptEnd> streamEnded(const Item&, const ItemPaths&) override { return std::nullopt; }
    Platform::Flusher::Work placement(const ItemPaths& paths) const override;
    Platform::Flusher::Work flushOfPlaced(const ItemPaths&) const override { return nullptr; }
    Platform::Flusher::Work folderPlacement(const ItemPaths&) const override { return nullptr; }
    std::optional<AttemptEnd> placementFailed(const Platform::Error&, const ItemPaths&) const override {
        return std::nullopt;
    }
    void forget(const ItemPaths&) override {}
};

} // namespace Quenmark
