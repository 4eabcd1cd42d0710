#include "Tools/Status/StatusView.h"

#include <algorithm>
#include <csignal>
#include <utility>

namespace Tools {

namespace {

Moment currentTime() {
    const auto time = std::chrono::system_clock::now().time_since_epoch();
    return {std::chrono::duration_cast<std::chrono::microseconds>(time).count()};
}

} // namespace

bool isDownloading(const std::optional<ServiceStatus>& status) {
    return status && std::ranges::any_of(status->engines, [](const auto& e) { return e.state == "downloading"; });
}

StatusView::StatusView()
    : client_({[this](auto status) { guarded([&] { take(std::move(status)); }); },
               [this](const Failure& failure) { fail(failure); }}) {}

ExitStatus StatusView::run() {
    client_.start();
    const auto status = static_cast<ExitStatus>(loop_.run());
    if (failure_)
        throw Failure(*failure_);
    return status;
}

const StatusReading& StatusView::readingNow() {
    reading_.time = currentTime();
    return reading_;
}

void StatusView::take(std::optional<ServiceStatus> status) {
    reading_.status = std::move(status);
    if (reading_.status)
        reading_.rates.add(*reading_.status, loop_.now());
    show();
}

void StatusView::fail(const Failure& failure) {
    failure_ = failure;
    end(failure.status());
}

LastingView::LastingView()
    : interrupt_(SIGINT, [this] { end(ExitStatus::Success); }),
      termination_(SIGTERM, [this] { end(ExitStatus::Success); }) {}

} // namespace Tools
