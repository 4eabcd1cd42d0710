#pragma once

#include "Platform/Loop/Clock.h"
#include "Platform/Loop/RunLoop.h"
#include "TopFileUploadXpcService/ServiceStatus.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace Quenmark {

using Kind = AttemptEnd::Kind;
using State = EngineState;

/// The status of an engine that reports what a test says, on a clock that the test moves. Its times are those of the
/// clock, counted from 1,000,000,000 microseconds.
class EngineStatusFixture : public ::testing::Test {
protected:
    explicit EngineStatusFixture(bool isManaged = false)
        : status(std::make_shared<ServiceStatus>(isManaged, [this] { return time(); })) {
        status->setChangeHandler([this] { ++changes; });
        engine = status->addEngine(":1.7");
    }

    std::int64_t time() const {
        return 1'000'000'000 + std::chrono::duration_cast<std::chrono::microseconds>(clock.now()).count();
    }
    EngineEntry entry() const { return status->engines().at(0); }
    State state() const { return entry().state; }
    std::string reason() const { return entry().reason; }
    /// The state with its reason, and how many changes were told since the last look: "idle (transport -1005) 1".
    std::string look() {
        const auto now = entry();
        return nameOf(now.state) + " (" + now.reason + ") " + std::to_string(std::exchange(changes, 0));
    }

    /// Starts the engine; nothing that happened before counts as a change.
    void start() {
        engine->started();
        changes = 0;
    }
    /// A poll that offers the item, in the attempt of that number.
    void offer(EngineObserver::AttemptNumber number, const std::string& item = "\\a.txt") {
        engine->pollSent(number);
        engine->offered(number, item);
    }
    void download(EngineObserver::AttemptNumber number, std::uint64_t offset = 0) {
        offer(number);
        engine->downloadBegan(number, offset);
    }
    void end(EngineObserver::AttemptNumber number, const AttemptEnd& how, bool isGateOpen = true) {
        engine->ended(number, how, true, isGateOpen);
    }
    void idlePass(EngineObserver::AttemptNumber number) {
        engine->passed();
        engine->pollSent(number);
        engine->responded();
        end(number, {Kind::NoItem});
    }

    Platform::ManualClock clock;
    Platform::RunLoop loop{clock};
    std::shared_ptr<ServiceStatus> status;
    std::unique_ptr<EngineObserver> engine;
    int changes = 0;
};

class ManagedEngineStatusFixture : public EngineStatusFixture {
protected:
    ManagedEngineStatusFixture() : EngineStatusFixture(true) {}
};

} // namespace Quenmark
