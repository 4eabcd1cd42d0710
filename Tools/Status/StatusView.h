#pragma once

#include "Platform/Loop/RunLoop.h"
#include "Platform/Loop/Signals.h"
#include "Tools/Status/StatusClient.h"
#include "Tools/Status/StatusText.h"

#include <chrono>
#include <optional>

namespace Tools {

/// Whether an engine downloads: its rate changes without anything that the service announces.
bool isDownloading(const std::optional<ServiceStatus>& status);

/// Shows what is read of the service's status, on a loop of its own. The first failure ends the loop.
class StatusView {
public:
    StatusView();
    StatusView(const StatusView&) = delete;
    StatusView& operator=(const StatusView&) = delete;
    virtual ~StatusView() = default;

    /// Runs until `end` is called. To be called once. Throws Failure.
    ExitStatus run();

protected:
    /// Sampling interval of download rates, and redraw interval.
    static constexpr auto interval = std::chrono::seconds(1);

    /// The status has been read, for the first time or anew. May throw Failure.
    virtual void show() = 0;

    /// What was read last, and the time.
    const StatusReading& readingNow();
    void readAgain() { client_.readAgain(); }
    void end(ExitStatus status) { loop_.stop(static_cast<int>(status)); }
    /// Runs what may throw Failure, which then ends the loop.
    template <class Function>
    void guarded(const Function& function) {
        try {
            function();
        } catch (const Failure& failure) {
            fail(failure);
        }
    }

private:
    void take(std::optional<ServiceStatus> status);
    void fail(const Failure& failure);

    Platform::RunLoop loop_;
    std::optional<Failure> failure_;
    StatusReading reading_;
    StatusClient client_;
};

/// A view that lasts until SIGINT or SIGTERM, and then ends with Success.
class LastingView : public StatusView {
protected:
    LastingView();

private:
    Platform::SignalWatch interrupt_;
    Platform::SignalWatch termination_;
};

} // namespace Tools
