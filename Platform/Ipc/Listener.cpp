#include "Platform/Ipc/Listener.h"

#include "Platform/Ipc/Bus.h"
#include "Platform/Log.h"

#include <unordered_map>

namespace Platform::Ipc {

struct Listener::State : std::enable_shared_from_this<State> {
    State(Listener& owner, ServiceAddress where, Interface what)
        : listener(&owner), address(std::move(where)), interface(std::move(what)),
          queue(Queue::serial(address.name + ".listener")) {}

    /// Nullptr once the listener has gone.
    Listener* listener;
    const ServiceAddress address;
    const Interface interface;
    const Queue queue;
    ListenerDelegate* delegate = nullptr;
    std::function<void(const std::string&)> endHandler;
    std::unordered_map<std::string, std::shared_ptr<Connection>> connections;
    std::unique_ptr<Bus> bus;

    void resume();
    std::optional<std::string> goToBus();
    void returnToBus();
    void dismissAll();
    void meet(const std::string& peer);
    void decide(const std::shared_ptr<Connection>& connection);
    void receive(IncomingCall call);
    void forget(const std::string& peer);
    void end(const std::string& reason);
};

void Listener::State::resume() {
    if (const auto reason = goToBus())
        end(*reason);
}

/// The reason why there is none, or nil.
std::optional<std::string> Listener::State::goToBus() {
    BusHandlers handlers;
    handlers.ended = [this](const std::string& reason) { end(reason); };
    handlers.cut = [this] { returnToBus(); };
    handlers.peerSent = [this](const std::string& peer) { meet(peer); };
    handlers.called = [this](IncomingCall call) { receive(std::move(call)); };
    handlers.ownerChanged = [this](const std::string& name, const auto&) { forget(name); };
    bus = std::make_unique<Bus>(std::move(handlers));
    if (auto reason = bus->open())
        return reason;
    std::vector<BusMethod> methods;
    for (const auto& method : interface.methods)
        methods.push_back({method, "", {}, true});
    bus->exportObject(address.objectPath, interface.name, methods);
    bus->watchVanishingNames();
    bus->claimName(address.name);
    return std::nullopt;
}

void Listener::State::returnToBus() {
    dismissAll();
    queue.async([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self || self->listener == nullptr)
            return;
        Log::write("The connection to the session bus was cut and is made again", Log::Priority::Warning);
        if (self->goToBus())
            self->end(Bus::lost);
    });
}

void Listener::State::dismissAll() {
    for (const auto& [peer, connection] : connections)
        connection->peerHasLeft();
    connections.clear();
}

void Listener::State::meet(const std::string& peer) {
    auto& connection = connections[peer];
    if (connection)
        return;
    connection = std::make_shared<Connection>(peer, Queue::serial(address.name + peer));
    queue.async([weak = weak_from_this(), accepted = connection] {
        if (const auto self = weak.lock())
            self->decide(accepted);
    });
}

void Listener::State::decide(const std::shared_ptr<Connection>& connection) {
    // Whatever the delegate does, nobody is left waiting.
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

void Listener::State::receive(IncomingCall call) {
    // The bus tells of every sender before it hands on what was sent.
    const auto& connection = connections.at(call.sender());
    connection->receive(std::move(call));
}

void Listener::State::forget(const std::string& peer) {
    const auto found = connections.find(peer);
    if (found == connections.end())
        return;
    found->second->peerHasLeft();
    connections.erase(found);
}

void Listener::State::end(const std::string& reason) {
    dismissAll();
    Queue::main().async([weak = weak_from_this(), reason] {
        const auto self = weak.lock();
        if (self && self->listener != nullptr && self->endHandler)
            self->endHandler(reason);
    });
}

Listener::Listener(ServiceAddress address, Interface interface)
    : state_(std::make_shared<State>(*this, std::move(address), std::move(interface))) {}

Listener::~Listener() {
    // A task of the listener may be running, and hold the state.
    state_->listener = nullptr;
    state_->bus.reset();
    state_->connections.clear();
}

void Listener::setDelegate(ListenerDelegate* delegate) {
    state_->delegate = delegate;
}

void Listener::setEndHandler(std::function<void(const std::string& reason)> handler) {
    state_->endHandler = std::move(handler);
}

void Listener::resume() {
    state_->resume();
}

const Queue& Listener::queue() const {
    return state_->queue;
}

} // namespace Platform::Ipc
