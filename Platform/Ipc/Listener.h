#pragma once

#include "Platform/Ipc/Connection.h"
#include "Platform/Ipc/Endpoint.h"
#include "Platform/Queue.h"

#include <functional>
#include <memory>
#include <string>

namespace Platform::Ipc {

class Listener;

/// Decides about the peers that come to a listener.
class ListenerDelegate {
public:
    virtual ~ListenerDelegate() = default;
    /// Called once for each peer that sends anything to the listener's object, on the listener's queue, before any of
    /// its calls runs. Sets the connection up, resumes it and returns true; or returns false, and the peer's calls are
    /// answered with org.freedesktop.DBus.Error.AccessDenied.
    virtual bool listenerShouldAcceptNewConnection(Listener& listener,
                                                   const std::shared_ptr<Connection>& newConnection) = 0;
};

/// Receives calls under a name of its own on the session bus. Introspection, Ping and Properties of the object are
/// answered without a delegate's help. Used on the loop's thread.
class Listener {
public:
    /// `interface` is what the object's introspection data tells of; which peer may use it is said on each connection.
    Listener(ServiceAddress address, Interface interface);
    /// Leaves the bus. No handler is called any more; calls that are on their way to a connection still run.
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    /// The delegate stays its owner's and must outlive the listener; a listener without one refuses everybody.
    void setDelegate(ListenerDelegate* delegate);

    /// Called once, on the main queue, when the listener cannot serve any more: there is no session bus, the name is
    /// taken, or the bus is lost. `reason` says which in one line that ends in no full stop. Where only the connection
    /// to the bus was cut, every peer is taken for gone and the listener goes back to the bus by itself.
    void setEndHandler(std::function<void(const std::string& reason)> handler);

    /// Goes to the session bus and claims the name. To be called once.
    void resume();

    const Queue& queue() const;

private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace Platform::Ipc
