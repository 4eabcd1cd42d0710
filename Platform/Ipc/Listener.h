#pragma once

#include "Platform/Ipc/BusService.h"
#include "Platform/Ipc/Connection.h"
#include "Platform/Ipc/Endpoint.h"
#include "Platform/Loop/Queue.h"

#include <memory>

namespace Platform::Ipc {

class Listener;

/// Accepts or refuses the peers of a listener.
class ListenerDelegate {
public:
    virtual ~ListenerDelegate() = default;
    /// Called once for each peer that sends anything to the listener's object, on the listener's queue, before any of
    /// its calls runs. Sets the connection up, resumes it and returns true; or returns false, and the peer's calls are
    /// refused with org.freedesktop.DBus.Error.AccessDenied.
    virtual bool listenerShouldAcceptNewConnection(Listener& listener,
                                                   const std::shared_ptr<Connection>& newConnection) = 0;
};

/// Receives calls under a well-known name on the session bus. The standard interfaces of the object (introspection,
/// Ping, Properties) are served without the delegate. Used on the loop's thread.
class Listener {
public:
    /// `interface` is what the object's introspection data shows; what a peer may call is set on each connection.
    Listener(ServiceAddress address, Interface interface);
    /// Disconnects from the bus. No callback is called any more; calls that a connection has received still run.
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    /// The delegate is not owned and must outlive the listener; a listener without one refuses every peer.
    void setDelegate(ListenerDelegate* delegate);

    /// As `BusService::publish`.
    void publish(std::shared_ptr<PropertyObject> object);

    /// As `BusService::setEndHandler`.
    void setEndHandler(BusService::EndHandler handler);

    /// Connects to the session bus and claims the name. To be called once.
    void resume();

    const Queue& queue() const;

private:
    struct State;
    std::shared_ptr<State> state_;
    BusService service_;
};

} // namespace Platform::Ipc
