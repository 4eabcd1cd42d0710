#include "Tools/EngineStart.h"

#include "Platform/Ipc/Bus.h"
#include "Platform/Ipc/ErrorNames.h"
#include "Platform/Ipc/ServiceCall.h"
#include "Platform/Loop/Queue.h"
#include "Platform/Loop/RunLoop.h"
#include "Tools/Output.h"
#include "Tools/ServiceNames.h"
#include "Tools/Status/Advice.h"
#include "Tools/Status/StatusClient.h"
#include "Tools/UnitFindings.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace Tools {

namespace Ipc = Platform::Ipc;

namespace {

const Ipc::ServiceAddress serviceAddress{ServiceNames::service, ServiceNames::object};
constexpr auto launchLimit = std::chrono::seconds(30);
/// Interval for checking whether the unit has failed, which the bus does not report.
constexpr auto unitInterval = std::chrono::seconds(1);

/// Starts an engine of the service by whichever of its two front ends it offers, where none runs.
class Starter {
public:
    explicit Starter(bool startsAnother)
        : startsAnother_(startsAnother), client_({[this](const auto& status) { decide(status); },
                                                  [this](const Failure& failure) { decideWithoutStatus(failure); }}) {}

    ExitStatus run() {
        client_.start();
        return static_cast<ExitStatus>(loop_.run());
    }

private:
    using Failed = std::optional<Ipc::CallFailure>;

    void decide(const std::optional<ServiceStatus>& status) {
        if (std::exchange(hasDecided_, true))
            return;
        const auto* running = status && !startsAnother_ ? runningEngine(*status) : nullptr;
        if (running == nullptr)
            return callEngine();
        // In managed mode a call makes the one engine poll at once.
        const bool asks = status->mode == "managed";
        printMessage("an engine runs already (" + shown(running->state) +
                     (asks ? "), and asks now" : "); --another starts one more"));
        if (asks)
            return callEngine();
        loop_.stop(static_cast<int>(ExitStatus::Success));
    }

    void decideWithoutStatus(const Failure& failure) {
        if (std::exchange(hasDecided_, true))
            return;
        // A service of another version may have no status, or another one.
        if (failure.status() == ExitStatus::Software)
            return callEngine();
        finish(failure.status(), failure.what());
    }

    static const EngineStatus* runningEngine(const ServiceStatus& status) {
        const auto found = std::ranges::find_if(status.engines, [](const EngineStatus& engine) {
            return conditionOf(engine) != Condition::NotStarted && engine.state != "stalled";
        });
        return found == status.engines.end() ? nullptr : &*found;
    }

    void callEngine() {
        limit_ = Platform::Queue::main().timer(launchLimit, [this] { finishLate(); });
        if (unitBus_.open())
            unitTimer_ = Platform::Queue::main().timer(unitInterval, [this] { checkUnit(); });
        call_ = Ipc::callService(serviceAddress, ServiceNames::engineInterface, ServiceNames::engineMethod,
                                 std::nullopt, Platform::Duration::max(), [this](const Failed& failure) {
                                     if (failure && isUnknown(failure->name))
                                         return sendMessage();
                                     finishCall(failure);
                                 });
    }

    /// A bus that fails ends the call as well.
    static Ipc::BusCallbacks ignoringFailures() {
        Ipc::BusCallbacks made;
        made.failed = [](const std::string&) {};
        return made;
    }

    void checkUnit() {
        readUnit(unitBus_, [this](const auto& unit, bool isAll) {
            if (!isAll || !unit)
                return;
            unit_ = *unit;
            if (const auto problem = failureOf(*unit))
                return finish(ExitStatus::Unavailable, "quenmark.service fails, since " + *problem +
                                                           "; see: systemctl --user status quenmark.service");
            unitTimer_ = Platform::Queue::main().timer(unitInterval, [this] { checkUnit(); });
        });
    }

    void finishLate() {
        // A bus whose service file names the unit waits for it, also where the service manager has given up.
        if (unit_.loadState == "not-found")
            return finish(ExitStatus::Unavailable,
                          "quenmark.service, which the bus may launch it by, is not installed");
        if (unit_.activeState == "inactive")
            return finish(ExitStatus::TimedOut, "the bus waits for quenmark.service, which has not been started; run: "
                                                "systemctl --user start quenmark.service");
        finish(ExitStatus::TimedOut, "the service does not answer in time");
    }

    void sendMessage() {
        call_ = Ipc::callService(serviceAddress, ServiceNames::messageInterface, ServiceNames::messageMethod,
                                 Ipc::Value(Ipc::Dictionary()), Platform::Duration::max(),
                                 [this](const Failed& failure) { finishCall(failure); });
    }

    static bool isUnknown(const std::string& error) {
        return error == Ipc::ErrorName::unknownInterface || error == Ipc::ErrorName::unknownMethod ||
               error == Ipc::ErrorName::unknownObject;
    }

    void finishCall(const Failed& failure) {
        // The bus has timed out waiting for a service that it has launched.
        if (failure && failure->name == Ipc::ErrorName::timedOut)
            return finish(ExitStatus::TimedOut, failure->text);
        if (failure)
            return finish(ExitStatus::Unavailable, failure->text);
        loop_.stop(static_cast<int>(ExitStatus::Success));
    }

    void finish(ExitStatus status, const std::string& text) {
        if (std::exchange(isFinished_, true))
            return;
        printMessage("the service cannot be started: " + text);
        loop_.stop(static_cast<int>(status));
    }

    const bool startsAnother_;
    bool hasDecided_ = false;
    bool isFinished_ = false;
    Platform::RunLoop loop_;
    Platform::Timer limit_;
    Platform::Timer unitTimer_;
    UnitFindings unit_;
    Ipc::Bus unitBus_{ignoringFailures()};
    std::unique_ptr<Ipc::ServiceCall> call_;
    StatusClient client_;
};

} // namespace

ExitStatus startEngine(bool startsAnother) {
    return Starter(startsAnother).run();
}

} // namespace Tools
