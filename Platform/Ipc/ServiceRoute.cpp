#include "Platform/Ipc/ServiceRoute.h"

#include "Platform/Ipc/ErrorNames.h"
#include "Platform/Log.h"

namespace Platform::Ipc {

std::shared_ptr<MessageConnection> MessageConnection::toService(const MessageAddress& address) {
    auto connection = std::make_shared<MessageConnection>(address.service.name);
    const auto route = std::make_shared<ServiceRoute>(address, connection);
    connection->setRoute(route);
    connection->activate();
    route->open();
    return connection;
}

ServiceRoute::ServiceRoute(MessageAddress address, std::weak_ptr<MessageConnection> connection)
    : address_(std::move(address)), connection_(std::move(connection)), bus_(callbacks()) {}

BusCallbacks ServiceRoute::callbacks() {
    BusCallbacks callbacks;
    callbacks.failed = [this](const std::string&) { report(ConnectionError::Kind::Invalid); };
    callbacks.called = [this](IncomingCall call) { receive(std::move(call)); };
    callbacks.ownerChanged = [this](const std::string&, const auto& owner) { setOwner(owner); };
    return callbacks;
}

void ServiceRoute::report(ConnectionError::Kind kind) {
    if (const auto connection = connection_.lock())
        connection->receive(kind);
}

void ServiceRoute::open() {
    if (!Bus::isServiceName(address_.service.name)) {
        Log::write("No service can have the name \"" + address_.service.name + "\"");
        return report(ConnectionError::Kind::Invalid);
    }
    if (!bus_.open())
        return report(ConnectionError::Kind::Invalid);
    bus_.exportObject(messageObject(address_));
    bus_.watchOwner(address_.service.name);
    bus_.callBus("GetNameOwner", address_.service.name, [this](const Bus::Reply& reply) {
        const auto* value = std::get_if<Value>(&reply);
        const auto* owner = value == nullptr ? nullptr : value->as<std::string>();
        if (owner != nullptr)
            setOwner(*owner);
    });
}

void ServiceRoute::setOwner(const std::optional<std::string>& owner) {
    if (owner_ == owner)
        return;
    const bool interrupted = owner_.has_value();
    owner_ = owner;
    if (interrupted)
        report(ConnectionError::Kind::Interrupted);
    if (owner_)
        identify(*owner_);
}

void ServiceRoute::identify(const std::string& owner) {
    bus_.callBus("GetConnectionCredentials", owner, [this](const Bus::Reply& reply) {
        const auto* credentials = std::get_if<Value>(&reply);
        const auto connection = connection_.lock();
        if (credentials != nullptr && connection)
            connection->setIdentity(peerIdentity(*credentials));
    });
}

void ServiceRoute::receive(IncomingCall call) {
    const auto connection = connection_.lock();
    if (connection && owner_ && call.sender() == *owner_)
        connection->receive(std::move(call));
    else
        call.fail(ErrorName::accessDenied, "only " + address_.service.name + " may send to this connection");
}

void ServiceRoute::start() {
    starting_ = true;
    bus_.startService(address_.service.name, [this](const Bus::Reply& reply) {
        starting_ = false;
        const auto* failure = std::get_if<CallFailure>(&reply);
        if (failure == nullptr)
            return;
        Log::write(address_.service.name + " cannot be launched: " + failure->text, Log::Priority::Error);
        report(ConnectionError::Kind::Invalid);
    });
}

void ServiceRoute::send(const Value& message) {
    // The bus queues a message to a service that does not run; only this call fails where the service cannot start.
    if (!owner_ && !starting_)
        start();
    const BusTarget target{address_.service.name, address_.service.objectPath, address_.interface, "Message"};
    if (const auto sent = bus_.send(target, message); !sent)
        Log::write("A message to " + address_.service.name + " cannot be sent: " + sent.error(), Log::Priority::Error);
}

} // namespace Platform::Ipc
