#include "Platform/Ipc/BusService.h"

#include "Platform/Ipc/Bus.h"
#include "Platform/Ipc/PropertyObject.h"
#include "Platform/Log.h"

#include <unordered_map>
#include <utility>
#include <vector>

namespace Platform::Ipc {

struct BusService::State : std::enable_shared_from_this<State> {
    State(std::string serviceName, BusObject exported, Queue tasks, PeerFactory factory)
        : name(std::move(serviceName)), object(std::move(exported)), queue(std::move(tasks)),
          makePeer(std::move(factory)) {}

    const std::string name;
    const BusObject object;
    const Queue queue;
    const PeerFactory makePeer;
    EndHandler endHandler;
    std::unordered_map<std::string, std::shared_ptr<ServicePeer>> peers;
    std::vector<std::shared_ptr<PropertyObject>> published;
    /// Null before the service is resumed and once it is destroyed.
    std::shared_ptr<Bus> bus;

    boost::system::result<void, std::string> connect();
    void publishObjects();
    void reachable();
    void reconnect();
    void disconnectPeers();
    void peerSent(const std::string& peer);
    void peerVanished(const std::string& peer);
    void end(const std::string& reason);
};

boost::system::result<void, std::string> BusService::State::connect() {
    BusCallbacks callbacks;
    callbacks.failed = [this](const std::string& reason) { end(reason); };
    callbacks.nameClaimed = [this] { reachable(); };
    callbacks.disconnected = [this] { reconnect(); };
    callbacks.peerSent = [this](const std::string& peer) { peerSent(peer); };
    // The bus reports every sender before it dispatches what was sent.
    callbacks.called = [this](IncomingCall call) {
        const auto peer = peers.at(call.sender());
        peer->receive(std::move(call));
    };
    callbacks.ownerChanged = [this](const std::string& vanished, const auto&) { peerVanished(vanished); };
    bus = std::make_shared<Bus>(std::move(callbacks));
    if (auto opened = bus->open(); !opened)
        return opened;
    bus->exportObject(object);
    publishObjects();
    bus->watchVanishingNames();
    bus->claimName(name);
    return {};
}

void BusService::State::publishObjects() {
    for (const auto& properties : published) {
        bus->publish(properties);
        properties->bus_ = bus;
    }
}

void BusService::State::reachable() {
    for (const auto& properties : published) {
        if (properties->reachable_)
            properties->reachable_();
    }
}

void BusService::State::reconnect() {
    disconnectPeers();
    queue.async([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self || !self->bus)
            return;
        Log::write("The connection to the session bus was cut and is made again", Log::Priority::Warning);
        if (!self->connect())
            self->end(Bus::lost);
    });
}

void BusService::State::disconnectPeers() {
    for (const auto& [peerName, peer] : std::exchange(peers, {}))
        peer->peerDisconnected();
}

void BusService::State::peerSent(const std::string& peer) {
    if (!peers.contains(peer))
        peers.emplace(peer, makePeer(peer));
}

void BusService::State::peerVanished(const std::string& peer) {
    if (const auto entry = peers.extract(peer))
        entry.mapped()->peerDisconnected();
}

void BusService::State::end(const std::string& reason) {
    disconnectPeers();
    Queue::main().async([weak = weak_from_this(), reason] {
        const auto self = weak.lock();
        if (self && self->bus && self->endHandler)
            self->endHandler(reason);
    });
}

BusService::BusService(std::string name, BusObject object, Queue queue, PeerFactory makePeer)
    : state_(std::make_shared<State>(std::move(name), std::move(object), std::move(queue), std::move(makePeer))) {}

BusService::~BusService() {
    // A task of the service may be running, and own the state.
    state_->bus.reset();
    state_->peers.clear();
}

void BusService::setEndHandler(EndHandler handler) {
    state_->endHandler = std::move(handler);
}

void BusService::publish(std::shared_ptr<PropertyObject> object) {
    state_->published.push_back(std::move(object));
}

void BusService::resume() {
    if (const auto connected = state_->connect(); !connected)
        state_->end(connected.error());
}

std::weak_ptr<Bus> BusService::bus() const {
    return state_->bus;
}

void BusService::announceTermination() const {
    for (const auto& [peerName, peer] : state_->peers)
        peer->processEnds();
}

} // namespace Platform::Ipc
