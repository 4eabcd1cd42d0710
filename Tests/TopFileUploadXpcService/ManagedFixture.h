#pragma once

#include "TopFileUploadXpcService/EngineFixture.h"
#include "TopFileUploadXpcService/ManagedPolicy.h"

namespace Quenmark {

/// An engine of managed mode, whose waits have no jitter, on either transport.
class ManagedFixture : public EngineFixture, public ::testing::WithParamInterface<double> {
protected:
    using HttpReply = TestSupport::HttpReply;

    static constexpr const char* confirmed = R"({"ReturnStatus":"0"})";

    ManagedFixture() {
        setRelease(GetParam());
        restart();
    }

    /// A new engine in the place of the old one, as after a start of the service.
    void restart() {
        engine = std::make_shared<TopFileUploadXpcService>(
            context, std::make_unique<ManagedPolicy>(context.network(), [] { return 0.0; }));
    }
    /// The header fields of a good stream of the file `name`, of the item that `item` describes.
    static TestSupport::Headers fieldsOf(std::string_view name, std::string_view fileUploadID = "12") {
        auto headers = streamHeaders(name);
        for (auto& [field, value] : headers) {
            if (field == "FileUploadID")
                value = fileUploadID;
        }
        return headers;
    }
    void offer(std::string_view jsonName) { server.enqueue(pollTarget, HttpReply::json(item(jsonName))); }
    void stream(std::string_view name, std::string_view content) {
        server.enqueue(streamTarget, HttpReply::ok(content, fieldsOf(name)));
    }
    void confirm() { server.enqueue(acknowledgeTarget, HttpReply::json(confirmed)); }
    /// Scripts one item whole.
    void enqueueItem(std::string_view jsonName, std::string_view name, std::string_view content) {
        offer(jsonName);
        stream(name, content);
        confirm();
    }
    /// Everything that nothing was enqueued for finds no item.
    void answerNothing() {
        server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    }

    /// Moves the clock by that many seconds, and lets what is due then run.
    void pass(double seconds) {
        clock.advance(std::chrono::duration_cast<Platform::Duration>(std::chrono::duration<double>(seconds)));
        loop.runOnce(std::chrono::seconds(0));
    }
    /// Asserts that the next poll, the one of that number, is sent `seconds` after the last event, and not before.
    void expectPollAfter(double seconds, std::size_t number);
    /// Asserts that the polls up to the one of that number, from 1, end without an item, and that the next ones follow
    /// after 2, 4, 8, ... seconds.
    void expectFailures(std::size_t last);
    /// Waits until an attempt has failed for that reason.
    bool waitForFailure(const std::string& reason);
    bool hasEnded(std::size_t poll) {
        return runUntil([&] { return count(pollTarget) == poll && probe().gateIsOpen(); });
    }
    EngineProbe probe() { return EngineProbe(*engine); }
    /// The records of temporary files that there are.
    std::vector<std::string> records() const;
    /// The offset of the stream request of that number, from 0.
    std::string offsetOf(std::size_t number) const;
};

} // namespace Quenmark
