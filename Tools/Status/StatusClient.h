#pragma once

#include "Platform/Ipc/Bus.h"
#include "Platform/Loop/Queue.h"
#include "Tools/Failure.h"
#include "Tools/Status/ServiceStatus.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace Tools {

/// Reads the service's status over the session bus, and reads it anew whenever the service announces a change, starts
/// or ends. Never launches it.
class StatusClient {
public:
    /// Timeout for each reply of the bus or the service.
    static constexpr auto replyTimeout = std::chrono::seconds(10);

    /// Neither may throw, or destroy the client.
    struct Handlers {
        /// Gets the status; nil where the service does not run.
        std::function<void(std::optional<ServiceStatus> status)> read;
        /// Gets why nothing more can be read: there is no bus (Unavailable), no reply arrives in time (TimedOut), or
        /// the reply is not a status (Software). Called once, and nothing is called afterwards.
        std::function<void(const Failure& failure)> failed;
    };

    explicit StatusClient(Handlers handlers);

    /// Begins to read. To be called once.
    void start();
    /// Reads the status anew, where the service runs and it is not being read already.
    void readAgain();

private:
    Platform::Ipc::BusCallbacks callbacks();
    void setOwner(const std::optional<std::string>& owner);
    void read();
    void take(const Platform::Ipc::Bus::Reply& reply);
    void fail(ExitStatus status, const std::string& text);

    Handlers handlers_;
    bool hasFailed_ = false;
    /// The unique name of the service; nil while it does not run.
    std::optional<std::string> owner_;
    /// The number of the latest read; replies to earlier ones are ignored.
    int reads_ = 0;
    bool isReading_ = false;
    /// Whether the status has changed since the read was sent.
    bool hasChanged_ = false;
    Platform::Timer limit_;
    Platform::Ipc::Bus bus_;
};

} // namespace Tools
