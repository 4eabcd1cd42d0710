#include "Tools/ServiceStop.h"

#include "Platform/Ipc/ErrorNames.h"
#include "Platform/Process.h"
#include "Tools/ServiceNames.h"

#include <cerrno>
#include <utility>
#include <variant>

namespace Tools {

namespace Ipc = Platform::Ipc;
using Ipc::PeerIdentity;

std::optional<std::string> reasonNotToEnd(const PeerIdentity& service, const PeerIdentity& own,
                                          std::uint64_t ownProcess) {
    if (service.process == PeerIdentity::unset || service.effectiveUser == PeerIdentity::unset)
        return "the session bus does not tell its process";
    if (own.process != ownProcess)
        return "the session bus is that of another machine or container";
    if (service.effectiveUser != own.effectiveUser)
        return "it belongs to user " + std::to_string(service.effectiveUser);
    return std::nullopt;
}

ServiceStop::ServiceStop(std::function<void(const Outcome&)> finished)
    : finished_(std::move(finished)), bus_(callbacks()) {}

Ipc::BusCallbacks ServiceStop::callbacks() {
    Ipc::BusCallbacks made;
    made.failed = [this](const std::string& reason) { fail(ExitStatus::Unavailable, reason); };
    made.ownerChanged = [this](const std::string&, const auto& owner) { setOwner(owner); };
    return made;
}

void ServiceStop::start() {
    if (const auto opened = bus_.open(); !opened)
        return fail(ExitStatus::Unavailable, opened.error());
    limit_ = Platform::Queue::main().timer(limit, [this] {
        fail(ExitStatus::TimedOut, owner_ ? "it has not ended in time" : "the session bus does not answer in time");
    });
    bus_.watchOwner(ServiceNames::service);
    bus_.callBus("GetNameOwner", ServiceNames::service, [this](const Ipc::Bus::Reply& reply) {
        const auto* failure = std::get_if<Ipc::CallFailure>(&reply);
        if (failure != nullptr && failure->name == Ipc::ErrorName::nameHasNoOwner)
            return finish({});
        if (failure != nullptr)
            return fail(ExitStatus::Unavailable, failure->text);
        const auto* owner = std::get<Ipc::Value>(reply).as<std::string>();
        owner_ = owner == nullptr ? "" : *owner;
        identify(*owner_, [this](const PeerIdentity& service) {
            identify(bus_.uniqueName().value_or(""),
                     [this, service](const PeerIdentity& own) { terminate(service, own); });
        });
    });
}

void ServiceStop::identify(const std::string& name, std::function<void(const PeerIdentity& identity)> identified) {
    bus_.callBus("GetConnectionCredentials", name,
                 [this, identified = std::move(identified)](const Ipc::Bus::Reply& reply) {
                     if (const auto* credentials = std::get_if<Ipc::Value>(&reply))
                         return identified(Ipc::peerIdentity(*credentials));
                     const auto& failure = std::get<Ipc::CallFailure>(reply);
                     // A service that has left meanwhile is reported besides.
                     if (failure.name != Ipc::ErrorName::nameHasNoOwner)
                         fail(ExitStatus::Unavailable, failure.text);
                 });
}

void ServiceStop::terminate(const PeerIdentity& service, const PeerIdentity& own) {
    if (isFinished_)
        return;
    if (const auto reason = reasonNotToEnd(service, own, Platform::Process::ownIdentifier()))
        return fail(ExitStatus::Unavailable, *reason);
    const auto error = Platform::Process::terminate(service.process);
    // One that has ended already leaves the bus.
    if (error && error->code != ESRCH)
        fail(ExitStatus::Unavailable, error->localizedDescription);
}

void ServiceStop::setOwner(const std::optional<std::string>& owner) {
    if (!owner)
        return finish({true, std::nullopt});
    if (owner_ && owner != owner_)
        fail(ExitStatus::TimedOut, "another process has its name now");
}

void ServiceStop::fail(ExitStatus status, const std::string& text) {
    finish({true, Failure(status, "the service cannot be ended: " + text)});
}

void ServiceStop::finish(const Outcome& outcome) {
    limit_.cancel();
    if (!std::exchange(isFinished_, true))
        finished_(outcome);
}

} // namespace Tools
