#include "Platform/Ipc/ServiceRoute.h"

#include "Platform/Log.h"

namespace Platform::Ipc {

namespace {
constexpr const char* accessDenied = "org.freedesktop.DBus.Error.AccessDenied";
} // namespace

std::shared_ptr<MessageConnection> MessageConnection::toService(const MessageAddress& address) {
    auto connection = std::make_shared<MessageConnection>(address.service.name);
    const auto route = std::make_shared<ServiceRoute>(address, connection);
    connection->setRoute(route);
    connection->activate();
    route->open();
    return connection;
}

ServiceRoute::ServiceRoute(MessageAddress address, std::weak_ptr<MessageConnection> connection)
    : address_(std::move(address)), connection_(std::move(connection)), bus_(handlers()) {}

BusHandlers ServiceRoute::handlers() {
    BusHandlers handlers;
    handlers.ended = [this](const std::string&) { tell(ConnectionError::Kind::Invalid); };
    handlers.called = [this](IncomingCall call) { receive(std::move(call)); };
    handlers.ownerChanged = [this](const std::string&, const auto& owner) { setOwner(owner); };
    return handlers;
}

void ServiceRoute::tell(ConnectionError::Kind kind) {
    if (const auto connection = connection_.lock())
        connection->receive(kind);
}

void ServiceRoute::open() {
    if (!Bus::isServiceName(address_.service.name)) {
        Log::write("No service can have the name \"" + address_.service.name + "\"");
        return tell(ConnectionError::Kind::Invalid);
    }
    if (bus_.open())
        return tell(ConnectionError::Kind::Invalid);
    bus_.exportObject(address_.service.objectPath, address_.interface, {{"Message", "v", {"message"}, false}});
    bus_.watchOwner(address_.service.name);
    bus_.callBus("GetNameOwner", address_.service.name, [this](const Bus::Answer& answer) {
        const auto* value = std::get_if<Value>(&answer);
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
        tell(ConnectionError::Kind::Interrupted);
    if (owner_)
        identify(*owner_);
}

void ServiceRoute::identify(const std::string& owner) {
    bus_.callBus("GetConnectionCredentials", owner, [this](const Bus::Answer& answer) {
        const auto* credentials = std::get_if<Value>(&answer);
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
        call.fail(accessDenied, "only " + address_.service.name + " may send to this connection");
}

void ServiceRoute::start() {
    starting_ = true;
    bus_.startService(address_.service.name, [this](const Bus::Answer& answer) {
        starting_ = false;
        const auto* failure = std::get_if<CallFailure>(&answer);
        if (failure == nullptr)
            return;
        Log::write(address_.service.name + " cannot be launched: " + failure->text, Log::Priority::Error);
        tell(ConnectionError::Kind::Invalid);
    });
}

void ServiceRoute::send(const Value& message) {
    // A message to a service that does not run waits at the bus; only this call tells where none comes to take it.
    if (!owner_ && !starting_)
        start();
    const BusTarget target{address_.service.name, address_.service.objectPath, address_.interface, "Message"};
    if (const auto reason = bus_.send(target, message))
        Log::write("A message to " + address_.service.name + " cannot be sent: " + *reason, Log::Priority::Error);
}

} // namespace Platform::Ipc
