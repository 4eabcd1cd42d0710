#include "Platform/Ipc/Listener.h"

#include <string>
#include <utility>

namespace Platform::Ipc {

namespace {

BusObject busObject(const ServiceAddress& address, const Interface& interface) {
    BusObject object{address.objectPath, interface.name, {}};
    for (const auto& method : interface.methods)
        object.methods.push_back({method, "", {}, true});
    return object;
}

} // namespace

struct Listener::State : std::enable_shared_from_this<State> {
    State(Listener& owner, std::string serviceName)
        : listener(&owner), name(std::move(serviceName)), queue(Queue::serial(name + ".listener")) {}

    /// Null once the listener is destroyed.
    Listener* listener;
    const std::string name;
    const Queue queue;
    ListenerDelegate* delegate = nullptr;

    std::shared_ptr<Connection> makeConnection(const std::string& peer);
    void decide(const std::shared_ptr<Connection>& connection);
};

std::shared_ptr<Connection> Listener::State::makeConnection(const std::string& peer) {
    auto connection = std::make_shared<Connection>(peer, Queue::serial(name + peer));
    queue.async([weak = weak_from_this(), connection] {
        if (const auto self = weak.lock())
            self->decide(connection);
    });
    return connection;
}

void Listener::State::decide(const std::shared_ptr<Connection>& connection) {
    // Whatever the delegate does, no caller is left without a reply.
    try {
        if (listener != nullptr && delegate != nullptr &&
            delegate->listenerShouldAcceptNewConnection(*listener, connection))
            return;
    } catch (...) {
        connection->refuse();
        throw;
    }
    connection->refuse();
}

Listener::Listener(ServiceAddress address, Interface interface)
    : state_(std::make_shared<State>(*this, address.name)),
      service_(address.name, busObject(address, interface), state_->queue,
               [state = state_.get()](const std::string& peer) { return state->makeConnection(peer); }) {}

Listener::~Listener() {
    // A task of the listener may be running, and own the state.
    state_->listener = nullptr;
}

void Listener::setDelegate(ListenerDelegate* delegate) {
    state_->delegate = delegate;
}

void Listener::publish(std::shared_ptr<PropertyObject> object) {
    service_.publish(std::move(object));
}

void Listener::setEndHandler(BusService::EndHandler handler) {
    service_.setEndHandler(std::move(handler));
}

void Listener::resume() {
    service_.resume();
}

const Queue& Listener::queue() const {
    return state_->queue;
}

} // namespace Platform::Ipc
