#pragma once

#include "Platform/Ipc/Bus.h"
#include "Platform/Loop/Queue.h"
#include "Tools/Failure.h"
#include "Tools/Status/ServiceStatus.h"
#include "Tools/Status/StatusClient.h"
#include "Tools/UnitFindings.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace Tools {

/// What the session bus and the programs on it say.
struct BusFindings {
    /// Why the bus cannot be queried; the other members are unknown then.
    std::optional<std::string> busError;
    bool canLaunchService = false;
    /// Nil where no user manager is on the bus.
    std::optional<UnitFindings> unit;
    bool isRunning = false;
    /// The status of a running service; nil where it does not report one.
    std::optional<ServiceStatus> status;
    /// Why it does not report one.
    std::string statusError;
};

/// Queries the session bus; launches nothing.
class BusProbe {
public:
    /// Timeout for all replies together; the service's own is `StatusClient::replyTimeout`.
    static constexpr auto limit = std::chrono::seconds(15);

    /// `finished` is called once, on the main queue.
    explicit BusProbe(std::function<void(const BusFindings& findings)> finished);

    /// To be called once.
    void start();

private:
    Platform::Ipc::BusCallbacks callbacks();
    void takeActivatableNames(const Platform::Ipc::Bus::Reply& reply);
    void takeStatus(const std::optional<ServiceStatus>& status);
    void takeStatusFailure(const Failure& failure);
    void replyReceived();
    void failBus(const std::string& reason);
    void finish();

    std::function<void(const BusFindings&)> finished_;
    BusFindings findings_;
    bool isFinished_ = false;
    bool hasNames_ = false;
    bool hasStatus_ = false;
    /// Including the status.
    int pendingReplies_ = 0;
    Platform::Timer limit_;
    Platform::Timer end_;
    Platform::Ipc::Bus bus_;
    StatusClient status_;
};

} // namespace Tools
