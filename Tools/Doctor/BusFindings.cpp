#include "Tools/Doctor/BusFindings.h"

#include "Tools/ServiceNames.h"

#include <algorithm>
#include <utility>
#include <variant>

namespace Tools {

namespace Ipc = Platform::Ipc;

namespace {

// D-Bus Specification, "Message Bus Messages".
const Ipc::BusTarget activatableNames{"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                      "ListActivatableNames"};

} // namespace

BusProbe::BusProbe(std::function<void(const BusFindings&)> finished)
    : finished_(std::move(finished)), bus_(callbacks()),
      status_({[this](const auto& status) { takeStatus(status); },
               [this](const Failure& failure) { takeStatusFailure(failure); }}) {}

Ipc::BusCallbacks BusProbe::callbacks() {
    Ipc::BusCallbacks made;
    made.failed = [this](const std::string& reason) { failBus(reason); };
    return made;
}

void BusProbe::start() {
    if (const auto opened = bus_.open(); !opened)
        return failBus(opened.error());
    limit_ = Platform::Queue::main().timer(limit, [this] {
        if (!hasNames_)
            return failBus("the session bus does not answer in time");
        finish();
    });
    pendingReplies_ = 3;
    bus_.call(activatableNames, std::nullopt, Platform::Duration::max(),
              [this](const Ipc::Bus::Reply& reply) { takeActivatableNames(reply); });
    readUnit(bus_, [this](const auto& unit, bool isAll) {
        findings_.unit = unit;
        if (isAll)
            replyReceived();
    });
    status_.start();
}

void BusProbe::takeActivatableNames(const Ipc::Bus::Reply& reply) {
    hasNames_ = true;
    const auto* value = std::get_if<Ipc::Value>(&reply);
    const auto* names = value == nullptr ? nullptr : value->as<Ipc::Array>();
    findings_.canLaunchService =
        names != nullptr && std::ranges::find(*names, Ipc::Value(ServiceNames::service)) != names->end();
    replyReceived();
}

void BusProbe::takeStatus(const std::optional<ServiceStatus>& status) {
    findings_.isRunning = status.has_value();
    findings_.status = status;
    if (!std::exchange(hasStatus_, true))
        replyReceived();
}

void BusProbe::takeStatusFailure(const Failure& failure) {
    if (failure.status() == ExitStatus::Unavailable)
        return failBus(failure.what());
    findings_.isRunning = true;
    findings_.status.reset();
    findings_.statusError = failure.what();
    if (!std::exchange(hasStatus_, true))
        replyReceived();
}

void BusProbe::replyReceived() {
    if (--pendingReplies_ == 0)
        finish();
}

void BusProbe::failBus(const std::string& reason) {
    findings_ = {};
    findings_.busError = reason;
    finish();
}

void BusProbe::finish() {
    limit_.cancel();
    if (std::exchange(isFinished_, true))
        return;
    // The bus may be at work on a message, during which nothing may destroy it.
    end_ = Platform::Queue::main().timer({}, [this, findings = std::move(findings_)] { finished_(findings); });
}

} // namespace Tools
