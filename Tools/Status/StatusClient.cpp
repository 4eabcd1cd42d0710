#include "Tools/Status/StatusClient.h"

#include "Platform/Ipc/ErrorNames.h"
#include "Tools/ServiceNames.h"

#include <algorithm>
#include <utility>
#include <variant>

namespace Tools {

namespace Ipc = Platform::Ipc;

namespace {

/// Errors by which the bus says that a peer is no longer there (D-Bus Specification, "Message Bus Messages").
bool saysThatThePeerHasLeft(const Ipc::CallFailure& failure) {
    return failure.name == Ipc::ErrorName::nameHasNoOwner || failure.name == Ipc::ErrorName::serviceUnknown ||
           failure.name == Ipc::ErrorName::noReply;
}

} // namespace

StatusClient::StatusClient(Handlers handlers) : handlers_(std::move(handlers)), bus_(callbacks()) {}

Ipc::BusCallbacks StatusClient::callbacks() {
    Ipc::BusCallbacks made;
    made.failed = [this](const std::string& reason) { fail(ExitStatus::Unavailable, reason); };
    made.ownerChanged = [this](const std::string&, const auto& owner) { setOwner(owner); };
    made.propertiesChanged = [this](const std::string& peer) {
        if (peer != owner_)
            return;
        hasChanged_ = true;
        readAgain();
    };
    return made;
}

void StatusClient::start() {
    if (const auto opened = bus_.open(); !opened)
        return fail(ExitStatus::Unavailable, opened.error());
    limit_ = Platform::Queue::main().timer(
        replyTimeout, [this] { fail(ExitStatus::TimedOut, "the session bus does not answer in time"); });
    bus_.watchOwner(ServiceNames::service);
    bus_.watchProperties(ServiceNames::statusObject, ServiceNames::statusInterface);
    bus_.callBus("GetNameOwner", ServiceNames::service, [this](const Ipc::Bus::Reply& reply) {
        const auto* failure = std::get_if<Ipc::CallFailure>(&reply);
        if (failure != nullptr && !saysThatThePeerHasLeft(*failure))
            return fail(ExitStatus::Unavailable, failure->text);
        const auto* value = std::get_if<Ipc::Value>(&reply);
        const auto* owner = value == nullptr ? nullptr : value->as<std::string>();
        setOwner(owner == nullptr ? std::nullopt : std::optional(*owner));
    });
}

void StatusClient::setOwner(const std::optional<std::string>& owner) {
    owner_ = owner;
    ++reads_;
    isReading_ = false;
    if (owner_)
        return read();
    limit_.cancel();
    if (!hasFailed_)
        handlers_.read(std::nullopt);
}

void StatusClient::readAgain() {
    if (owner_ && !isReading_)
        read();
}

void StatusClient::read() {
    isReading_ = true;
    hasChanged_ = false;
    limit_ = Platform::Queue::main().timer(
        replyTimeout, [this] { fail(ExitStatus::TimedOut, "the service does not answer in time"); });
    bus_.readProperties(*owner_, ServiceNames::statusObject, ServiceNames::statusInterface,
                        [this, number = ++reads_](const Ipc::Bus::Reply& reply) {
                            if (number == reads_)
                                take(reply);
                        });
}

void StatusClient::take(const Ipc::Bus::Reply& reply) {
    if (const auto* failure = std::get_if<Ipc::CallFailure>(&reply)) {
        // The change of the owner is reported besides.
        if (saysThatThePeerHasLeft(*failure))
            return;
        return fail(ExitStatus::Software, "the service does not tell its status: " + failure->text);
    }
    auto status = serviceStatus(std::get<Ipc::Value>(reply));
    if (const auto* error = std::get_if<std::string>(&status))
        return fail(ExitStatus::Software, "the service's status cannot be read: " + *error);
    isReading_ = false;
    limit_.cancel();
    if (!hasFailed_)
        handlers_.read(std::get<ServiceStatus>(std::move(status)));
    if (hasChanged_)
        readAgain();
}

void StatusClient::fail(ExitStatus status, const std::string& text) {
    limit_.cancel();
    if (!std::exchange(hasFailed_, true))
        handlers_.failed(Failure(status, text));
}

} // namespace Tools
