#include "Platform/Ipc/MessageService.h"

#include "Platform/Ipc/Bus.h"
#include "Platform/Log.h"
#include "Platform/RunLoop.h"
#include "Platform/Signals.h"

#include <sysexits.h>

#include <csignal>
#include <unordered_map>

namespace Platform::Ipc {

namespace {

/// A service's way to one peer.
class PeerRoute final : public MessageRoute {
public:
    PeerRoute(std::weak_ptr<Bus> bus, BusTarget target) : bus_(std::move(bus)), target_(std::move(target)) {}

    void send(const Value& message) override {
        const auto bus = bus_.lock();
        if (!bus)
            return;
        if (const auto reason = bus->send(target_, message))
            Log::write("A message to " + target_.destination + " cannot be sent: " + *reason, Log::Priority::Error);
    }

private:
    const std::weak_ptr<Bus> bus_;
    const BusTarget target_;
};

} // namespace

struct MessageService::State : std::enable_shared_from_this<State> {
    State(MessageAddress where, ConnectionHandler what)
        : address(std::move(where)), connectionHandler(std::move(what)) {}

    const MessageAddress address;
    ConnectionHandler connectionHandler;
    std::function<void(const std::string&)> endHandler;
    std::unordered_map<std::string, std::shared_ptr<MessageConnection>> connections;
    std::shared_ptr<Bus> bus;

    void resume();
    std::optional<std::string> goToBus();
    void returnToBus();
    void dismissAll();
    void meet(const std::string& peer);
    void introduce(const std::shared_ptr<MessageConnection>& connection);
    void forget(const std::string& peer);
    void tellAll(ConnectionError::Kind kind);
    void end(const std::string& reason);
};

void MessageService::State::resume() {
    if (const auto reason = goToBus())
        end(*reason);
}

/// The reason why there is none, or nil.
std::optional<std::string> MessageService::State::goToBus() {
    BusHandlers handlers;
    handlers.ended = [this](const std::string& reason) { end(reason); };
    handlers.cut = [this] { returnToBus(); };
    handlers.peerSent = [this](const std::string& peer) { meet(peer); };
    // The bus tells of every sender before it hands on what was sent.
    handlers.called = [this](IncomingCall call) {
        const auto& connection = connections.at(call.sender());
        connection->receive(std::move(call));
    };
    handlers.ownerChanged = [this](const std::string& name, const auto&) { forget(name); };
    bus = std::make_shared<Bus>(std::move(handlers));
    if (auto reason = bus->open())
        return reason;
    bus->exportObject(address.service.objectPath, address.interface, {{"Message", "v", {"message"}, false}});
    bus->watchVanishingNames();
    bus->claimName(address.service.name);
    return std::nullopt;
}

void MessageService::State::returnToBus() {
    dismissAll();
    Queue::main().async([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self || !self->bus)
            return;
        Log::write("The connection to the session bus was cut and is made again", Log::Priority::Warning);
        if (self->goToBus())
            self->end(Bus::lost);
    });
}

void MessageService::State::dismissAll() {
    tellAll(ConnectionError::Kind::Invalid);
    connections.clear();
}

void MessageService::State::meet(const std::string& peer) {
    auto& connection = connections[peer];
    if (connection)
        return;
    connection = std::make_shared<MessageConnection>(peer);
    connection->setRoute(
        std::make_shared<PeerRoute>(bus, BusTarget{peer, address.service.objectPath, address.interface, "Message"}));
    // Whoever handles the connection may ask who the peer is, and gets the answer at once.
    bus->callBus("GetConnectionCredentials", peer, [this, introduced = connection](const Bus::Answer& answer) {
        if (const auto* credentials = std::get_if<Value>(&answer))
            introduced->setIdentity(peerIdentity(*credentials));
        introduce(introduced);
    });
}

void MessageService::State::introduce(const std::shared_ptr<MessageConnection>& connection) {
    Queue::main().async([weak = weak_from_this(), connection] {
        if (const auto self = weak.lock())
            self->connectionHandler(connection);
    });
    Queue::main().async([connection] { connection->activate(); });
}

void MessageService::State::forget(const std::string& peer) {
    const auto found = connections.find(peer);
    if (found == connections.end())
        return;
    found->second->receive(ConnectionError::Kind::Invalid);
    connections.erase(found);
}

void MessageService::State::tellAll(ConnectionError::Kind kind) {
    for (const auto& [peer, connection] : connections)
        connection->receive(kind);
}

void MessageService::State::end(const std::string& reason) {
    dismissAll();
    Queue::main().async([weak = weak_from_this(), reason] {
        const auto self = weak.lock();
        if (self && self->endHandler)
            self->endHandler(reason);
    });
}

MessageService::MessageService(MessageAddress address, ConnectionHandler handler)
    : state_(std::make_shared<State>(std::move(address), std::move(handler))) {}

MessageService::~MessageService() {
    // A task of the service may be running, and hold the state.
    state_->bus.reset();
    state_->connections.clear();
}

void MessageService::setEndHandler(std::function<void(const std::string& reason)> handler) {
    state_->endHandler = std::move(handler);
}

void MessageService::resume() {
    state_->resume();
}

void MessageService::announceTermination() {
    state_->tellAll(ConnectionError::Kind::TerminationImminent);
}

int runMessageService(const MessageAddress& address, MessageService::ConnectionHandler handler) {
    RunLoop& loop = RunLoop::main();
    MessageService service(address, std::move(handler));
    service.setEndHandler([&](const std::string& reason) {
        Log::write(reason, Log::Priority::Error);
        loop.stop(EX_UNAVAILABLE);
    });
    const SignalWatch termination(SIGTERM, [&] {
        service.announceTermination();
        // Behind what the connections have just been told.
        Queue::main().async([&] { loop.stop(EX_OK); });
    });
    service.resume();
    return loop.run();
}

} // namespace Platform::Ipc
