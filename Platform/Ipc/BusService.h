#pragma once

#include "Platform/Ipc/Endpoint.h"
#include "Platform/Ipc/IncomingCall.h"
#include "Platform/Loop/Queue.h"

#include <functional>
#include <memory>
#include <string>

namespace Platform::Ipc {

class Bus;
class PropertyObject;

/// What a service keeps for a peer, which is one unique name on the bus. Both functions run while the bus dispatches a
/// message, but for `processEnds`.
class ServicePeer {
public:
    virtual ~ServicePeer() = default;
    /// The peer called a method of the service.
    virtual void receive(IncomingCall call) = 0;
    /// The peer has left the bus, or the service lost its connection to the bus. The last call.
    virtual void peerDisconnected() = 0;
    /// The process is about to end.
    virtual void processEnds() {}
};

/// What both kinds of services have in common: an object under a well-known name on the session bus, the peers that
/// call it, and a connection to the bus that is made again where it was closed. Used on the loop's thread.
class BusService {
public:
    /// Makes what is kept for a peer, when the peer's first call to the object arrives and before it is dispatched.
    using PeerFactory = std::function<std::shared_ptr<ServicePeer>(const std::string& peer)>;
    using EndHandler = std::function<void(const std::string& reason)>;

    /// The service reconnects in a task of its own on `queue`.
    BusService(std::string name, BusObject object, Queue queue, PeerFactory makePeer);
    /// Disconnects from the bus. No peer is called any more.
    ~BusService();
    BusService(const BusService&) = delete;
    BusService& operator=(const BusService&) = delete;

    /// Called once, on the main queue, when the service cannot run any more: there is no session bus, the name is
    /// taken, or the bus is lost. `reason` says which in one line without a full stop. Where only the connection to the
    /// bus was closed, all peers are treated as disconnected and the service reconnects.
    void setEndHandler(EndHandler handler);
    /// Publishes an object at another path than the service's own, before `resume`; also after every reconnection.
    void publish(std::shared_ptr<PropertyObject> object);
    /// Connects to the session bus and claims the name. To be called once.
    void resume();

    /// The connection to the bus that is in use now.
    std::weak_ptr<Bus> bus() const;
    /// Tells every peer's object that the process is about to end.
    void announceTermination() const;

private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace Platform::Ipc
