#include "Platform/Ipc/MessageService.h"

#include "Platform/Ipc/Bus.h"
#include "Platform/Log.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Loop/Signals.h"

#include <sysexits.h>

#include <csignal>
#include <utility>

namespace Platform::Ipc {

namespace {

/// Sends a service's messages to one peer.
class PeerRoute final : public MessageRoute {
public:
    PeerRoute(std::weak_ptr<Bus> bus, BusTarget target) : bus_(std::move(bus)), target_(std::move(target)) {}

    void send(const Value& message) override {
        const auto bus = bus_.lock();
        if (!bus)
            return;
        if (const auto sent = bus->send(target_, message); !sent)
            Log::write("A message to " + target_.destination + " cannot be sent: " + sent.error(),
                       Log::Priority::Error);
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
    const ConnectionHandler connectionHandler;

    std::shared_ptr<MessageConnection> makeConnection(const std::string& peer, const std::weak_ptr<Bus>& bus);
    void hand(const std::shared_ptr<MessageConnection>& connection);
};

std::shared_ptr<MessageConnection> MessageService::State::makeConnection(const std::string& peer,
                                                                         const std::weak_ptr<Bus>& bus) {
    auto connection = std::make_shared<MessageConnection>(peer);
    connection->setRoute(
        std::make_shared<PeerRoute>(bus, BusTarget{peer, address.service.objectPath, address.interface, "Message"}));
    // The connection's handler may ask who the peer is, so that is known first.
    if (const auto connected = bus.lock())
        connected->callBus("GetConnectionCredentials", peer,
                           [weak = weak_from_this(), connection](const Bus::Reply& reply) {
                               if (const auto* credentials = std::get_if<Value>(&reply))
                                   connection->setIdentity(peerIdentity(*credentials));
                               if (const auto self = weak.lock())
                                   self->hand(connection);
                           });
    return connection;
}

/// To the connection's handler, and lets events through behind it.
void MessageService::State::hand(const std::shared_ptr<MessageConnection>& connection) {
    Queue::main().async([weak = weak_from_this(), connection] {
        if (const auto self = weak.lock())
            self->connectionHandler(connection);
    });
    Queue::main().async([connection] { connection->activate(); });
}

MessageService::MessageService(const MessageAddress& address, ConnectionHandler handler)
    : state_(std::make_shared<State>(address, std::move(handler))),
      service_(address.service.name, messageObject(address), Queue::main(),
               [this](const std::string& peer) { return state_->makeConnection(peer, service_.bus()); }) {}

MessageService::~MessageService() = default;

void MessageService::publish(std::shared_ptr<PropertyObject> object) {
    service_.publish(std::move(object));
}

void MessageService::setEndHandler(BusService::EndHandler handler) {
    service_.setEndHandler(std::move(handler));
}

void MessageService::resume() {
    service_.resume();
}

void MessageService::announceTermination() {
    service_.announceTermination();
}

int runMessageService(const MessageAddress& address, MessageService::ConnectionHandler handler,
                      std::shared_ptr<PropertyObject> published) {
    RunLoop& loop = RunLoop::main();
    MessageService service(address, std::move(handler));
    if (published)
        service.publish(std::move(published));
    service.setEndHandler([&](const std::string& reason) {
        Log::write(reason, Log::Priority::Error);
        loop.stop(EX_UNAVAILABLE);
    });
    const SignalWatch termination(SIGTERM, [&] {
        service.announceTermination();
        // After the events that the connections have just received.
        Queue::main().async([&] { loop.stop(EX_OK); });
    });
    service.resume();
    return loop.run();
}

} // namespace Platform::Ipc
